#include "Reply.h"

namespace tarnaxe::dataup {

Reply::Reply(const char* status)
{
    add("Status", status);
}

Reply Reply::failure(const QByteArray& message)
{
    Reply reply("FAILURE");
    reply.m_ok = false;
    // A TAB would end the field early; the message is our own text, so flatten it.
    QByteArray text = message;
    text.replace('\t', ' ');
    return reply.add("ErrorMessage", text);
}

Reply& Reply::add(const QByteArray& name, const QByteArray& value)
{
    m_bytes += name;
    m_bytes += ':';
    m_bytes += value;
    m_bytes += '\t';
    return *this;
}

Reply& Reply::addExport(const QByteArray& bytes)
{
    add("ExportSize", QByteArray::number(bytes.size()));
    m_bytes += "Export:";
    m_bytes += bytes;
    // A field counts for the agent's reader only when a TAB follows it somewhere, and a
    // blob need not hold one; the reader cuts the blob by ExportSize, not at this TAB.
    m_bytes += '\t';
    return *this;
}

} // namespace tarnaxe::dataup
