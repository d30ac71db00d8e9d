#include "emswriter/DbfWriter.h"

#include <QFile>
#include <QtEndian>

namespace tarnaxe::emswriter {

namespace {

template <typename T> void appendLittleEndian(QByteArray& out, T value)
{
    char bytes[sizeof(T)];
    qToLittleEndian(value, bytes);
    out.append(bytes, sizeof(T));
}

template <typename T> void putLittleEndian(QByteArray& out, qsizetype pos, T value)
{
    qToLittleEndian(value, out.data() + pos);
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

} // namespace

DbfWriter::DbfWriter(QList<DbfField> fields, quint8 versionByte)
    : version(versionByte), m_fields(std::move(fields))
{}

DbfWriter& DbfWriter::addRecord(const QList<QByteArray>& values, bool deleted)
{
    QByteArray record(1, deleted ? '*' : ' ');
    for (qsizetype i = 0; i < m_fields.size(); ++i) {
        const int length = m_fields.at(i).length;
        QByteArray value = i < values.size() ? values.at(i).left(length) : QByteArray();
        record += value + QByteArray(length - value.size(), ' ');
    }
    m_records.append(record);
    return *this;
}

QByteArray DbfWriter::bytes() const
{
    qint64 recordLength = 1;
    for (const DbfField& field : m_fields)
        recordLength += field.length;
    const qint64 headerLength = 32 * qint64(m_fields.size()) + 33;

    // The overrides change the numbers in the header only; the bytes that follow are
    // laid out as a correct table would be, so that a test can tell which one is read.
    QByteArray out;
    out.append(char(version));
    out.append("\x7C\x03\x0F", 3); // last update 2024-03-15
    appendLittleEndian(out,
                       quint32(recordCountOverride >= 0 ? recordCountOverride : m_records.size()));
    appendLittleEndian(out,
                       quint16(headerLengthOverride >= 0 ? headerLengthOverride : headerLength));
    appendLittleEndian(out,
                       quint16(recordLengthOverride >= 0 ? recordLengthOverride : recordLength));
    out.append(QByteArray(20, '\0'));

    for (const DbfField& field : m_fields) {
        QByteArray name = field.name.left(11);
        name += QByteArray(11 - name.size(), '\0');
        out += name;
        out.append(field.type);
        out.append(QByteArray(4, '\0'));
        out.append(char(field.length));
        out.append(char(field.decimals));
        out.append(QByteArray(14, '\0'));
    }
    if (terminator)
        out.append('\x0D');
    for (const QByteArray& record : m_records)
        out += record;
    if (endOfFileMark)
        out.append('\x1A');
    return out;
}

bool DbfWriter::write(const QString& path) const
{
    return writeFile(path, bytes());
}

DbtWriter::DbtWriter(int version, int blockSize) : m_version(version), m_blockSize(blockSize)
{
    // The header takes whole blocks: one for the usual sizes.
    const int headerBlocks = (32 + blockSize - 1) / blockSize;
    m_bytes = QByteArray(qsizetype(headerBlocks) * blockSize, '\0');
    putLittleEndian(m_bytes, 0, quint32(headerBlocks));
    m_bytes[16] = char(version);
    if (version == 0)
        putLittleEndian(m_bytes, 20, quint16(blockSize));
}

int DbtWriter::addMemo(const QByteArray& text)
{
    return addMemoWithLength(text, -1);
}

int DbtWriter::addMemoWithLength(const QByteArray& text, qint64 lengthField)
{
    const int block = int(m_bytes.size() / m_blockSize);
    if (m_version == 0) {
        appendLittleEndian(m_bytes, quint32(0x0008FFFF));
        appendLittleEndian(m_bytes, quint32(lengthField >= 0 ? lengthField : text.size()));
        m_bytes += text;
    } else {
        m_bytes += text;
        m_bytes += "\x1A\x1A";
    }
    const qsizetype padding = (m_blockSize - m_bytes.size() % m_blockSize) % m_blockSize;
    m_bytes += QByteArray(padding, '\0');
    putLittleEndian(m_bytes, 0, quint32(m_bytes.size() / m_blockSize));
    return block;
}

bool DbtWriter::write(const QString& path) const
{
    return writeFile(path, m_bytes);
}

} // namespace tarnaxe::emswriter
