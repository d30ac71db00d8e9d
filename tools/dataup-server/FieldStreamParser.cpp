#include "FieldStreamParser.h"

#include <cstring>

namespace tarnaxe::dataup {

namespace {

bool startsBinaryField(const QByteArray& pending)
{
    return pending == "File:" || pending == "Blob:";
}

} // namespace

bool FieldStreamParser::fail(const QString& message)
{
    m_error = message;
    return false;
}

bool FieldStreamParser::takeField(const QByteArray& field)
{
    // An empty field (two TABs in a row) carries nothing; it is skipped.
    if (field.isEmpty())
        return true;
    const qsizetype colon = field.indexOf(':');
    if (colon < 0)
        return fail(QStringLiteral("Malformed request: a field without a colon"));
    m_fields.append(field.left(colon), field.mid(colon + 1));
    return true;
}

bool FieldStreamParser::feed(const char* data, qint64 size)
{
    if (!m_error.isEmpty())
        return false;
    while (size > 0) {
        if (m_inBinary) {
            if (!m_spool.write(data, size))
                return fail(m_spool.error());
            return true;
        }
        // Byte by byte only until the name of the field is known; the value is then
        // copied up to its TAB in one piece.
        const void* tab = std::memchr(data, '\t', size_t(size));
        const qint64 take = tab ? static_cast<const char*>(tab) - data : size;
        const qint64 before = m_pending.size();
        if (before < 5) {
            // The binary field's name must be recognised before its bytes, which may
            // hold TABs themselves.
            const qint64 headLength = std::min<qint64>(5 - before, take);
            m_pending.append(data, qsizetype(headLength));
            if (startsBinaryField(m_pending)) {
                m_binaryName = m_pending.left(4);
                m_pending.clear();
                m_inBinary = true;
                data += headLength;
                size -= headLength;
                continue;
            }
            m_pending.append(data + headLength, qsizetype(take - headLength));
        } else {
            m_pending.append(data, qsizetype(take));
        }
        if (m_pending.size() > kMaxTextField)
            return fail(QStringLiteral("Malformed request: a text field longer than 1 MiB"));
        if (!tab)
            return true;
        if (!takeField(m_pending))
            return false;
        m_pending.clear();
        data += take + 1;
        size -= take + 1;
    }
    return true;
}

bool FieldStreamParser::finish()
{
    if (!m_error.isEmpty())
        return false;
    if (!m_inBinary && !m_pending.isEmpty()) {
        if (!takeField(m_pending))
            return false;
        m_pending.clear();
    }
    return true;
}

} // namespace tarnaxe::dataup
