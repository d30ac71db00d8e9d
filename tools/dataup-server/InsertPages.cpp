// The pages that record an attachment of a transaction: an image, a file, a printed
// document or an EMS estimate, each naming files that WriteFile stored.

#include "Page.h"

#include <QList>

namespace tarnaxe::dataup {

namespace {

const char* const kEmsFileFields[] = {
    "EMSEnvelope",       "EMSAdministration1", "EMSAdministration2",      "EMSVehicle",
    "EMSDetail",         "EMSHeaderProfile",   "EMSPartsRates",           "EMSLaborRates",
    "EMSMaterialsRates", "EMSTaxTierProfile",  "EMSAdditionalProfile",    "EMSSubtotals",
    "EMSTotals",         "EMSNonOEMSupplier",  "EMSAdministration1Memos", "EMSAdministration2Memos",
    "EMSVehicleMemos",   "MIELocation",
};

struct Kind {
    const char* name;
    QList<const char*> required;
    const char* textField;     // caption or description, or nullptr
    const char* fileNameField; // or nullptr
    bool ems;
};

const Kind kImage{"image",
                  {"GUID", "AssignmentGUID", "TransactionGUID", "WorkerGUID", "WorkerTypeID",
                   "Caption", "FileSize", "Location"},
                  "Caption",
                  nullptr,
                  false};
const Kind kFile{"file",
                 {"GUID", "AssignmentGUID", "TransactionGUID", "WorkerGUID", "WorkerTypeID",
                  "Description", "FileName", "FileSize", "Location"},
                 "Description",
                 "FileName",
                 false};
const Kind kPrint{"print",
                  {"GUID", "AssignmentGUID", "TransactionGUID", "WorkerGUID", "WorkerTypeID",
                   "Description", "FileSize", "Location"},
                  "Description",
                  nullptr,
                  false};
const Kind kEms{"ems",
                {"GUID", "FileSize", "AssignmentGUID", "TransactionGUID", "WorkerGUID",
                 "WorkerTypeID", "PreparseVehicle", "PreparseClaimNumber", "PreparseInsured",
                 "PreparseEstimateNumber", "PreparseSupplementNumber", "PreparsePolicyNumber",
                 "EMSEstimatingPlatformCode", "EMSEnvelope"},
                nullptr,
                nullptr,
                true};

bool sameFields(const Fields& a, const Fields& b)
{
    if (a.list().size() != b.list().size())
        return false;
    for (qsizetype i = 0; i < a.list().size(); ++i) {
        if (a.list()[i].name != b.list()[i].name || a.list()[i].value != b.list()[i].value)
            return false;
    }
    return true;
}

// The fields that name stored files: Location, or each EMS member given a value.
QList<const char*> fileFields(const Kind& kind, const Fields& fields)
{
    if (!kind.ems)
        return {"Location"};
    QList<const char*> names;
    for (const char* name : kEmsFileFields) {
        if (!fields.value(name).isEmpty())
            names.append(name);
    }
    return names;
}

Reply insert(const Kind& kind, PageContext& context, const RequestBody& body)
{
    const Fields& fields = body.fields;
    for (const char* name : kind.required) {
        if (!fields.has(name))
            return Reply::failure(QByteArray("Missing field: ") + name);
    }
    for (const char* name : {"GUID", "AssignmentGUID", "TransactionGUID"}) {
        if (fields.value(name).isEmpty())
            return Reply::failure(QByteArray("Empty field: ") + name);
    }
    if (kind.ems && fields.value("EMSEnvelope").isEmpty())
        return Reply::failure("Empty field: EMSEnvelope");
    const QByteArray sizeText = fields.value("FileSize");
    const auto fileSize = parseSize(sizeText);
    if (!fileSize)
        return notDecimal("FileSize", sizeText);

    const auto lock = context.store.lock();
    const auto transaction = context.store.transaction(fields.value("TransactionGUID"));
    if (!transaction)
        return Reply::failure("Transaction not found");
    if (!transaction->isOpen())
        return Reply::failure("Transaction is already committed");

    const QByteArray guid = fields.value("GUID");
    if (const auto existing = context.store.insertByGuid(guid)) {
        // A repeat of a request whose reply was lost is answered as the first one was.
        if (existing->transactionGuid == transaction->guid && existing->kind == kind.name &&
            sameFields(existing->fields, fields))
            return Reply::success();
        return Reply::failure("An attachment with the GUID " + guid + " exists already");
    }

    InsertRecord record;
    qint64 storedBytes = 0;
    for (const char* name : fileFields(kind, fields)) {
        const QByteArray location = fields.value(name);
        const auto file = context.store.fileByLocation(location);
        if (!file)
            return Reply::failure(QByteArray(name) + ": location not found: " + location.left(80));
        if (file->transactionGuid != transaction->guid)
            return Reply::failure(QByteArray(name) + ": location " + location +
                                  " belongs to another transaction");
        storedBytes += file->size;
        record.files.append({name, file->id});
    }
    if (*fileSize != storedBytes)
        return Reply::failure("FileSize " + sizeText + " does not match the " +
                              QByteArray::number(storedBytes) + " bytes stored" +
                              (kind.ems ? " in the estimate's files" : ""));

    record.transactionGuid = transaction->guid;
    record.kind = QString::fromLatin1(kind.name);
    record.guid = guid;
    record.assignmentGuid = fields.value("AssignmentGUID");
    // Offices attach to assignments that this server never delivered: recorded, flagged.
    record.assignmentKnown = context.store.assignment(record.assignmentGuid).has_value();
    record.workerGuid = fields.value("WorkerGUID");
    record.workerTypeId = fields.value("WorkerTypeID");
    if (kind.textField)
        record.text = fields.value(kind.textField);
    if (kind.fileNameField)
        record.fileName = fields.value(kind.fileNameField);
    record.fileSize = *fileSize;
    record.fields = fields;
    if (!context.store.addInsert(record))
        return Reply::failure("The server could not record the attachment: " +
                              context.store.database().lastError().toUtf8());
    return Reply::success();
}

} // namespace

Reply insertImage(PageContext& context, const RequestBody& body)
{
    return insert(kImage, context, body);
}

Reply insertFileAttachment(PageContext& context, const RequestBody& body)
{
    return insert(kFile, context, body);
}

Reply insertPrintDocument(PageContext& context, const RequestBody& body)
{
    return insert(kPrint, context, body);
}

Reply insertEmsEstimate(PageContext& context, const RequestBody& body)
{
    return insert(kEms, context, body);
}

} // namespace tarnaxe::dataup
