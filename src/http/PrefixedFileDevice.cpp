#include "http/PrefixedFileDevice.h"

#include <cstring>

namespace tarnaxe {

PrefixedFileDevice::PrefixedFileDevice(QByteArray prefix, const QString& filePath, QObject* parent)
    : QIODevice(parent), m_prefix(std::move(prefix)), m_file(filePath),
      m_hasFile(!filePath.isEmpty())
{}

bool PrefixedFileDevice::open(OpenMode mode)
{
    if ((mode & ReadWrite) != ReadOnly) {
        setErrorString(QStringLiteral("The request body can only be read"));
        return false;
    }
    m_fileSize = 0;
    if (m_hasFile) {
        if (!m_file.open(QIODevice::ReadOnly)) {
            setErrorString(m_file.errorString());
            return false;
        }
        m_fileSize = m_file.size();
    }
    return QIODevice::open(mode);
}

void PrefixedFileDevice::close()
{
    m_file.close();
    QIODevice::close();
}

bool PrefixedFileDevice::seek(qint64 pos)
{
    if (pos < 0 || pos > size())
        return false;
    return QIODevice::seek(pos);
}

qint64 PrefixedFileDevice::readData(char* data, qint64 maxSize)
{
    qint64 at = pos();
    qint64 done = 0;
    if (at < m_prefix.size()) {
        done = qMin(maxSize, m_prefix.size() - at);
        std::memcpy(data, m_prefix.constData() + at, size_t(done));
        at += done;
    }
    if (done == maxSize || !m_hasFile || at >= size())
        return done;
    const qint64 offset = at - m_prefix.size();
    if (m_file.pos() != offset && !m_file.seek(offset)) {
        setErrorString(m_file.errorString());
        return -1;
    }
    const qint64 want = qMin(maxSize - done, m_fileSize - offset);
    const qint64 got = m_file.read(data + done, want);
    if (got < want) {
        // The file shrank after its size was announced: the body cannot be completed.
        setErrorString(got < 0 ? m_file.errorString()
                               : QStringLiteral("The file became shorter while it was sent"));
        return -1;
    }
    return done + got;
}

} // namespace tarnaxe
