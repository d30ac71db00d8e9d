#pragma once
// A page reply in the request's own shape: "Name:Value" fields each ended by a TAB, and
// at most one binary field, "Export:", last and unterminated.

#include <QByteArray>

namespace tarnaxe::dataup {

class Reply {
public:
    static Reply success() { return Reply("SUCCESS"); }
    static Reply failure(const QByteArray& message);

    Reply& add(const QByteArray& name, const QByteArray& value);
    // ExportSize and then the bytes, and a TAB after them.
    Reply& addExport(const QByteArray& bytes);

    bool ok() const { return m_ok; }
    const QByteArray& bytes() const { return m_bytes; }

private:
    explicit Reply(const char* status);

    QByteArray m_bytes;
    bool m_ok = true;
};

// Byte strings, with blobs in them. Not text/*: cpp-httplib would compress a text reply
// for any client that accepts it, and brotli on every 15-byte chunk reply costs the
// server more than the append itself.
inline constexpr char kReplyContentType[] = "application/octet-stream";

} // namespace tarnaxe::dataup
