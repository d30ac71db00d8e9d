#include "ems/clsXBASE.h"

#include "platform/FileNames.h"
#include "platform/Windows1252.h"

#include <QFileInfo>
#include <QtEndian>
#include <cmath>
#include <limits>

namespace tarnaxe {

namespace {

const QString kOk = QStringLiteral("OK");

// Descriptions that follow "READ: ", "GETFIELD: " and "READ DBT: ". The format stores
// positions as signed 32-bit numbers, so a position outside that range is an overflow
// even where 64-bit arithmetic could go on.
const QString kEndOfFile = QStringLiteral("Unexpected end of file");
const QString kOverflow = QStringLiteral("Overflow");
const QString kBadPosition = QStringLiteral("Invalid file position");
const QString kBadRecordLength = QStringLiteral("Invalid record length");
const QString kOutsideRecord = QStringLiteral("Field beyond end of record");

constexpr char kDescriptorEnd = 0x0D;
constexpr qint64 kDescriptorChunk = 4096;
constexpr int kHeaderSize = 32;
constexpr int kDescriptorSize = 32;
constexpr int kMemoChunk = 512;
constexpr quint32 kMemoSignature = 0x0008FFFF;

bool fitsInt32(qint64 n)
{
    return n >= std::numeric_limits<qint32>::min() && n <= std::numeric_limits<qint32>::max();
}

// Reads exactly length bytes at pos of a file whose size was taken once, so that no
// header value can make us seek before the start, read past the end or allocate more
// than the file holds.
bool readAt(QFile& file, qint64 size, qint64 pos, qint64 length, QByteArray& out, QString& error)
{
    if (pos < 0) {
        error = kBadPosition;
        return false;
    }
    if (length < 0 || pos > size || length > size - pos) {
        error = kEndOfFile;
        return false;
    }
    if (!file.seek(pos)) {
        error = file.errorString();
        return false;
    }
    out = file.read(length);
    if (out.size() != length) {
        // The file shrank under us, or the device failed.
        error = file.error() != QFileDevice::NoError ? file.errorString() : kEndOfFile;
        return false;
    }
    return true;
}

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
    const QFileInfo info(fileName);
    return info.isFile() && info.size() > 0;
}

void clsXBASE::closeInternal()
{
    if (m_file.isOpen())
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
    if (!FileExist(fileName)) {
        m_errorMessage = QStringLiteral("File Not Found");
        return false;
    }
    m_file.setFileName(fileName);
    // Unbuffered: a read answers from the file as it is now, not from a copy taken earlier.
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        m_errorMessage = QStringLiteral("OPEN: ") + m_file.errorString();
        return false;
    }
    m_fileSize = m_file.size();
    if (!readHeader() || !readDescriptors()) {
        closeInternal();
        return false;
    }
    m_currentRecord = 0;
    m_fileName = fileName;
    m_errorMessage = kOk;
    return true;
}

bool clsXBASE::readHeader()
{
    QByteArray header;
    QString error;
    if (!readAt(m_file, m_fileSize, 0, kHeaderSize, header, error)) {
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

bool clsXBASE::readDescriptors()
{
    // Only the 0x0D ends the list, not the header length: tables whose header length
    // disagrees with their descriptors are read as their writers laid them out.
    qint64 pos = kHeaderSize;
    int position = 2;
    QString error;
    // The descriptors are read a few kilobytes at a time rather than with a seek and two
    // reads each: opening a set reads six tables of dozens of fields.
    QByteArray chunk;
    qint64 chunkStart = pos;
    const auto bytesAt = [&](qint64 at, qint64 length) -> const char* {
        if (at < chunkStart || at + length > chunkStart + chunk.size()) {
            const qint64 want =
                qMax<qint64>(length, qMin<qint64>(kDescriptorChunk, m_fileSize - at));
            if (!readAt(m_file, m_fileSize, at, want, chunk, error))
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
        readAt(m_file, m_fileSize, offset, m_recordLength, record, error);
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
    const QString key = upperForKey((fieldName + QString(12, QChar(0))).left(11));
    const QByteArray keyBytes = toWindows1252(key);
    if (fromWindows1252(keyBytes) != key)
        return nullptr; // a character no stored byte can stand for
    for (const Field& field : m_fields) {
        if (field.name == keyBytes)
            return &field;
    }
    return nullptr;
}

bool clsXBASE::GetFieldData(const QString& fieldName, Variant& value)
{
    value = Variant(QString());
    if (!IsOpen()) {
        m_errorMessage = QStringLiteral("File Not Open");
        return false;
    }
    if (m_currentRecord < 1) {
        m_errorMessage = QStringLiteral("No Active Record");
        return false;
    }
    const Field* field = findField(fieldName);
    if (!field) {
        m_errorMessage = QStringLiteral("Invalid Field Name");
        return false;
    }
    // A record length shorter than the descriptors say leaves the last fields outside.
    if (field->position - 1 + field->length > m_record.size()) {
        m_errorMessage = QStringLiteral("GETFIELD: ") + kOutsideRecord;
        return false;
    }
    const QString raw =
        fromWindows1252(QByteArrayView(m_record).sliced(field->position - 1, field->length));
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

Variant clsXBASE::dateValue(const QString& raw)
{
    // Stored YYYYMMDD, read as the month/day/year text that it spells.
    const QString text =
        raw.mid(4, 2) + QLatin1Char('/') + raw.mid(6, 2) + QLatin1Char('/') + raw.left(4);
    const QDateTime date = Variant::parseDate(text);
    if (!date.isValid())
        return Variant(raw);
    return Variant(QDateTime(date.date(), QTime(0, 0)));
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

bool clsXBASE::memoValue(const QString& raw, QString& text)
{
    double number = 0;
    if (!isNumericText(raw, &number)) {
        text.clear(); // a blank pointer: no memo
        return true;
    }
    // Ties go to the even block, as the automation conversions round.
    const double block = std::nearbyint(number);
    constexpr double limit = 9.0e18; // inside qint64 either way
    if (!std::isfinite(block) || std::abs(block) > limit) {
        m_errorMessage = QStringLiteral("GETFIELD: ") + kOverflow;
        return false;
    }
    return readMemo(static_cast<qint64>(block), text);
}

QString clsXBASE::memoFileName() const
{
    if (m_fileName.isEmpty())
        return {};
    // The first dot of the whole path, even one in a folder name, ends the stem.
    const qsizetype dot = m_fileName.indexOf(QLatin1Char('.'));
    const QString derived = dot < 0 ? m_fileName + QStringLiteral(".DBT")
                                    : m_fileName.left(dot + 1) + QStringLiteral("DBT");
    const qsizetype slash = derived.lastIndexOf(QLatin1Char('/'));
    const QString folder = slash < 0 ? QStringLiteral(".") : derived.left(slash + 1);
    const QString found = findNameIgnoringCase(folder, derived.mid(slash + 1));
    return found.isEmpty() ? derived : derived.left(slash + 1) + found;
}

bool clsXBASE::readMemo(qint64 block, QString& text)
{
    text.clear();
    const QString name = memoFileName();
    if (!FileExist(name)) {
        m_errorMessage = QStringLiteral("DBT File Not Found");
        return false;
    }
    QFile memo(name);
    if (!memo.open(QIODevice::ReadOnly)) {
        m_errorMessage = QStringLiteral("OPEN DBT: ") + memo.errorString();
        return false;
    }
    const qint64 size = memo.size();
    QString error;
    QByteArray bytes;
    if (!readAt(memo, size, 16, 1, bytes, error)) {
        m_errorMessage = QStringLiteral("READ DBT: ") + error;
        return false;
    }
    const int version = static_cast<quint8>(bytes.at(0));
    if (version != 0 && version != 3) {
        m_errorMessage = QStringLiteral("Unsupported XBASE DBT version");
        return false;
    }
    qint64 blockSize = kMemoChunk;
    if (version == 0) {
        if (!readAt(memo, size, 20, 2, bytes, error)) {
            m_errorMessage = QStringLiteral("READ DBT: ") + error;
            return false;
        }
        // Unsigned: a block size is never negative.
        if (const quint16 stored = qFromLittleEndian<quint16>(bytes.constData()); stored != 0)
            blockSize = stored;
    }
    if (!fitsInt32(block) || !fitsInt32(block * blockSize)) {
        m_errorMessage = QStringLiteral("READ DBT: ") + kOverflow;
        return false;
    }
    const qint64 offset = block * blockSize;
    if (offset < 0) {
        m_errorMessage = QStringLiteral("READ DBT: ") + kBadPosition;
        return false;
    }
    if (size < offset + 1) {
        m_errorMessage = QStringLiteral("Inconsistent DBF File Size");
        return false;
    }
    QByteArray content;
    const bool read = version == 0 ? readMemoWithHeader(memo, size, offset, content)
                                   : readMemoToTerminator(memo, size, offset, content);
    if (!read)
        return false;
    text = fromWindows1252(content);
    m_errorMessage = kOk;
    return true;
}

bool clsXBASE::readMemoWithHeader(QFile& memo, qint64 size, qint64 offset, QByteArray& content)
{
    QString error;
    QByteArray head;
    if (!readAt(memo, size, offset, 8, head, error)) {
        m_errorMessage = QStringLiteral("READ DBT: ") + error;
        return false;
    }
    if (qFromLittleEndian<quint32>(head.constData()) != kMemoSignature) {
        m_errorMessage = QStringLiteral("Invalid memo field signature");
        return false;
    }
    // The stored length is taken as the length of the text that follows the 8 bytes;
    // readAt refuses a length beyond the file before anything is allocated.
    const qint32 length = qFromLittleEndian<qint32>(head.constData() + 4);
    content.clear();
    if (length > 0 && !readAt(memo, size, offset + 8, length, content, error)) {
        m_errorMessage = QStringLiteral("READ DBT: ") + error;
        return false;
    }
    return true;
}

bool clsXBASE::readMemoToTerminator(QFile& memo, qint64 size, qint64 offset, QByteArray& content)
{
    // The pair 0x1A 0x1A is looked for one 512-byte chunk at a time, so a pair split by
    // a chunk boundary does not end the text; without a pair the text runs to the end.
    static const QByteArray terminator("\x1A\x1A");
    content.clear();
    QString error;
    for (qint64 pos = offset; pos < size; pos += kMemoChunk) {
        QByteArray chunk;
        if (!readAt(memo, size, pos, qMin<qint64>(kMemoChunk, size - pos), chunk, error)) {
            m_errorMessage = QStringLiteral("READ DBT: ") + error;
            return false;
        }
        const qsizetype end = chunk.indexOf(terminator);
        if (end >= 0) {
            content += chunk.left(end);
            break;
        }
        content += chunk;
    }
    return true;
}

} // namespace tarnaxe
