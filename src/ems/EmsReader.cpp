#include "ems/EmsReader.h"

#include "ems/EstimateText.h"

#include <QFileInfo>

namespace tarnaxe {

namespace {

namespace field {
const QString estSystem = QStringLiteral("EST_SYSTEM");
const QString estFileId = QStringLiteral("ESTFILE_ID");
const QString suppNo = QStringLiteral("SUPP_NO");
const QString status = QStringLiteral("STATUS");
const QString createDate = QStringLiteral("CREATE_DT");
const QString transType = QStringLiteral("TRANS_TYPE");
const QString claimNo = QStringLiteral("CLM_NO");
const QString policyNo = QStringLiteral("POLICY_NO");
const QString insuranceCompany = QStringLiteral("INS_CO_NM");
const QString customerPrincipal = QStringLiteral("CUST_PR");
const QString insuredLast = QStringLiteral("INSD_LN");
const QString insuredFirst = QStringLiteral("INSD_FN");
const QString insuredCompany = QStringLiteral("INSD_CO_NM");
const QString ownerLast = QStringLiteral("OWNR_LN");
const QString ownerFirst = QStringLiteral("OWNR_FN");
const QString ownerCompany = QStringLiteral("OWNR_CO_NM");
const QString claimantLast = QStringLiteral("CLMT_LN");
const QString claimantFirst = QStringLiteral("CLMT_FN");
const QString claimantCompany = QStringLiteral("CLMT_CO_NM");
const QString modelYear = QStringLiteral("V_MODEL_YR");
const QString make = QStringLiteral("V_MAKEDESC");
const QString model = QStringLiteral("V_MODEL");
const QString vin = QStringLiteral("V_VIN");
const QString total = QStringLiteral("N_TTL_AMT");
} // namespace field

size_t slotOf(EmsMember member)
{
    return static_cast<size_t>(member);
}

// 31 December 1951 and any earlier date mean "no age limit".
const QDate kNoAgeLimit(1951, 12, 31);

// The platform code is one letter; a wider field padded with blanks means the same.
QString platformLetter(const QString& code)
{
    return trimBlanks(code).toUpper();
}

int estimateTypeOf(const QString& code)
{
    const QString letter = platformLetter(code);
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

bool tooOld(const QString& envelopePath, const QDate& cutOff)
{
    if (!cutOff.isValid() || cutOff <= kNoAgeLimit)
        return false;
    QFileInfo info(envelopePath);
    if (!info.exists()) {
        // A missing envelope is no older than anything; the open reports it.
        const QString found = findExistingFile(envelopePath);
        if (found.isEmpty())
            return false;
        info.setFile(found);
    }
    return info.lastModified() < QDateTime(cutOff, QTime(0, 0));
}

const QString kFileNotFound = QStringLiteral("File Not Found");

// Closes every reader when an operation leaves, whichever way it leaves.
class CloseAll {
public:
    explicit CloseAll(std::array<std::unique_ptr<clsXBASE>, kEmsMemberCount>& readers)
        : m_readers(readers)
    {}
    ~CloseAll()
    {
        for (const auto& reader : m_readers) {
            if (reader)
                reader->CloseFile();
        }
    }
    CloseAll(const CloseAll&) = delete;
    CloseAll& operator=(const CloseAll&) = delete;

private:
    std::array<std::unique_ptr<clsXBASE>, kEmsMemberCount>& m_readers;
};

} // namespace

EmsReader::EmsReader() : m_lastError(QStringLiteral("OK")) {}

EmsReader::~EmsReader() = default;

clsXBASE& EmsReader::reader(EmsMember member)
{
    auto& slot = m_readers[slotOf(member)];
    if (!slot)
        slot = std::make_unique<clsXBASE>();
    return *slot;
}

void EmsReader::succeed()
{
    m_lastError = QStringLiteral("OK");
    m_lastErrorFile.clear();
}

void EmsReader::fail(const QString& message, const QString& file)
{
    m_lastError = message;
    m_lastErrorFile = file;
}

bool EmsReader::readFirstRecord(EmsMember member, const QString& path)
{
    clsXBASE& table = reader(member);
    m_paths[slotOf(member)] = path;
    if (table.IsOpen() && table.ReadRecord(1))
        return true;
    fail(table.ErrorMessage(), path);
    return false;
}

bool EmsReader::openEnvelope(const QString& envelopePath)
{
    clsXBASE& table = reader(EmsMember::Envelope);
    QString path = envelopePath;
    if (!table.OpenFile(path) && table.ErrorMessage() == kFileNotFound) {
        if (const QString found = findExistingFile(envelopePath); !found.isEmpty()) {
            path = found;
            table.OpenFile(path);
        }
    }
    return readFirstRecord(EmsMember::Envelope, path);
}

EmsReader::MemberLookup EmsReader::lookupOfOpenedEnvelope() const
{
    const QString& envelope = m_paths[slotOf(EmsMember::Envelope)];
    return {emsBaseName(envelope), extensionCase(envelope)};
}

bool EmsReader::openMemberOf(EmsMember member, const MemberLookup& lookup)
{
    clsXBASE& table = reader(member);
    // Opening is the test for existence: a missing or empty file is "File Not Found", and
    // any other failure ends the search at the member that is there.
    QString path =
        usualSpelling(lookup.base, member, lookup.suffixCase, [&table](const QString& candidate) {
            return table.OpenFile(candidate) || table.ErrorMessage() != kFileNotFound;
        });
    if (path.isEmpty()) {
        path = memberByListing(lookup.base, member);
        if (path.isEmpty())
            path = lookup.base + emsMemberSuffixes(member).first();
        table.OpenFile(path);
    }
    return readFirstRecord(member, path);
}

Variant EmsReader::value(EmsMember member, const QString& fieldName)
{
    // A field that a table lacks reads as empty: only opens and record reads fail a read.
    Variant v;
    reader(member).GetFieldData(fieldName, v);
    return v;
}

QString EmsReader::text(EmsMember member, const QString& fieldName)
{
    const Variant v = value(member, fieldName);
    return v.isString() ? v.stringValue() : v.toText();
}

bool EmsReader::readBasicInfo(const QString& envelopePath, const QDate& cutOff,
                              EstimateRecord& record)
{
    const CloseAll closer(m_readers);
    if (tooOld(envelopePath, cutOff)) {
        fail(QStringLiteral("Envelope older than ") + cutOff.toString(QStringLiteral("MM/dd/yyyy")),
             envelopePath);
        return false;
    }
    if (!openEnvelope(envelopePath))
        return false;
    const MemberLookup lookup = lookupOfOpenedEnvelope();
    const QString code = text(EmsMember::Envelope, field::estSystem);
    for (EmsMember member : {EmsMember::Administrative1, EmsMember::Administrative2,
                             EmsMember::Vehicle, EmsMember::Totals}) {
        if (!openMemberOf(member, lookup))
            return false;
    }
    if (platformLetter(code) != QLatin1String("A") &&
        !openMemberOf(EmsMember::ProfileTotals, lookup))
        return false;

    record.envelopeFile = envelopePath;
    record.estimateFileId = text(EmsMember::Envelope, field::estFileId);
    record.supplementNumber = text(EmsMember::Envelope, field::suppNo);
    record.policyNumber = text(EmsMember::Administrative1, field::policyNo);
    record.claimNumber = text(EmsMember::Administrative1, field::claimNo);
    record.platformCode = code;
    record.status = text(EmsMember::Envelope, field::status);
    record.baseName = emsBaseName(envelopePath);
    // Only the day is shown, so no local time is worked out for it.
    std::optional<QDate> createDate;
    reader(EmsMember::Envelope).GetFieldDate(field::createDate, createDate);
    const CreationTexts created = creationTexts(createDate);
    record.creationDate = created.date;
    record.creationStamp = created.stamp;
    record.insured = listedName(text(EmsMember::Administrative1, field::insuredLast),
                                text(EmsMember::Administrative1, field::insuredFirst),
                                text(EmsMember::Administrative1, field::insuredCompany));
    record.owner = listedName(text(EmsMember::Administrative1, field::ownerLast),
                              text(EmsMember::Administrative1, field::ownerFirst),
                              text(EmsMember::Administrative1, field::ownerCompany));
    record.claimant = listedName(text(EmsMember::Administrative2, field::claimantLast),
                                 text(EmsMember::Administrative2, field::claimantFirst),
                                 text(EmsMember::Administrative2, field::claimantCompany));
    record.vehicle = listedVehicle(text(EmsMember::Vehicle, field::modelYear),
                                   text(EmsMember::Vehicle, field::make),
                                   text(EmsMember::Vehicle, field::model));
    succeed();
    return true;
}

bool EmsReader::readField(const QString& envelopePath, const QString& fieldName, Variant& value)
{
    const CloseAll closer(m_readers);
    value = Variant(QString());
    if (!openEnvelope(envelopePath))
        return false;
    const MemberLookup lookup = lookupOfOpenedEnvelope();
    for (EmsMember member :
         {EmsMember::Administrative1, EmsMember::Administrative2, EmsMember::Vehicle}) {
        if (!openMemberOf(member, lookup))
            return false;
    }
    // A table that has the field but cannot convert it (a broken memo) passes the
    // question on too; its message says more than "Invalid Field Name".
    const QString invalidName = QStringLiteral("Invalid Field Name");
    QString error = invalidName;
    QString errorFile;
    for (EmsMember member : {EmsMember::Envelope, EmsMember::Administrative1,
                             EmsMember::Administrative2, EmsMember::Vehicle}) {
        clsXBASE& table = reader(member);
        if (table.GetFieldData(fieldName, value)) {
            succeed();
            return true;
        }
        if (error == invalidName && table.ErrorMessage() != invalidName) {
            error = table.ErrorMessage();
            errorFile = m_paths[slotOf(member)];
        }
    }
    value = Variant(QString());
    fail(error, errorFile);
    return false;
}

bool EmsReader::fillEnvelopeInfo(EstimateRecord& entry)
{
    const CloseAll closer(m_readers);
    const bool opened = openEnvelope(entry.envelopeFile);
    entry.envelopeSize = QFileInfo(m_paths[slotOf(EmsMember::Envelope)]).size();
    entry.parsed = false;
    if (!opened)
        return false;
    // "E" is an estimate and "S" a supplement; any other value is taken as an estimate.
    entry.supplement =
        platformLetter(text(EmsMember::Envelope, field::transType)) == QLatin1String("S");
    entry.estimateType = estimateTypeOf(text(EmsMember::Envelope, field::estSystem));
    entry.estimateFileId = text(EmsMember::Envelope, field::estFileId);
    entry.status = text(EmsMember::Envelope, field::status);
    entry.supplementNumber = text(EmsMember::Envelope, field::suppNo);
    succeed();
    return true;
}

bool EmsReader::fillPreparseInfo(EstimateRecord& entry)
{
    const CloseAll closer(m_readers);
    // The entry's path always names an envelope: its extension is cut, not looked for.
    const QString envelopePath = trimBlanks(entry.envelopeFile);
    const MemberLookup lookup{envelopePath.left(qMax<qsizetype>(0, envelopePath.size() - 4)),
                              extensionCase(envelopePath)};
    bool complete = true;
    auto rtrim = [this](EmsMember member, const QString& name) {
        return trimTrailingBlanks(text(member, name));
    };

    if (openMemberOf(EmsMember::Administrative1, lookup)) {
        const EmsMember ad1 = EmsMember::Administrative1;
        entry.preparsedClaimNumber = rtrim(ad1, field::claimNo);
        entry.preparsedPolicyNumber = rtrim(ad1, field::policyNo);
        entry.insuranceCompany = rtrim(ad1, field::insuranceCompany);
        entry.insuredName =
            joinPersonName(rtrim(ad1, field::insuredLast), rtrim(ad1, field::insuredFirst));
        entry.ownerName =
            joinPersonName(rtrim(ad1, field::ownerLast), rtrim(ad1, field::ownerFirst));
        if (platformLetter(text(ad1, field::customerPrincipal)) != QLatin1String("C")) {
            entry.claimantName.clear();
        } else if (openMemberOf(EmsMember::Administrative2, lookup)) {
            const EmsMember ad2 = EmsMember::Administrative2;
            entry.claimantName =
                joinPersonName(rtrim(ad2, field::claimantLast), rtrim(ad2, field::claimantFirst));
        } else {
            complete = false;
        }
    } else {
        complete = false;
    }

    if (openMemberOf(EmsMember::Vehicle, lookup)) {
        const EmsMember veh = EmsMember::Vehicle;
        entry.vehicleDescription = rtrim(veh, field::modelYear) + QLatin1Char(' ') +
                                   rtrim(veh, field::make) + QLatin1Char(' ') +
                                   rtrim(veh, field::model);
        entry.vin = rtrim(veh, field::vin);
    } else {
        complete = false;
    }

    if (openMemberOf(EmsMember::Totals, lookup)) {
        if (const auto cents = amountInCents(value(EmsMember::Totals, field::total))) {
            entry.totalCents = *cents;
        } else {
            fail(QStringLiteral("No amount in N_TTL_AMT"), m_paths[slotOf(EmsMember::Totals)]);
            complete = false;
        }
    } else {
        complete = false;
    }

    entry.parsed = true;
    if (complete)
        succeed();
    return complete;
}

} // namespace tarnaxe
