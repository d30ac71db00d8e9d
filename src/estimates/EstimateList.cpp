#include "estimates/EstimateList.h"

#include "config/PathHelpers.h"
#include "ems/EmsReader.h"
#include "ems/EstimateText.h"
#include "ems/clsXBASE.h"

#include <QDirIterator>
#include <QFile>
#include <QLocale>
#include <algorithm>
#include <sys/stat.h>

namespace tarnaxe {

namespace {

QString fieldText(clsXBASE& table, const QString& name)
{
    Variant value;
    table.GetFieldData(name, value);
    return value.isString() ? value.stringValue() : value.toText();
}

qint16 estimateTypeOf(const QString& code)
{
    const QString letter = trimBlanks(code).toUpper();
    if (letter == QLatin1String("A"))
        return 1;
    if (letter == QLatin1String("C"))
        return 2;
    if (letter == QLatin1String("M"))
        return 3;
    if (letter == QLatin1String("P"))
        return 4;
    return 0;
}

// The facts of the envelope's first record; false when it makes no row.
bool readEnvelope(clsXBASE& table, const ListedEnvelope& listed, EstimateEntry& entry)
{
    if (!table.OpenFile(listed.path))
        return false;
    bool listedRow = false;
    if (table.ReadRecord(1)) {
        // Case matters: "e" is no estimate. The padding of a wider field is not data.
        const QString transType =
            trimTrailingBlanks(fieldText(table, QStringLiteral("TRANS_TYPE")));
        if (transType == QLatin1String("E") || transType == QLatin1String("S")) {
            entry.FilePath = listed.path;
            entry.FileDate = QDateTime::fromSecsSinceEpoch(listed.modified);
            entry.FileSize = listed.size;
            entry.SuppFlag = transType == QLatin1String("S");
            entry.EstType = estimateTypeOf(fieldText(table, QStringLiteral("EST_SYSTEM")));
            entry.EstFileId = fieldText(table, QStringLiteral("ESTFILE_ID"));
            entry.Status = fieldText(table, QStringLiteral("STATUS"));
            entry.SuppNo = fieldText(table, QStringLiteral("SUPP_NO"));
            listedRow = true;
        }
    }
    table.CloseFile();
    return listedRow;
}

bool olderFirst(const ListedEnvelope& a, const ListedEnvelope& b)
{
    if (a.modified != b.modified)
        return a.modified < b.modified;
    if (const int byText = a.path.compare(b.path, Qt::CaseInsensitive))
        return byText < 0;
    return a.path < b.path;
}

// "h:nn" or "hh:nn" on the 12-hour clock.
QString twelveHour(const QTime& time, int hourDigits)
{
    const int hour = time.hour() % 12 == 0 ? 12 : time.hour() % 12;
    return QStringLiteral("%1:%2")
        .arg(hour, hourDigits, 10, QLatin1Char('0'))
        .arg(time.minute(), 2, 10, QLatin1Char('0'));
}

QString meridiem(const QTime& time)
{
    return time.hour() < 12 ? QStringLiteral("a") : QStringLiteral("p");
}

} // namespace

QList<ListedEnvelope> listEnvelopes(const QStringList& folders)
{
    QList<ListedEnvelope> envelopes;
    for (const QString& folder : folders) {
        const QString path = folder.trimmed();
        if (path.isEmpty() || !folderExists(path))
            continue;
        // Without QDir::CaseSensitive the pattern matches ".ENV" too, as the platforms'
        // own file systems did. Hidden files are writers' temporaries. The times are taken
        // from stat as they are: a local time for every file would cost a time zone lookup
        // each.
        QDirIterator it(path, {QStringLiteral("*.env")}, QDir::Files);
        while (it.hasNext()) {
            const QString file = it.next();
            struct stat info {};
            if (::stat(QFile::encodeName(file).constData(), &info) == 0 && S_ISREG(info.st_mode))
                envelopes.append({file, qint64(info.st_mtim.tv_sec), qint64(info.st_size)});
        }
    }
    std::sort(envelopes.begin(), envelopes.end(), olderFirst);
    return envelopes;
}

QList<EstimateEntry> buildRows(const QList<ListedEnvelope>& envelopes, int limit)
{
    QList<EstimateEntry> rows;
    clsXBASE table;
    for (auto it = envelopes.crbegin(); it != envelopes.crend() && rows.size() < limit; ++it) {
        EstimateEntry entry;
        if (readEnvelope(table, *it, entry))
            rows.append(entry);
    }
    return rows;
}

void loadDetails(EmsReader& reader, EstimateEntry& entry)
{
    EstimateRecord record;
    record.envelopeFile = entry.FilePath;
    reader.fillPreparseInfo(record);
    entry.ForCompany = record.insuranceCompany;
    entry.ForClaim = record.preparsedClaimNumber;
    entry.Description = record.vehicleDescription;
    entry.AmountCents = record.totalCents;
    entry.Owner = record.ownerName;
    entry.Insured = record.insuredName;
    entry.Claimant = record.claimantName;
    entry.PolicyNo = record.preparsedPolicyNumber;
    entry.Vin = record.vin;
    entry.DetailsLoaded = true;
}

int autoLocateEstimate(EmsReader& reader, QList<EstimateEntry>& rows, const QString& claim,
                       const QString& vin)
{
    for (qsizetype row = 0; row < rows.size(); ++row) {
        EstimateEntry& entry = rows[row];
        if (!entry.DetailsLoaded)
            loadDetails(reader, entry);
        if (entry.ForClaim == claim && entry.Vin == vin)
            return int(row);
    }
    return -1;
}

EstimateListing listEstimates(const QStringList& exportFolders, const AutoLocateRequest& locate)
{
    EstimateListing listing;
    listing.rows = buildRows(listEnvelopes(exportFolders));
    if (locate.requested) {
        EmsReader reader;
        listing.autoRow = autoLocateEstimate(reader, listing.rows, locate.claim, locate.vin);
    }
    return listing;
}

EstimateRecord estimateRecordFor(const EstimateEntry& entry, const QString& mieFile)
{
    static const QString platformLetters = QStringLiteral(" ACMP");
    EstimateRecord record;
    record.envelopeFile = entry.FilePath;
    record.estimateFileId = entry.EstFileId;
    record.supplementNumber = entry.SuppNo;
    record.creationDate = entry.FileDate.toString(QStringLiteral("MM/dd/yy"));
    record.creationStamp = entry.FileDate.toString(QStringLiteral("yyyyMMddHHmmss"));
    record.vehicle = entry.Description;
    record.owner = entry.Owner;
    record.insured = entry.Insured;
    record.claimant = entry.Claimant;
    record.claimNumber = entry.ForClaim;
    record.policyNumber = entry.PolicyNo;
    record.baseName = entry.FilePath.left(qMax<qsizetype>(0, entry.FilePath.size() - 4));
    record.platformCode = platformLetters.at(qBound(0, int(entry.EstType), 4));
    record.status = entry.Status;
    record.mieFile = mieFile;
    return record;
}

QString estimateTypeName(int estType)
{
    switch (estType) {
    case 1:
        return QStringLiteral("ADP");
    case 2:
        return QStringLiteral("CCC");
    case 3:
        return QStringLiteral("Mitchell");
    case 4:
        return QStringLiteral("AdjRite");
    default:
        return QStringLiteral("Unknown");
    }
}

QString dateCreatedText(const QDateTime& date)
{
    return date.date().toString(QStringLiteral("MM/dd/yyyy")) + QLatin1Char(' ') +
           twelveHour(date.time(), 1) + meridiem(date.time());
}

QString amountText(qint32 cents)
{
    // Dollars as the offices' estimates are written, whatever the desktop's locale.
    static const QLocale us(QLocale::English, QLocale::UnitedStates);
    const QString amount = QLatin1Char('$') + us.toString(qAbs(qint64(cents)) / 100.0, 'f', 2);
    return cents < 0 ? QLatin1Char('(') + amount + QLatin1Char(')') : amount;
}

QString confirmationDateText(const QDateTime& date)
{
    return QLocale::c().toString(date.date(), QStringLiteral("MMM d yyyy")) + QLatin1Char(' ') +
           twelveHour(date.time(), 2) + QLatin1Char(' ') + meridiem(date.time());
}

QString confirmationAmountText(qint32 cents)
{
    return QLatin1Char('$') + QString::number(cents / 100.0, 'f', 2);
}

} // namespace tarnaxe
