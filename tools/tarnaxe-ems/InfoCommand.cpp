#include "InfoCommand.h"

#include "ToolOutput.h"
#include "ems/EmsFileSet.h"
#include "ems/EmsReader.h"
#include "ems/EmsRecordTable.h"

#include <QJsonArray>
#include <QJsonObject>

namespace tarnaxe::tool {

namespace {

// No cut-off: the tool shows old sets too.
const QDate kNoAgeLimit(1951, 12, 31);

int readerFailure(const EmsReader& reader, const QString& envelopePath)
{
    const QString file = reader.lastErrorFile().isEmpty() ? envelopePath : reader.lastErrorFile();
    return fail(file + QStringLiteral(": ") + reader.lastError());
}

QList<std::pair<QString, QString>> basicFacts(const EstimateRecord& r)
{
    return {{QStringLiteral("envelopeFile"), r.envelopeFile},
            {QStringLiteral("estimateFileId"), r.estimateFileId},
            {QStringLiteral("supplementNumber"), r.supplementNumber},
            {QStringLiteral("creationStamp"), r.creationStamp},
            {QStringLiteral("creationDate"), r.creationDate},
            {QStringLiteral("vehicle"), r.vehicle},
            {QStringLiteral("owner"), r.owner},
            {QStringLiteral("insured"), r.insured},
            {QStringLiteral("claimant"), r.claimant},
            {QStringLiteral("claimNumber"), r.claimNumber},
            {QStringLiteral("policyNumber"), r.policyNumber},
            {QStringLiteral("baseName"), r.baseName},
            {QStringLiteral("platformCode"), r.platformCode},
            {QStringLiteral("status"), r.status}};
}

QList<std::pair<QString, QString>> preparseFacts(const EstimateRecord& r)
{
    return {{QStringLiteral("insuranceCompany"), r.insuranceCompany},
            {QStringLiteral("claimNumber"), r.preparsedClaimNumber},
            {QStringLiteral("policyNumber"), r.preparsedPolicyNumber},
            {QStringLiteral("insuredName"), r.insuredName},
            {QStringLiteral("ownerName"), r.ownerName},
            {QStringLiteral("claimantName"), r.claimantName},
            {QStringLiteral("vehicleDescription"), r.vehicleDescription},
            {QStringLiteral("vin"), r.vin},
            {QStringLiteral("totalCents"), QString::number(r.totalCents)}};
}

QJsonObject toObject(const QList<std::pair<QString, QString>>& facts)
{
    QJsonObject object;
    for (const auto& [name, value] : facts)
        object.insert(name, value);
    return object;
}

void printFacts(const QString& title, const QList<std::pair<QString, QString>>& facts)
{
    printLine(title);
    for (const auto& [name, value] : facts)
        printLine(QStringLiteral("  %1 [%2]").arg(name, -20).arg(value));
}

} // namespace

int showEstimate(const QString& envelopePath, bool json)
{
    EmsReader reader;
    EstimateRecord record;
    QString basicMissing;
    if (!reader.readBasicInfo(envelopePath, kNoAgeLimit, record)) {
        // An assignment from an insurer has no totals yet; everything else is still worth
        // showing (its claim, policy and vehicle come from the preparse values).
        if (!reader.lastErrorFile().endsWith(QLatin1String(".ttl"), Qt::CaseInsensitive))
            return readerFailure(reader, envelopePath);
        basicMissing = QStringLiteral("no totals member (an assignment, not an estimate): ") +
                       reader.lastErrorFile() + QStringLiteral(": ") + reader.lastError();
        record.envelopeFile = envelopePath;
        record.baseName = emsBaseName(envelopePath);
    }
    if (!reader.fillEnvelopeInfo(record) && !basicMissing.isEmpty())
        return readerFailure(reader, envelopePath);
    reader.fillPreparseInfo(record);
    collectEstimateFiles(record);
    const auto& table = emsRecordTable();

    if (json) {
        QJsonObject preparse = toObject(preparseFacts(record));
        preparse.insert(QStringLiteral("totalCents"), record.totalCents);
        QJsonArray files;
        for (const auto& file : record.files) {
            files.append(
                QJsonObject{{QStringLiteral("path"), file.path},
                            {QStringLiteral("size"), file.size},
                            {QStringLiteral("index"), file.index},
                            {QStringLiteral("kind"), table[file.index].displayName},
                            {QStringLiteral("uploadField"), table[file.index].uploadFieldName}});
        }
        QJsonObject output{{QStringLiteral("basic"), basicMissing.isEmpty()
                                                         ? QJsonValue(toObject(basicFacts(record)))
                                                         : QJsonValue(QJsonValue::Null)},
                           {QStringLiteral("envelope"),
                            QJsonObject{{QStringLiteral("size"), record.envelopeSize},
                                        {QStringLiteral("supplement"), record.supplement},
                                        {QStringLiteral("estimateType"), record.estimateType}}},
                           {QStringLiteral("preparse"), preparse},
                           {QStringLiteral("files"), files},
                           {QStringLiteral("totalSize"), record.totalSize}};
        if (!basicMissing.isEmpty())
            output.insert(QStringLiteral("basicMissing"), basicMissing);
        printJson(output);
        return 0;
    }
    if (basicMissing.isEmpty()) {
        printFacts(QStringLiteral("basic estimate information"), basicFacts(record));
    } else {
        printLine(QStringLiteral("basic estimate information"));
        printLine(QStringLiteral("  not available: ") + basicMissing);
    }
    printLine(QStringLiteral("envelope"));
    printLine(QStringLiteral("  size                 %1").arg(record.envelopeSize));
    printLine(QStringLiteral("  supplement           %1").arg(record.supplement ? "yes" : "no"));
    printLine(QStringLiteral("  estimate type        %1").arg(record.estimateType));
    printFacts(QStringLiteral("preparse"), preparseFacts(record));
    printLine(QStringLiteral("member files (%1, %2 bytes)")
                  .arg(record.files.size())
                  .arg(record.totalSize));
    for (const auto& file : record.files) {
        printLine(QStringLiteral("  %1 %2 %3 %4")
                      .arg(file.index, 2)
                      .arg(table[file.index].uploadFieldName, -24)
                      .arg(file.size, 8)
                      .arg(file.path));
    }
    return 0;
}

int showField(const QString& envelopePath, const QString& fieldName)
{
    EmsReader reader;
    Variant value;
    if (!reader.readField(envelopePath, fieldName, value))
        return readerFailure(reader, envelopePath);
    printLine(textValue(value));
    return 0;
}

} // namespace tarnaxe::tool
