#pragma once
// The real dataup-server started for a test or a benchmark: its own temporary data folder,
// a free loopback port, HTTPS with a run-time CA on request, and synchronous calls of its
// JSON views and fault rules. Its log goes to a file (logPath()), never to a pipe that a
// busy test would leave unread.

#include "support/TestCertificates.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

class QNetworkAccessManager;

namespace tarnaxe::test {

struct DataupServerOptions {
    bool tls = false;
    qint64 maxBody = 0; // 0: the server's default
    QStringList extraArguments;
};

class DataupServer {
public:
    explicit DataupServer(DataupServerOptions options = {});
    ~DataupServer(); // stops the process
    DataupServer(const DataupServer&) = delete;
    DataupServer& operator=(const DataupServer&) = delete;

    // Starts on 127.0.0.1 port 0 and waits for the ready line; false with error() set.
    bool start(int timeoutMs = 20000);
    void stop();

    quint16 port() const { return m_port; }
    QString hostPort() const { return QStringLiteral("127.0.0.1:%1").arg(m_port); }
    QString caCertificatePath() const
    {
        return m_certificates ? m_certificates->caCertificate() : QString();
    }
    // After stop(): the exit code, -1 when it crashed or was killed.
    int exitCode() const { return m_exitCode; }

    // Runs "dataup-server seed"; the new assignment's GUID, or empty.
    QString seed();
    bool setFaults(const QByteArray& json);
    QJsonObject transaction(const QString& guid);
    QJsonArray transactions();
    // One POST of a raw body to a page ("/dataup/..."); the reply body. httpStatus gets
    // the status, 0 when no answer came.
    QByteArray post(const QByteArray& page, const QByteArray& body, int* httpStatus = nullptr)
    {
        return request("POST", page, body, httpStatus);
    }
    // Any request; for GET views and methods the pages refuse.
    QByteArray request(const QByteArray& method, const QByteArray& path,
                       const QByteArray& body = {}, int* httpStatus = nullptr);

    const QString& error() const { return m_error; }

private:
    QString dataDir() const { return m_dir.filePath(QStringLiteral("data")); }
    QString logPath() const { return m_dir.filePath(QStringLiteral("server.log")); }
    QByteArray logTail() const;
    QJsonDocument json(const QByteArray& path);

    DataupServerOptions m_options;
    QTemporaryDir m_dir;
    std::unique_ptr<TestCertificates> m_certificates;
    std::unique_ptr<QNetworkAccessManager> m_network;
    QProcess m_process;
    quint16 m_port = 0;
    int m_exitCode = -1;
    QString m_error;
};

} // namespace tarnaxe::test
