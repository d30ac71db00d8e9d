#pragma once
// The one place that talks to the web application's server: posts a request body to one
// page and keeps the page's reply. Builds the field texts of the three kinds of send,
// retries them, and reports progress. Every exchange of an upload or a download goes
// through the one clsComm of the transfer form.

#include "http/HttpTransport.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <functional>

namespace tarnaxe {

class clsComm : public QObject {
    Q_OBJECT

public:
    static constexpr int kFileAttempts = 4;

    explicit clsComm(HttpTransportOptions options = {}, QObject* parent = nullptr);

    QString ServerName;      // "host" or "host:port", as the page gave it
    QString LocalFileSpec;   // the file that SendFile sends
    QString PostPage;        // "/dataup/WriteFile.asp", ...
    QByteArray ResponseData; // the body of the last successful reply, as bytes
    bool bSecure = false;

    // "FileName:" root "TransactionGUID:" guid "FileSize:" n "File:" bytes, to PostPage.
    bool SendFile(const QString& sRootName, QString& sErrorMessage,
                  const QString& sTransactionGUID);
    // data exactly as given (Windows-1252 on the wire), one attempt.
    bool SendData(const QString& sData, QString& sErrorMessage);
    // "sLocation:" loc "TransactionGUID:" guid "CurrSize:" n "BlobSize:" m "Blob:" bytes.
    bool AppendFileOnServer(const QString& sLocation, const QString& sChunkFile, qint64 lCurrSize,
                            QString& sErrorMessage, const QString& sTransactionGUID);

    // Lets the user interface process pending events after a file has gone.
    void setYield(std::function<void()> yield) { m_yield = std::move(yield); }
    HttpTransport& transport() { return m_transport; }

    // "Name:Value" and the TAB that ends every field; TABs and line breaks in the value
    // become blanks.
    static QByteArray field(const QString& name, const QString& value);

signals:
    // A percentage, by reference as the form's handler may look at it: 12 before a send,
    // 100 after its reply.
    void Progress(qint16& percent);

private:
    bool post(const QByteArray& text, const QString& filePath, int attempts,
              QString& sErrorMessage);
    void raiseProgress(qint16 percent);

    HttpTransport m_transport;
    std::function<void()> m_yield;
};

} // namespace tarnaxe
