#pragma once
// A request body made of a text and the bytes of a file, read from disk as the connection
// drains: a file of any size is sent with a few pieces of it in memory.

#include <QFile>
#include <QIODevice>

namespace tarnaxe {

class PrefixedFileDevice : public QIODevice {
    Q_OBJECT

public:
    // An empty filePath sends the text alone.
    PrefixedFileDevice(QByteArray prefix, const QString& filePath, QObject* parent = nullptr);

    // Opens the file too; its size is taken here, once.
    bool open(OpenMode mode) override;
    void close() override;
    bool isSequential() const override { return false; }
    qint64 size() const override { return m_prefix.size() + m_fileSize; }
    bool seek(qint64 pos) override;
    bool atEnd() const override { return pos() >= size(); }

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_prefix;
    QFile m_file;
    bool m_hasFile = false;
    qint64 m_fileSize = 0;
};

} // namespace tarnaxe
