#pragma once
// What the table and memo halves of the xBASE reader share: the error descriptions and
// the one checked way of reading bytes.

#include "platform/ReadOnlyFile.h"

#include <QByteArray>
#include <QString>
#include <limits>

namespace tarnaxe::xbase {

inline const QString kOk = QStringLiteral("OK");

// Descriptions that follow "READ: ", "GETFIELD: " and "READ DBT: ". The format stores
// positions as signed 32-bit numbers, so a position outside that range is an overflow
// even where 64-bit arithmetic could go on.
inline const QString kEndOfFile = QStringLiteral("Unexpected end of file");
inline const QString kOverflow = QStringLiteral("Overflow");
inline const QString kBadPosition = QStringLiteral("Invalid file position");
inline const QString kBadRecordLength = QStringLiteral("Invalid record length");
inline const QString kOutsideRecord = QStringLiteral("Field beyond end of record");

inline bool fitsInt32(qint64 n)
{
    return n >= std::numeric_limits<qint32>::min() && n <= std::numeric_limits<qint32>::max();
}

// Reads exactly length bytes at pos of a file whose size was taken at open, so that no
// header value can make us read before the start, past the end or allocate more than the
// file holds.
inline bool readAt(ReadOnlyFile& file, qint64 pos, qint64 length, QByteArray& out, QString& error)
{
    const qint64 size = file.size();
    if (pos < 0) {
        error = kBadPosition;
        return false;
    }
    if (length < 0 || pos > size || length > size - pos) {
        error = kEndOfFile;
        return false;
    }
    if (!file.readAt(pos, length, out)) {
        error = file.errorString();
        return false;
    }
    if (out.size() != length) {
        error = kEndOfFile; // the file shrank under us
        return false;
    }
    return true;
}

} // namespace tarnaxe::xbase
