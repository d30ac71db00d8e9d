// The memo half of the xBASE reader: memo fields of a table are block numbers into the
// .DBT file named after it.

#include "ems/XbaseBytes.h"
#include "ems/clsXBASE.h"
#include "platform/FileNames.h"
#include "platform/Windows1252.h"

#include <QtEndian>
#include <cmath>

namespace tarnaxe {

using namespace xbase;

namespace {

constexpr int kMemoChunk = 512;
constexpr quint32 kMemoSignature = 0x0008FFFF;

} // namespace

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

QString clsXBASE::derivedMemoName() const
{
    if (m_fileName.isEmpty())
        return {};
    // The first dot of the whole path, even one in a folder name, ends the stem.
    const qsizetype dot = m_fileName.indexOf(QLatin1Char('.'));
    return dot < 0 ? m_fileName + QStringLiteral(".DBT")
                   : m_fileName.left(dot + 1) + QStringLiteral("DBT");
}

QString clsXBASE::memoFileName() const
{
    const QString derived = derivedMemoName();
    if (derived.isEmpty())
        return {};
    const qsizetype slash = derived.lastIndexOf(QLatin1Char('/'));
    const QString folder = slash < 0 ? QStringLiteral(".") : derived.left(slash + 1);
    const QString found = findNameIgnoringCase(folder, derived.mid(slash + 1));
    return found.isEmpty() ? derived : derived.left(slash + 1) + found;
}

bool clsXBASE::readMemo(qint64 block, QString& text)
{
    text.clear();
    // The usual spelling is tried first; only a miss lists the folder for another case.
    const QString derived = derivedMemoName();
    ReadOnlyFile memo;
    ReadOnlyFile::Open opened = memo.open(derived);
    if (opened == ReadOnlyFile::Open::NotFound) {
        if (const QString other = memoFileName(); other != derived)
            opened = memo.open(other);
    }
    if (opened == ReadOnlyFile::Open::NotFound) {
        m_errorMessage = QStringLiteral("DBT File Not Found");
        return false;
    }
    if (opened == ReadOnlyFile::Open::Failed) {
        m_errorMessage = QStringLiteral("OPEN DBT: ") + memo.errorString();
        return false;
    }
    const qint64 size = memo.size();
    QString error;
    QByteArray bytes;
    // The version byte at 16 and, when the file is long enough, the block size at 20.
    if (!readAt(memo, 16, size >= 22 ? 6 : 1, bytes, error)) {
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
        if (bytes.size() < 6) {
            m_errorMessage = QStringLiteral("READ DBT: ") + kEndOfFile;
            return false;
        }
        // Unsigned: a block size is never negative.
        if (const quint16 stored = qFromLittleEndian<quint16>(bytes.constData() + 4); stored != 0)
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
    const bool read = version == 0 ? readMemoWithHeader(memo, offset, content)
                                   : readMemoToTerminator(memo, offset, content);
    if (!read)
        return false;
    text = fromWindows1252(content);
    m_errorMessage = kOk;
    return true;
}

bool clsXBASE::readMemoWithHeader(ReadOnlyFile& memo, qint64 offset, QByteArray& content)
{
    QString error;
    QByteArray head;
    if (!readAt(memo, offset, 8, head, error)) {
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
    if (length > 0 && !readAt(memo, offset + 8, length, content, error)) {
        m_errorMessage = QStringLiteral("READ DBT: ") + error;
        return false;
    }
    return true;
}

bool clsXBASE::readMemoToTerminator(ReadOnlyFile& memo, qint64 offset, QByteArray& content)
{
    // The pair 0x1A 0x1A is looked for one 512-byte chunk at a time, so a pair split by
    // a chunk boundary does not end the text; without a pair the text runs to the end.
    static const QByteArray terminator("\x1A\x1A");
    content.clear();
    QString error;
    const qint64 size = memo.size();
    for (qint64 pos = offset; pos < size; pos += kMemoChunk) {
        QByteArray chunk;
        if (!readAt(memo, pos, qMin<qint64>(kMemoChunk, size - pos), chunk, error)) {
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
