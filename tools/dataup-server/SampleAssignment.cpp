#include "SampleAssignment.h"

#include "Store.h"
#include "emswriter/DbfWriter.h"
#include "emswriter/EmsSetBuilder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace tarnaxe::dataup {

namespace {

using tarnaxe::emswriter::EmsSetBuilder;
using tarnaxe::emswriter::EmsStyle;

std::optional<QByteArray> readAll(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

// One set of the sample in folder/base, with the sample's claim facts.
std::optional<EmsSetBuilder> writeSet(const QString& folder, const QString& base, EmsStyle style,
                                      const char* platformCode)
{
    if (!QDir().mkpath(folder))
        return std::nullopt;
    EmsSetBuilder set(folder, base);
    set.style(style)
        .set("EST_SYSTEM", platformCode)
        .set("CLM_NO", kSampleClaimNumber)
        .set("POLICY_NO", kSamplePolicyNumber)
        .set("INS_CO_NM", kSampleCompanyName)
        .omit(EmsMember::Totals)
        .omit(EmsMember::ProfileTotals);
    if (!set.write())
        return std::nullopt;
    return set;
}

// Appends the pieces named prefix + suffix, read from the given files; false when one
// cannot be read.
bool addPieces(QList<PieceRecord>& pieces, const QList<std::pair<QByteArray, QString>>& named)
{
    for (const auto& [name, path] : named) {
        const auto bytes = readAll(path);
        if (!bytes)
            return false;
        pieces.append({name, *bytes});
    }
    return true;
}

QByteArray sampleMie(const QString& guid)
{
    return "[Assignment]\r\nGUID=" + guid.toLatin1() +
           "\r\nClaimNumber=" + QByteArray(kSampleClaimNumber) +
           "\r\nPolicyNumber=" + QByteArray(kSamplePolicyNumber) +
           "\r\nCompany=" + QByteArray(kSampleCompanyName) +
           "\r\nInsured=SMITH, JOHN\r\nVehicle=07 FORD FOCUS SE\r\n"
           // Free text holds TABs and colons, which a reader must not take for fields.
           "Remarks=LF DOOR\tRF FENDER\tNOTE: SEE PHOTOS\r\n";
}

} // namespace

std::optional<QString> writeSampleEstimate(const QString& folder)
{
    if (!QDir().mkpath(folder))
        return std::nullopt;
    EmsSetBuilder set(folder, QStringLiteral("0001"));
    set.style(EmsStyle::Letter)
        .set("EST_SYSTEM", "C")
        .set("CLM_NO", kSampleClaimNumber)
        .set("POLICY_NO", kSamplePolicyNumber)
        .set("INS_CO_NM", kSampleCompanyName)
        .vehicleMemo("LEFT FRONT DOOR, RIGHT FRONT FENDER");
    if (!set.write())
        return std::nullopt;
    return QFileInfo(set.envelopePath()).absoluteFilePath();
}

std::optional<SampleAssignment> makeSampleAssignment(const QString& guid)
{
    QTemporaryDir temp;
    if (!temp.isValid())
        return std::nullopt;
    const auto mit = writeSet(temp.filePath(QStringLiteral("mit")), QStringLiteral("MIT201"),
                              EmsStyle::Letter, "M");
    const auto adp = writeSet(temp.filePath(QStringLiteral("adp")), QStringLiteral("ADP201"),
                              EmsStyle::Plain, "A");
    const auto ccc = writeSet(temp.filePath(QStringLiteral("ccc")), QStringLiteral("CCC201"),
                              EmsStyle::Plain, "C");
    // The letter style gives each table its own memo file; only the vehicle has memos.
    const QString emptyMemo = temp.filePath(QStringLiteral("empty.dbt"));
    if (!mit || !adp || !ccc || !emswriter::DbtWriter().write(emptyMemo))
        return std::nullopt;

    const auto member = [](const EmsSetBuilder& set, EmsMember m) {
        return set.memberPath(m);
    };
    using M = EmsMember;
    SampleAssignment sample;
    const QByteArray mie = sampleMie(guid);
    const QString miePath = temp.filePath(QStringLiteral("assign.mie"));
    QFile mieFile(miePath);
    if (!mieFile.open(QIODevice::WriteOnly) || mieFile.write(mie) != mie.size())
        return std::nullopt;
    mieFile.close();

    const bool read =
        addPieces(sample.pieces,
                  {
                      {"MIT201env", member(*mit, M::Envelope)},
                      {"MIT201ad1", member(*mit, M::Administrative1)},
                      {"MIT201ad2", member(*mit, M::Administrative2)},
                      {"MIT201veh", member(*mit, M::Vehicle)},
                      {"MIT201ad1dbt", emptyMemo},
                      {"MIT201ad2dbt", emptyMemo},
                      {"MIT201vehdbt", mit->vehicleMemoPath()},
                      {"ADP201env", member(*adp, M::Envelope)},
                      {"ADP201ad1", member(*adp, M::Administrative1)},
                      {"ADP201ad2", member(*adp, M::Administrative2)},
                      {"ADP201veh", member(*adp, M::Vehicle)},
                      {"ADP201dbt", adp->vehicleMemoPath()},
                      {"CCC201env", member(*ccc, M::Envelope)},
                      {"CCC201ad1", member(*ccc, M::Administrative1)},
                      {"CCC201ad2", member(*ccc, M::Administrative2)},
                      {"CCC201veh", member(*ccc, M::Vehicle)},
                      {"CCC201dbt", ccc->vehicleMemoPath()},
                      {"MIEassign", miePath},
                      // The agent looks for EMSEnvelope first to see whether there is an estimate.
                      {"EMSEnvelope", member(*ccc, M::Envelope)},
                      {"EMSAdministration1", member(*ccc, M::Administrative1)},
                      {"EMSAdministration2", member(*ccc, M::Administrative2)},
                      {"EMSVehicle", member(*ccc, M::Vehicle)},
                      {"EMSVehicleMemos", ccc->vehicleMemoPath()},
                  });
    if (!read)
        return std::nullopt;

    sample.assignment = {
        guid, kSampleClaimNumber, kSamplePolicyNumber, kSampleCompanyName, kSampleBasename,
        mie,  timestamp()};
    return sample;
}

} // namespace tarnaxe::dataup
