#include "http/HttpReplyParser.h"

#include <cstring>

namespace tarnaxe {

namespace {

// Chunk size lines carry at most a size and short extensions.
constexpr qsizetype kMaxChunkLine = 4096;
// 15 hexadecimal digits stay below 2^60: no overflow before the body limit is checked.
constexpr int kMaxChunkDigits = 15;
constexpr int kMaxLengthDigits = 18;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

int hexValue(char c)
{
    if (isDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

QByteArrayView trimmed(QByteArrayView text)
{
    while (!text.isEmpty() && (text.front() == ' ' || text.front() == '\t'))
        text = text.sliced(1);
    while (!text.isEmpty() && (text.back() == ' ' || text.back() == '\t'))
        text.chop(1);
    return text;
}

// A decimal Content-Length, or -1.
qint64 decimal(QByteArrayView text)
{
    if (text.isEmpty() || text.size() > kMaxLengthDigits)
        return -1;
    qint64 value = 0;
    for (const char c : text) {
        if (!isDigit(c))
            return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

QString sizeText(qint64 bytes)
{
    return bytes >= (1 << 20) ? QStringLiteral("%1 MiB").arg(bytes >> 20)
                              : QStringLiteral("%1 KiB").arg(bytes >> 10);
}

} // namespace

QByteArray HttpReplyParser::header(QByteArrayView name) const
{
    for (const auto& [key, value] : m_headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

QList<QByteArray> HttpReplyParser::headerTokens(QByteArrayView name) const
{
    QList<QByteArray> tokens;
    for (const auto& [key, value] : m_headers) {
        if (key.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        for (const QByteArray& token : value.split(',')) {
            const QByteArray clean = token.trimmed().toLower();
            if (!clean.isEmpty())
                tokens << clean;
        }
    }
    return tokens;
}

void HttpReplyParser::fail(const QString& why)
{
    m_stage = Stage::Failed;
    m_error = why;
    m_body = {};
    m_line = {};
}

void HttpReplyParser::feed(QByteArrayView bytes)
{
    if (bytes.isEmpty())
        return;
    m_started = true;
    qsizetype at = 0;
    while (at < bytes.size()) {
        switch (m_stage) {
        case Stage::Body:
        case Stage::ChunkData:
        case Stage::UntilClose:
            at = takeBody(bytes, at);
            break;
        case Stage::Done:
            m_extraBytes = true;
            return;
        case Stage::Failed:
            return;
        default:
            at = takeLine(bytes, at);
            break;
        }
    }
}

void HttpReplyParser::closed()
{
    if (m_stage == Stage::UntilClose) {
        m_stage = Stage::Done;
    } else if (m_stage != Stage::Done && m_stage != Stage::Failed) {
        m_cutShort = true;
        fail(QStringLiteral("the connection closed before the reply was complete"));
    }
}

qsizetype HttpReplyParser::takeLine(QByteArrayView bytes, qsizetype at)
{
    const char* begin = bytes.data() + at;
    const qsizetype left = bytes.size() - at;
    const auto* newline = static_cast<const char*>(std::memchr(begin, '\n', size_t(left)));
    const qsizetype length = newline ? newline - begin + 1 : left;
    const bool inHead =
        m_stage == Stage::StatusLine || m_stage == Stage::Headers || m_stage == Stage::Trailers;
    if (inHead) {
        m_headBytes += length;
        if (m_headBytes > kMaxHeadBytes) {
            fail(QStringLiteral("its headers are larger than %1").arg(sizeText(kMaxHeadBytes)));
            return bytes.size();
        }
    } else if (m_line.size() + length > kMaxChunkLine) {
        fail(QStringLiteral("a chunk size line is longer than %1 bytes").arg(kMaxChunkLine));
        return bytes.size();
    }
    if (!newline) {
        m_line.append(begin, length);
        return bytes.size();
    }
    QByteArrayView line(begin, length);
    if (!m_line.isEmpty()) {
        m_line.append(begin, length);
        line = m_line;
    }
    line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    onLine(line);
    if (!m_line.isEmpty() && m_stage != Stage::Failed)
        m_line.clear();
    return at + length;
}

void HttpReplyParser::onLine(QByteArrayView line)
{
    switch (m_stage) {
    case Stage::StatusLine:
        onStatusLine(line);
        break;
    case Stage::Headers:
        if (line.isEmpty())
            onHeadEnd();
        else
            onHeaderLine(line);
        break;
    case Stage::Trailers:
        // Trailer fields carry nothing the pages use.
        if (line.isEmpty())
            m_stage = Stage::Done;
        break;
    case Stage::ChunkSize:
        onChunkSizeLine(line);
        break;
    case Stage::ChunkEnd:
        if (line.isEmpty())
            m_stage = Stage::ChunkSize;
        else
            fail(QStringLiteral("a chunk is longer than its size says"));
        break;
    default:
        break;
    }
}

void HttpReplyParser::onStatusLine(QByteArrayView line)
{
    // "HTTP/1.1 200 OK"; the reason phrase may be missing, with or without its space.
    const bool http = line.size() >= 12 && line.startsWith("HTTP/1.") && isDigit(line[7]) &&
                      line[8] == ' ' && isDigit(line[9]) && isDigit(line[10]) &&
                      isDigit(line[11]) && (line.size() == 12 || line[12] == ' ');
    if (!http) {
        fail(QStringLiteral("it does not begin with an HTTP/1.x status line"));
        return;
    }
    m_http10 = line[7] == '0';
    m_status = (line[9] - '0') * 100 + (line[10] - '0') * 10 + (line[11] - '0');
    m_reason = trimmed(line.sliced(12)).toByteArray();
    if (m_status < 100) {
        fail(QStringLiteral("its status %1 does not exist").arg(m_status));
        return;
    }
    m_stage = Stage::Headers;
}

void HttpReplyParser::onHeaderLine(QByteArrayView line)
{
    if (line.front() == ' ' || line.front() == '\t') {
        // An old-style continuation line: part of the previous header's value.
        if (m_headers.isEmpty()) {
            fail(QStringLiteral("its first header line is a continuation"));
            return;
        }
        m_headers.last().second += ' ' + trimmed(line).toByteArray();
        return;
    }
    const qsizetype colon = line.indexOf(':');
    const QByteArrayView name = colon > 0 ? line.first(colon) : QByteArrayView();
    if (name.isEmpty() || name.back() == ' ' || name.back() == '\t') {
        fail(QStringLiteral("a header line is not \"Name: value\""));
        return;
    }
    m_headers.append({name.toByteArray(), trimmed(line.sliced(colon + 1)).toByteArray()});
}

void HttpReplyParser::onHeadEnd()
{
    if (m_status < 200) {
        if (m_status == 101) {
            fail(QStringLiteral("the server switched to another protocol"));
            return;
        }
        // An interim reply ("100 Continue"): the real one follows.
        m_headers.clear();
        m_reason.clear();
        m_status = 0;
        m_stage = Stage::StatusLine;
        return;
    }
    const QList<QByteArray> connection = headerTokens("Connection");
    m_keepAlive = m_http10 ? connection.contains("keep-alive") : !connection.contains("close");
    for (const QByteArray& coding : headerTokens("Content-Encoding")) {
        if (coding != "identity") {
            fail(QStringLiteral("it is encoded as %1, which was not asked for")
                     .arg(QString::fromLatin1(coding)));
            return;
        }
    }
    if (m_status == 204 || m_status == 304) {
        m_stage = Stage::Done;
        return;
    }
    const QList<QByteArray> transfer = headerTokens("Transfer-Encoding");
    const QList<QByteArray> lengths = headerTokens("Content-Length");
    if (!transfer.isEmpty()) {
        if (transfer != QList<QByteArray>{"chunked"}) {
            fail(QStringLiteral("its transfer coding %1 is not supported")
                     .arg(QString::fromLatin1(transfer.join(", "))));
            return;
        }
        // Chunks override a length; a server that sends both is not trusted with the
        // connection afterwards.
        if (!lengths.isEmpty())
            m_keepAlive = false;
        m_stage = Stage::ChunkSize;
        return;
    }
    if (lengths.isEmpty()) {
        m_keepAlive = false;
        m_stage = Stage::UntilClose;
        return;
    }
    const qint64 length = decimal(lengths.first());
    if (length < 0) {
        fail(QStringLiteral("its Content-Length is not a number"));
        return;
    }
    for (const QByteArray& other : lengths) {
        if (decimal(other) != length) {
            fail(QStringLiteral("it gives two different Content-Lengths"));
            return;
        }
    }
    if (length > kMaxBodyBytes) {
        fail(QStringLiteral("its body is larger than %1").arg(sizeText(kMaxBodyBytes)));
        return;
    }
    m_remaining = length;
    m_body.reserve(qsizetype(qMin<qint64>(length, 64 * 1024)));
    m_stage = length > 0 ? Stage::Body : Stage::Done;
}

void HttpReplyParser::onChunkSizeLine(QByteArrayView line)
{
    qsizetype at = 0;
    while (at < line.size() && line[at] == '0')
        ++at;
    const bool anyDigit = at > 0 || (!line.isEmpty() && hexValue(line[0]) >= 0);
    qint64 size = 0;
    int digits = 0;
    for (; at < line.size() && hexValue(line[at]) >= 0; ++at) {
        if (++digits > kMaxChunkDigits) {
            fail(QStringLiteral("a chunk size is too large"));
            return;
        }
        size = size * 16 + hexValue(line[at]);
    }
    const QByteArrayView rest = trimmed(line.sliced(at));
    if (!anyDigit || (!rest.isEmpty() && rest.front() != ';')) {
        fail(QStringLiteral("a chunk size is not a hexadecimal number"));
        return;
    }
    if (size == 0) {
        m_stage = Stage::Trailers;
        return;
    }
    if (m_body.size() + size > kMaxBodyBytes) {
        fail(QStringLiteral("its body is larger than %1").arg(sizeText(kMaxBodyBytes)));
        return;
    }
    m_remaining = size;
    m_stage = Stage::ChunkData;
}

qsizetype HttpReplyParser::takeBody(QByteArrayView bytes, qsizetype at)
{
    const qsizetype left = bytes.size() - at;
    if (m_stage == Stage::UntilClose) {
        if (m_body.size() + left > kMaxBodyBytes) {
            fail(QStringLiteral("its body is larger than %1").arg(sizeText(kMaxBodyBytes)));
            return bytes.size();
        }
        m_body.append(bytes.data() + at, left);
        return bytes.size();
    }
    const qsizetype take = qsizetype(qMin<qint64>(m_remaining, left));
    m_body.append(bytes.data() + at, take);
    m_remaining -= take;
    if (m_remaining == 0)
        m_stage = m_stage == Stage::Body ? Stage::Done : Stage::ChunkEnd;
    return at + take;
}

} // namespace tarnaxe
