#pragma once
// One fuzz input run through a reader of files from other programs, shared by the libFuzzer
// targets and by the test that replays the inputs kept in tests/data/fuzz-*. Each returns
// the first promise the reader broke, or an empty text when it kept them all.

#include "ems/EmsReader.h"
#include "ems/EmsRecordTable.h"
#include "ems/clsXBASE.h"
#include "platform/Windows1252.h"
#include "support/FileContents.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>
#include <limits>

namespace tarnaxe::test {

// Every message the readers may leave when the files can be read at all; an answer must
// agree with it (true exactly with "OK"). Empty when both hold.
inline QString broken(const char* step, bool answer, const QString& message, bool strict = true)
{
    static const QStringList known =
        QStringLiteral("OK|File Not Found|Unsupported XBASE file format|Invalid XBASE File Header|"
                       "Inconsistent XBASE File Length|File Not Open|Invalid Record Number|"
                       "No Active Record|Invalid Field Name|Invalid Field Type|DBT File Not Found|"
                       "Unsupported XBASE DBT version|Inconsistent DBF File Size|"
                       "Invalid memo field signature|READ: Unexpected end of file|READ: Overflow|"
                       "READ: Invalid file position|READ: Invalid record length|GETFIELD: Overflow|"
                       "GETFIELD: Field beyond end of record|READ DBT: Unexpected end of file|"
                       "READ DBT: Overflow|READ DBT: Invalid file position|No amount in N_TTL_AMT")
            .split(QLatin1Char('|'));
    if (!known.contains(message))
        return QStringLiteral("%1: unknown message \"%2\"").arg(QLatin1String(step), message);
    if (strict && answer != (message == QLatin1String("OK")))
        return QStringLiteral("%1: answer and message disagree").arg(QLatin1String(step));
    return {};
}

// The table reader. The first two bytes give the table's length (little-endian), the rest
// after the table is its memo file; a length past the end takes what there is. Every field
// of the first records is read.
inline QString exerciseTable(const QString& folder, const QByteArray& input, int recordLimit = 8)
{
    const qsizetype skip = input.size() < 2 ? 0 : 2;
    const qsizetype length =
        skip ? qMin<qsizetype>(qFromLittleEndian<quint16>(input.constData()), input.size() - 2)
             : input.size();
    const QString tablePath = folder + QStringLiteral("/T.DBF");
    const QByteArray memo = input.mid(skip + length);
    QFile::remove(folder + QStringLiteral("/T.DBT"));
    if (!writeFileContents(tablePath, input.mid(skip, length)) ||
        (!memo.isEmpty() && !writeFileContents(folder + QStringLiteral("/T.DBT"), memo)))
        return QStringLiteral("cannot write the files");

    clsXBASE reader;
    // Every broken promise is noted and the run goes on: the reader must survive it too.
    QStringList problems;
    const auto check = [&](const char* step, bool answer) {
        problems << broken(step, answer, reader.ErrorMessage());
    };
    const bool opened = reader.OpenFile(tablePath);
    check("OpenFile", opened);
    if (opened != reader.IsOpen() || (!opened && reader.RecordCount() != 0))
        problems << QStringLiteral("OpenFile: answer and state disagree");
    const qint32 count = reader.RecordCount();
    for (const qint32 outside : {0, count == std::numeric_limits<qint32>::max() ? 0 : count + 1}) {
        if (opened && reader.ReadRecord(outside))
            problems << QStringLiteral("ReadRecord: a record outside the count");
        check("ReadRecord outside", false);
    }
    int widest = 0;
    for (const clsXBASE::Field& field : reader.fields())
        widest = qMax<int>(widest, field.length);
    for (qint32 n = 1; opened && n <= qMin(count, recordLimit); ++n) {
        const bool read = reader.ReadRecord(n);
        check("ReadRecord", read);
        if (read ? reader.recordBuffer().size() != reader.recordLength()
                 : reader.currentRecord() == n)
            problems << QStringLiteral("ReadRecord: a wrong length, or a failure kept");
        for (const clsXBASE::Field& field : reader.fields()) {
            const qsizetype nul = field.name.indexOf('\0');
            Variant value(true);
            const bool got = reader.GetFieldData(
                fromWindows1252(nul < 0 ? field.name : field.name.left(nul)), value);
            check("GetFieldData", got);
            // A field of the same name may come first, so any field's width is a bound.
            if ((!got && value != Variant(QString())) ||
                (got && value.isString() && value.stringValue().size() > qMax(widest, memo.size())))
                problems << QStringLiteral("GetFieldData: a value not from its source");
        }
    }
    problems.removeAll(QString());
    return problems.value(0);
}

// The EMS set reader. Byte 0 holds flags (bit 0 the letter style, bit 1 lower-case names);
// then envelope, administrative 1 and 2, vehicle, totals, profile totals and memo file,
// each a 2-byte little-endian length and its bytes. Lengths past the end take what there
// is; empty parts and parts after the end are missing files. basicRead tells whether the
// set read as a whole.
inline QString exerciseEmsSet(const QString& folder, const QByteArray& input,
                              bool* basicRead = nullptr)
{
    QDir dir(folder);
    for (const QString& name : dir.entryList(QDir::Files | QDir::Hidden))
        dir.remove(name);
    const int flags = input.isEmpty() ? 0 : input.at(0);
    QStringList names =
        (flags & 1) ? QStringList{"F.ENV", "FA.AD1", "FB.AD2", "FV.VEH", "F.TTL", "F.PFT", "FV.DBT"}
                    : QStringList{"F.ENV", "F.AD1", "F.AD2", "F.VEH", "F.TTL", "F.PFT", "F.DBT"};
    qint64 envelopeSize = 0;
    for (qsizetype i = 0, at = 1; i < names.size() && at + 2 <= input.size(); ++i) {
        names[i] = (flags & 2) ? names[i].toLower() : names[i];
        const QByteArray part =
            input.mid(at + 2, qFromLittleEndian<quint16>(input.constData() + at));
        at += 2 + part.size();
        envelopeSize = i == 0 ? part.size() : envelopeSize;
        if (!part.isEmpty() && !writeFileContents(dir.filePath(names[i]), part))
            return QStringLiteral("cannot write ") + names[i];
    }
    const QString envelope = dir.filePath((flags & 2) ? names[0].toLower() : names[0]);

    EmsReader reader;
    QStringList problems;
    const auto check = [&](const char* step, bool answer, bool strict = true) {
        problems << broken(step, answer, reader.lastError(), strict);
    };
    EstimateRecord record;
    const bool basic = reader.readBasicInfo(envelope, QDate(1951, 12, 31), record);
    if (basicRead)
        *basicRead = basic;
    check("readBasicInfo", basic);
    if (basic != (record.envelopeFile == envelope))
        problems << QStringLiteral("readBasicInfo: the record does not follow the answer");
    for (const char* name : {"V_VIN", "CLM_NO", "EST_SYSTEM", "CREATE_DT", "V_MEMO", "nope"}) {
        Variant value(true);
        const bool found = reader.readField(envelope, QString::fromLatin1(name), value);
        check("readField", found);
        if (!found && value != Variant(QString()))
            problems << QStringLiteral("readField: a failure left a value");
    }
    EstimateRecord entry;
    entry.envelopeFile = envelope;
    check("fillEnvelopeInfo", reader.fillEnvelopeInfo(entry));
    if (entry.envelopeSize != envelopeSize)
        problems << QStringLiteral("fillEnvelopeInfo: wrong envelope size");
    // A failed preparse may keep an earlier message: only the text is checked.
    check("fillPreparseInfo", reader.fillPreparseInfo(entry), false);
    if (!entry.parsed)
        problems << QStringLiteral("fillPreparseInfo: not marked parsed");
    entry.baseName = record.baseName;
    qint64 total = 0;
    if (collectEstimateFiles(entry) != entry.files.size())
        problems << QStringLiteral("collectEstimateFiles: count and list disagree");
    for (const EstimateMemberFile& file : entry.files) {
        const QFileInfo info(file.path);
        if (info.absolutePath() != dir.absolutePath() || !info.isFile() || info.size() != file.size)
            problems << QStringLiteral("collectEstimateFiles: a file not of the set: ") + file.path;
        total += file.size;
    }
    if (total != entry.totalSize)
        problems << QStringLiteral("collectEstimateFiles: wrong total size");
    problems.removeAll(QString());
    return problems.value(0);
}

} // namespace tarnaxe::test
