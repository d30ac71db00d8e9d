#pragma once
// One fuzz input run through the EMS set reader: the input is split into the six member
// tables of a set and a memo file, written to a folder under one of the two naming
// styles, and every operation of the reader is called on the set. Shared by the
// libFuzzer target and by the test that replays the kept inputs.

#include "ems/EmsReader.h"
#include "ems/EmsRecordTable.h"
#include "fuzz/XbaseExercise.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QtEndian>
#include <array>

namespace tarnaxe::test {

// Envelope, administrative 1 and 2, vehicle, totals, profile totals, memo.
constexpr int kEmsFuzzParts = 7;

struct EmsFuzzSet {
    bool letterStyle = false;
    bool lowerCase = false;
    std::array<QByteArray, kEmsFuzzParts> parts; // empty: no such file
};

// Byte 0 holds the flags (bit 0 the letter style, bit 1 lower-case names); then each
// part is a 2-byte little-endian length and its bytes. Lengths past the end take what
// there is; parts after the end are missing.
inline EmsFuzzSet splitEmsFuzzInput(const QByteArray& input)
{
    EmsFuzzSet set;
    if (input.isEmpty())
        return set;
    set.letterStyle = input.at(0) & 1;
    set.lowerCase = input.at(0) & 2;
    qsizetype at = 1;
    for (QByteArray& part : set.parts) {
        if (at + 2 > input.size())
            break;
        const qsizetype length = qFromLittleEndian<quint16>(input.constData() + at);
        part = input.mid(at + 2, length);
        at += 2 + part.size();
    }
    return set;
}

inline QByteArray joinEmsFuzzInput(const EmsFuzzSet& set)
{
    QByteArray out(1, char((set.letterStyle ? 1 : 0) | (set.lowerCase ? 2 : 0)));
    for (const QByteArray& part : set.parts) {
        QByteArray length(2, '\0');
        qToLittleEndian(quint16(part.size()), length.data());
        out += length + part;
    }
    return out;
}

// The file names of the parts, the envelope first.
inline std::array<QString, kEmsFuzzParts> emsFuzzNames(const EmsFuzzSet& set)
{
    std::array<QString, kEmsFuzzParts> names =
        set.letterStyle ? std::array<QString, kEmsFuzzParts>{"F.ENV", "FA.AD1", "FB.AD2", "FV.VEH",
                                                             "F.TTL", "F.PFT",  "FV.DBT"}
                        : std::array<QString, kEmsFuzzParts>{"F.ENV", "F.AD1", "F.AD2", "F.VEH",
                                                             "F.TTL", "F.PFT", "F.DBT"};
    if (set.lowerCase) {
        for (QString& name : names)
            name = name.toLower();
    }
    return names;
}

// Writes the set into folder (emptied first) and runs every reader operation on it; the
// first broken promise, or an empty text when all were kept.
inline QString exerciseEmsSet(const QString& folder, const EmsFuzzSet& set)
{
    QDir dir(folder);
    for (const QString& name : dir.entryList(QDir::Files | QDir::Hidden))
        dir.remove(name);
    const auto names = emsFuzzNames(set);
    for (int i = 0; i < kEmsFuzzParts; ++i) {
        if (set.parts[i].isEmpty())
            continue;
        QFile file(dir.filePath(names[i]));
        if (!file.open(QIODevice::WriteOnly) || file.write(set.parts[i]) != set.parts[i].size())
            return QStringLiteral("cannot write ") + names[i];
    }
    const QString envelope = dir.filePath(names[0]);

    EmsReader reader;
    const auto check = [&reader](const char* step, bool answer, bool strict) -> QString {
        const QString& error = reader.lastError();
        if (!isKnownMessage(error) && error != QLatin1String("No amount in N_TTL_AMT"))
            return QStringLiteral("%1: unknown message \"%2\"").arg(QLatin1String(step), error);
        if (strict && answer != (error == QLatin1String("OK")))
            return QStringLiteral("%1: answer and message disagree").arg(QLatin1String(step));
        return {};
    };

    EstimateRecord record;
    const bool basic = reader.readBasicInfo(envelope, QDate(1951, 12, 31), record);
    if (QString problem = check("readBasicInfo", basic, true); !problem.isEmpty())
        return problem;
    if (basic && record.envelopeFile != envelope)
        return QStringLiteral("readBasicInfo: another envelope");

    for (const char* name : {"V_VIN", "CLM_NO", "EST_SYSTEM", "CREATE_DT", "V_MEMO", "nope"}) {
        Variant value(true);
        const bool found = reader.readField(envelope, QString::fromLatin1(name), value);
        if (QString problem = check("readField", found, true); !problem.isEmpty())
            return problem;
        if (!found && value != Variant(QString()))
            return QStringLiteral("readField: a failure left a value");
    }

    EstimateRecord entry;
    entry.envelopeFile = envelope;
    const bool envelopeRead = reader.fillEnvelopeInfo(entry);
    if (QString problem = check("fillEnvelopeInfo", envelopeRead, true); !problem.isEmpty())
        return problem;
    if (entry.envelopeSize != (set.parts[0].isEmpty() ? 0 : set.parts[0].size()))
        return QStringLiteral("fillEnvelopeInfo: wrong envelope size");
    // A failed preparse may keep an earlier message: only the texts are checked.
    reader.fillPreparseInfo(entry);
    if (QString problem = check("fillPreparseInfo", false, false); !problem.isEmpty())
        return problem;
    if (!entry.parsed)
        return QStringLiteral("fillPreparseInfo: not marked parsed");

    entry.baseName = record.baseName;
    const int count = collectEstimateFiles(entry);
    if (count != entry.files.size())
        return QStringLiteral("collectEstimateFiles: count and list disagree");
    qint64 total = 0;
    for (const EstimateMemberFile& file : entry.files) {
        const QFileInfo info(file.path);
        if (info.absolutePath() != QFileInfo(folder).absoluteFilePath() || !info.isFile() ||
            info.size() != file.size)
            return QStringLiteral("collectEstimateFiles: a file not of the set: ") + file.path;
        total += file.size;
    }
    if (total != entry.totalSize)
        return QStringLiteral("collectEstimateFiles: wrong total size");
    return {};
}

} // namespace tarnaxe::test
