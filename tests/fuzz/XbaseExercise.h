#pragma once
// One fuzz input run through the table reader: the input is split into a table and its
// memo file, written to a folder, and every operation is called on every record and
// field. Shared by the libFuzzer target and by the test that replays the kept inputs.

#include "ems/clsXBASE.h"
#include "platform/Windows1252.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QtEndian>

namespace tarnaxe::test {

struct FuzzFiles {
    QByteArray table;
    QByteArray memo; // empty: no memo file
};

// The first two bytes give the table's length (little-endian); the rest after the
// table is the memo file. Lengths past the end take what there is.
inline FuzzFiles splitFuzzInput(const QByteArray& input)
{
    if (input.size() < 2)
        return {input, {}};
    const qsizetype tableLength =
        qMin<qsizetype>(qFromLittleEndian<quint16>(input.constData()), input.size() - 2);
    return {input.mid(2, tableLength), input.mid(2 + tableLength)};
}

inline QByteArray joinFuzzInput(const QByteArray& table, const QByteArray& memo)
{
    QByteArray out(2, '\0');
    qToLittleEndian(quint16(table.size()), out.data());
    return out + table + memo;
}

// True for every text the reader may leave in ErrorMessage when the files are readable.
inline bool isKnownMessage(const QString& message)
{
    static const QStringList whole = {
        QStringLiteral("OK"),
        QStringLiteral("File Not Found"),
        QStringLiteral("Unsupported XBASE file format"),
        QStringLiteral("Invalid XBASE File Header"),
        QStringLiteral("Inconsistent XBASE File Length"),
        QStringLiteral("File Not Open"),
        QStringLiteral("Invalid Record Number"),
        QStringLiteral("No Active Record"),
        QStringLiteral("Invalid Field Name"),
        QStringLiteral("Invalid Field Type"),
        QStringLiteral("DBT File Not Found"),
        QStringLiteral("Unsupported XBASE DBT version"),
        QStringLiteral("Inconsistent DBF File Size"),
        QStringLiteral("Invalid memo field signature"),
    };
    // The descriptions that each step can give.
    static const QList<QPair<QString, QStringList>> described = {
        {QStringLiteral("READ: "),
         {QStringLiteral("Unexpected end of file"), QStringLiteral("Overflow"),
          QStringLiteral("Invalid file position"), QStringLiteral("Invalid record length")}},
        {QStringLiteral("GETFIELD: "),
         {QStringLiteral("Overflow"), QStringLiteral("Field beyond end of record")}},
        {QStringLiteral("READ DBT: "),
         {QStringLiteral("Unexpected end of file"), QStringLiteral("Overflow"),
          QStringLiteral("Invalid file position")}},
    };
    if (whole.contains(message))
        return true;
    for (const auto& [prefix, descriptions] : described) {
        if (message.startsWith(prefix) && descriptions.contains(message.mid(prefix.size())))
            return true;
    }
    return false;
}

// Writes the files as folder/T.DBF and folder/T.DBT and reads every field of the first
// records (later ones take the same paths); the first broken promise of the reader, or
// an empty text when it kept them all.
inline QString exerciseTable(const QString& folder, const FuzzFiles& files, int recordLimit = 8)
{
    const QString tablePath = folder + QStringLiteral("/T.DBF");
    const QString memoPath = folder + QStringLiteral("/T.DBT");
    {
        QFile table(tablePath);
        if (!table.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            table.write(files.table) != files.table.size())
            return QStringLiteral("cannot write the table");
    }
    QFile::remove(memoPath);
    if (!files.memo.isEmpty()) {
        QFile memo(memoPath);
        if (!memo.open(QIODevice::WriteOnly) || memo.write(files.memo) != files.memo.size())
            return QStringLiteral("cannot write the memo file");
    }

    clsXBASE reader;
    const auto check = [&reader](const char* step) -> QString {
        if (isKnownMessage(reader.ErrorMessage()))
            return {};
        return QStringLiteral("%1: unknown message \"%2\"")
            .arg(QLatin1String(step), reader.ErrorMessage());
    };
    const bool opened = reader.OpenFile(tablePath);
    if (QString problem = check("OpenFile"); !problem.isEmpty())
        return problem;
    if (opened != reader.IsOpen() || opened != (reader.ErrorMessage() == QLatin1String("OK")))
        return QStringLiteral("OpenFile: answer and state disagree");
    if (!opened)
        return reader.RecordCount() == 0 ? QString() : QStringLiteral("closed with records");

    reader.ReadRecord(0);
    reader.ReadRecord(reader.RecordCount() + qint64(1) > INT32_MAX ? 0 : reader.RecordCount() + 1);
    if (QString problem = check("ReadRecord out of range"); !problem.isEmpty())
        return problem;
    const qint32 last = qMin(reader.RecordCount(), recordLimit);
    int widest = 0;
    for (const clsXBASE::Field& field : reader.fields())
        widest = qMax<int>(widest, field.length);
    for (qint32 n = 1; n <= last; ++n) {
        const bool read = reader.ReadRecord(n);
        if (QString problem = check("ReadRecord"); !problem.isEmpty())
            return problem;
        if (read && reader.recordBuffer().size() != reader.recordLength())
            return QStringLiteral("ReadRecord: record of the wrong length");
        if (!read && reader.currentRecord() == n)
            return QStringLiteral("ReadRecord: failed yet current");
        for (const clsXBASE::Field& field : reader.fields()) {
            const qsizetype nul = field.name.indexOf('\0');
            const QString name = fromWindows1252(nul < 0 ? field.name : field.name.left(nul));
            Variant value(true);
            const bool got = reader.GetFieldData(name, value);
            if (QString problem = check("GetFieldData"); !problem.isEmpty())
                return problem;
            if (got != (reader.ErrorMessage() == QLatin1String("OK")))
                return QStringLiteral("GetFieldData: answer and message disagree");
            if (!got && value != Variant(QString()))
                return QStringLiteral("GetFieldData: a failure left a value");
            // A field of the same name may come first, so any field's width is a bound.
            if (got && value.isString() && value.stringValue().size() > widest &&
                value.stringValue().size() > files.memo.size())
                return QStringLiteral("GetFieldData: a value longer than its source");
        }
    }
    return {};
}

} // namespace tarnaxe::test
