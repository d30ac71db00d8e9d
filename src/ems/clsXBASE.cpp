#include "ems/clsXBASE.h"

#include "ems/XbaseBytes.h"
#include "platform/Windows1252.h"

#include <QtEndian>
#include <algorithm>
#include <limits>

namespace tarnaxe {

using namespace xbase;

namespace {

constexpr char kDescriptorEnd = 0x0D;
constexpr qint64 kDescriptorChunk = 4096;
constexpr int kHeaderSize = 32;
constexpr int kDescriptorSize = 32;

// Upper case as the stored names were written: a character whose capital is not in
// Windows-1252 (the micro sign, say) stays as it is, so that it can still match its byte.
QString upperForKey(const QString& text)
{
    QString upper = text;
    for (QChar& c : upper) {
        const QChar u = c.toUpper();
        if (u != c && toWindows1252(QStringView(&u, 1)) != QByteArrayLiteral("?"))
            c = u;
    }
    return upper;
}

} // namespace

bool clsXBASE::IsOpen() const
{
    return m_file.isOpen();
}

qint32 clsXBASE::RecordCount() const
{
    return IsOpen() ? m_recordCount : 0;
}

bool clsXBASE::FileExist(const QString& fileName)
{
    // Only a regular file counts: a folder has a length too, and a device or a pipe
    // (a link to /dev/zero, say) could be read for ever.
    return ReadOnlyFile::isNonEmptyFile(fileName);
}

void clsXBASE::closeInternal()
{
    m_file.close();
    m_fields.clear();
}

bool clsXBASE::CloseFile()
{
    closeInternal();
    return true;
}

bool clsXBASE::OpenFile(const QString& fileName)
{
    closeInternal();
    // Every read goes to the file as it is at that moment; nothing is kept but the
    // descriptors and the current record.
    switch (m_file.open(fileName)) {
    case ReadOnlyFile::Open::Opened:
        break;
    case ReadOnlyFile::Open::NotFound:
        m_errorMessage = QStringLiteral("File Not Found");
        return false;
    case ReadOnlyFile::Open::Failed:
        m_errorMessage = QStringLiteral("OPEN: ") + m_file.errorString();
        return false;
    }
    m_fileSize = m_file.size();
    // The header and the first few kilobytes of descriptors come in one read.
    QByteArray start;
    if (!readHeader(start) || !readDescriptors(start)) {
        closeInternal();
        return false;
    }
    m_currentRecord = 0;
    m_fileName = fileName;
    m_errorMessage = kOk;
    return true;
}

bool clsXBASE::readHeader(QByteArray& header)
{
    QString error;
    const qint64 length =
        qMax<qint64>(kHeaderSize, qMin(m_fileSize, kHeaderSize + kDescriptorChunk));
    if (!readAt(m_file, 0, length, header, error)) {
        m_errorMessage = QStringLiteral("READ: ") + error;
        return false;
    }
    const char* h = header.constData();
    m_version = static_cast<quint8>(h[0]);
    m_recordCount = qFromLittleEndian<qint32>(h + 4);
    m_headerLength = qFromLittleEndian<qint16>(h + 8);
    m_recordLength = qFromLittleEndian<qint16>(h + 10);

    const int level = m_version & 7;
    if (level != 3 && level != 4) {
        m_errorMessage = QStringLiteral("Unsupported XBASE file format");
        return false;
    }
    if (m_recordCount == 0 || m_headerLength == 0 || m_recordLength == 0) {
        m_errorMessage = QStringLiteral("Invalid XBASE File Header");
        return false;
    }
    const qint64 data = qint64(m_recordLength) * m_recordCount;
    const qint64 expected = data + m_headerLength;
    if (!fitsInt32(data) || !fitsInt32(expected)) {
        m_errorMessage = QStringLiteral("READ: ") + kOverflow;
        return false;
    }
    // One byte more or less is the optional end-of-file mark.
    if (std::abs(m_fileSize - expected) >= 2) {
        m_errorMessage = QStringLiteral("Inconsistent XBASE File Length");
        return false;
    }
    return true;
}

bool clsXBASE::readDescriptors(const QByteArray& start)
{
    // Only the 0x0D ends the list, not the header length: tables whose header length
    // disagrees with their descriptors are read as their writers laid them out.
    qint64 pos = kHeaderSize;
    int position = 2;
    QString error;
    // The descriptors are read a few kilobytes at a time rather than with a seek and two
    // reads each: opening a set reads six tables of dozens of fields.
    QByteArray chunk = start;
    qint64 chunkStart = 0;
    // Room for what the header length promises, within what the first read holds.
    const qsizetype promised =
        (qMin<qsizetype>(m_headerLength, start.size()) - kHeaderSize) / kDescriptorSize;
    m_fields.reserve(std::clamp<qsizetype>(promised, 0, 256));
    const auto bytesAt = [&](qint64 at, qint64 length) -> const char* {
        if (at < chunkStart || at + length > chunkStart + chunk.size()) {
            const qint64 want =
                qMax<qint64>(length, qMin<qint64>(kDescriptorChunk, m_fileSize - at));
            if (!readAt(m_file, at, want, chunk, error))
                return nullptr;
            chunkStart = at;
        }
        return chunk.constData() + (at - chunkStart);
    };
    for (;;) {
        const char* first = bytesAt(pos, 1);
        if (!first)
            break;
        if (*first == kDescriptorEnd)
            return true;
        if (m_fields.size() >= std::numeric_limits<qint16>::max()) {
            error = kOverflow;
            break;
        }
        const char* d = bytesAt(pos, kDescriptorSize);
        if (!d)
            break;
        Field field;
        field.name = QByteArray(d, 11);
        field.type = d[11];
        field.length = static_cast<quint8>(d[16]);
        field.decimals = static_cast<quint8>(d[17]);
        field.position = position;
        position += field.length;
        if (position > std::numeric_limits<qint16>::max()) {
            error = kOverflow;
            break;
        }
        m_fields.append(field);
        pos += kDescriptorSize;
    }
    m_errorMessage = QStringLiteral("READ: ") + error;
    return false;
}

bool clsXBASE::ReadRecord(qint32 recordNumber)
{
    if (!IsOpen()) {
        m_errorMessage = QStringLiteral("File Not Open");
        return false;
    }
    if (recordNumber < 1 || recordNumber > m_recordCount) {
        m_errorMessage = QStringLiteral("Invalid Record Number");
        return false;
    }
    QString error;
    QByteArray record;
    const qint64 skip = qint64(recordNumber - 1) * m_recordLength;
    const qint64 offset = skip + m_headerLength;
    if (!fitsInt32(skip) || !fitsInt32(offset))
        error = kOverflow;
    else if (m_recordLength < 0)
        error = kBadRecordLength;
    else
        readAt(m_file, offset, m_recordLength, record, error);
    if (!error.isEmpty()) {
        // The previous record stays current.
        m_errorMessage = QStringLiteral("READ: ") + error;
        return false;
    }
    m_record = record;
    m_currentRecord = recordNumber;
    m_errorMessage = kOk;
    return true;
}

const clsXBASE::Field* clsXBASE::findField(const QString& fieldName) const
{
    // The stored name is compared with all 11 bytes, padding included: a name stored in
    // lower case, or with leftovers after its NUL, is never found.
    char key[11] = {};
    const qsizetype used = qMin<qsizetype>(fieldName.size(), 11);
    const bool ascii = std::all_of(fieldName.begin(), fieldName.begin() + used,
                                   [](QChar c) { return c.unicode() < 0x80; });
    if (ascii) {
        // The usual case, without the detour through Windows-1252.
        for (qsizetype i = 0; i < used; ++i) {
            const char c = char(fieldName.at(i).unicode());
            key[i] = c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c;
        }
    } else {
        const QString upper = upperForKey((fieldName + QString(12, QChar(0))).left(11));
        const QByteArray bytes = toWindows1252(upper);
        if (bytes.size() != 11 || fromWindows1252(bytes) != upper)
            return nullptr; // a character no stored byte can stand for
        std::copy(bytes.begin(), bytes.end(), key);
    }
    for (const Field& field : m_fields) {
        if (field.name.size() == 11 && std::equal(key, key + 11, field.name.constData()))
            return &field;
    }
    return nullptr;
}

const clsXBASE::Field* clsXBASE::rawField(const QString& fieldName, QString& raw)
{
    if (!IsOpen()) {
        m_errorMessage = QStringLiteral("File Not Open");
        return nullptr;
    }
    if (m_currentRecord < 1) {
        m_errorMessage = QStringLiteral("No Active Record");
        return nullptr;
    }
    const Field* field = findField(fieldName);
    if (!field) {
        m_errorMessage = QStringLiteral("Invalid Field Name");
        return nullptr;
    }
    // A record length shorter than the descriptors say leaves the last fields outside.
    if (field->position - 1 + field->length > m_record.size()) {
        m_errorMessage = QStringLiteral("GETFIELD: ") + kOutsideRecord;
        return nullptr;
    }
    raw = fromWindows1252(QByteArrayView(m_record).sliced(field->position - 1, field->length));
    return field;
}

bool clsXBASE::GetFieldData(const QString& fieldName, Variant& value)
{
    value = Variant(QString());
    QString raw;
    const Field* field = rawField(fieldName, raw);
    if (!field)
        return false;
    switch (QChar::toUpper(static_cast<uchar>(field->type))) {
    case 'C':
    case 'N':
        value = Variant(raw);
        break;
    case 'D':
        value = dateValue(raw);
        break;
    case 'L':
        value = logicalValue(raw);
        break;
    case 'M': {
        QString text;
        if (!memoValue(raw, text))
            return false;
        value = Variant(text);
        break;
    }
    default:
        m_errorMessage = QStringLiteral("Invalid Field Type");
        return false;
    }
    m_errorMessage = kOk;
    return true;
}

bool clsXBASE::GetFieldDate(const QString& fieldName, std::optional<QDate>& date)
{
    date.reset();
    QString raw;
    const Field* field = rawField(fieldName, raw);
    if (!field)
        return false;
    const char32_t type = QChar::toUpper(static_cast<uchar>(field->type));
    if (type == 'D')
        date = fieldDate(raw);
    else if (type != 'C' && type != 'N' && type != 'L' && type != 'M') {
        m_errorMessage = QStringLiteral("Invalid Field Type");
        return false;
    }
    m_errorMessage = kOk;
    return true;
}

std::optional<QDate> clsXBASE::fieldDate(const QString& raw)
{
    // Eight digits, the usual content, are taken apart directly; they are a date exactly
    // when the calendar has that day.
    if (raw.size() == 8 && std::all_of(raw.begin(), raw.end(), [](QChar c) {
            return c >= QLatin1Char('0') && c <= QLatin1Char('9');
        })) {
        const auto number = [&raw](int from, int count) {
            int n = 0;
            for (int i = from; i < from + count; ++i)
                n = n * 10 + (raw.at(i).unicode() - '0');
            return n;
        };
        const QDate date(number(0, 4), number(4, 2), number(6, 2));
        return date.isValid() ? std::optional(date) : std::nullopt;
    }
    // Anything else is read as the month/day/year text that it spells.
    const QString text =
        raw.mid(4, 2) + QLatin1Char('/') + raw.mid(6, 2) + QLatin1Char('/') + raw.left(4);
    const QDateTime date = Variant::parseDate(text);
    return date.isValid() ? std::optional(date.date()) : std::nullopt;
}

Variant clsXBASE::dateValue(const QString& raw)
{
    const std::optional<QDate> date = fieldDate(raw);
    return date ? Variant(QDateTime(*date, QTime(0, 0))) : Variant(raw);
}

Variant clsXBASE::logicalValue(const QString& raw)
{
    if (raw == QLatin1String("Y") || raw == QLatin1String("y") || raw == QLatin1String("T") ||
        raw == QLatin1String("t"))
        return Variant(true);
    if (raw == QLatin1String("N") || raw == QLatin1String("n") || raw == QLatin1String("F") ||
        raw == QLatin1String("f"))
        return Variant(false);
    return Variant(raw);
}

} // namespace tarnaxe
