#pragma once
// Reads an HTTP/1.x reply as its bytes arrive: the status line, the headers, and a body
// framed by Content-Length, by chunks or by the end of the connection. Every size is
// bounded, so a server that sends nonsense costs an error text, never unbounded memory.

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QPair>
#include <QString>

namespace tarnaxe {

class HttpReplyParser {
public:
    // The status line and headers of the reply together, interim replies included.
    static constexpr qsizetype kMaxHeadBytes = 64 * 1024;
    // The replies of the pages are short texts and the largest blob an assignment holds.
    static constexpr qint64 kMaxBodyBytes = qint64(64) << 20;

    // Takes the next bytes from the connection. Bytes after the end of the reply are not
    // part of it; they make the connection unfit for another request.
    void feed(QByteArrayView bytes);
    // The server closed the connection: ends a body that runs to the close, and fails
    // any other reply that is not complete.
    void closed();

    bool complete() const { return m_stage == Stage::Done; }
    bool failed() const { return m_stage == Stage::Failed; }
    // What was wrong, once failed(): "the status line is not HTTP/1.x", ...
    const QString& error() const { return m_error; }
    // The connection closed before the reply was complete.
    bool cutShort() const { return m_cutShort; }
    // Any byte of an answer came.
    bool started() const { return m_started; }

    int status() const { return m_status; }
    const QByteArray& reason() const { return m_reason; }
    // The first value of a header, names matched without regard to case; null if absent.
    QByteArray header(QByteArrayView name) const;
    const QByteArray& body() const { return m_body; }
    // The connection may carry the next request.
    bool keepAlive() const { return complete() && m_keepAlive && !m_extraBytes; }

private:
    enum class Stage {
        StatusLine,
        Headers,
        Body,
        ChunkSize,
        ChunkData,
        ChunkEnd,
        Trailers,
        UntilClose,
        Done,
        Failed
    };

    qsizetype takeLine(QByteArrayView bytes, qsizetype at);
    void onLine(QByteArrayView line);
    void onStatusLine(QByteArrayView line);
    void onHeaderLine(QByteArrayView line);
    void onHeadEnd();
    void onChunkSizeLine(QByteArrayView line);
    qsizetype takeBody(QByteArrayView bytes, qsizetype at);
    void fail(const QString& why);
    QList<QByteArray> headerTokens(QByteArrayView name) const;

    Stage m_stage = Stage::StatusLine;
    QByteArray m_line; // a line not yet ended
    qsizetype m_headBytes = 0;
    int m_status = 0;
    bool m_http10 = false;
    QByteArray m_reason;
    QList<QPair<QByteArray, QByteArray>> m_headers;
    QByteArray m_body;
    qint64 m_remaining = 0; // of the body or of the current chunk
    bool m_keepAlive = true;
    bool m_extraBytes = false;
    bool m_started = false;
    bool m_cutShort = false;
    QString m_error;
};

} // namespace tarnaxe
