#include "JsonViews.h"

#include "FileDigest.h"
#include "platform/Windows1252.h"

#include <QCryptographicHash>

namespace tarnaxe::dataup {

namespace {

QJsonValue timeOrNull(const QString& time)
{
    return time.isEmpty() ? QJsonValue() : QJsonValue(time);
}

} // namespace

QJsonObject fileJson(Store& store, const DataFolder& folder, const FileRecord& file)
{
    return {
        {QStringLiteral("id"), file.id},
        {QStringLiteral("location"), file.location},
        {QStringLiteral("fileName"), fromWindows1252(file.fileName)},
        {QStringLiteral("size"), file.size},
        {QStringLiteral("sha256"), storedFileSha256(store, folder, file)},
        {QStringLiteral("createdAt"), file.createdAt},
    };
}

QJsonObject insertJson(Store& store, const DataFolder& folder, const InsertRecord& insert)
{
    QJsonArray pairs;
    QJsonObject map;
    for (const Field& field : insert.fields.list()) {
        const QString name = fromWindows1252(field.name);
        const QString value = fromWindows1252(field.value);
        pairs.append(QJsonArray{name, value});
        // The first of a repeated name, as the pages read it.
        if (!map.contains(name))
            map.insert(name, value);
    }
    QJsonArray files;
    for (const InsertFile& insertFile : insert.files) {
        const auto file = store.fileById(insertFile.fileId);
        QJsonObject entry = file ? fileJson(store, folder, *file) : QJsonObject();
        entry.insert(QStringLiteral("field"), fromWindows1252(insertFile.field));
        files.append(entry);
    }
    return {
        {QStringLiteral("kind"), insert.kind},
        {QStringLiteral("guid"), fromWindows1252(insert.guid)},
        {QStringLiteral("transactionGuid"), insert.transactionGuid},
        {QStringLiteral("assignmentGuid"), fromWindows1252(insert.assignmentGuid)},
        {QStringLiteral("assignmentKnown"), insert.assignmentKnown},
        {QStringLiteral("text"), fromWindows1252(insert.text)},
        {QStringLiteral("fileName"), fromWindows1252(insert.fileName)},
        {QStringLiteral("fileSize"), insert.fileSize},
        {QStringLiteral("createdAt"), insert.createdAt},
        {QStringLiteral("fields"), pairs},
        {QStringLiteral("fieldMap"), map},
        {QStringLiteral("files"), files},
    };
}

std::optional<QJsonObject> assignmentJson(Store& store, const DataFolder& folder,
                                          const QByteArray& guid)
{
    const auto lock = store.lock();
    const auto assignment = store.assignment(guid);
    if (!assignment)
        return std::nullopt;
    QJsonArray pieces;
    for (const PieceRecord& piece : store.pieces(assignment->guid)) {
        pieces.append(QJsonObject{
            {QStringLiteral("name"), fromWindows1252(piece.name)},
            {QStringLiteral("size"), qint64(piece.data.size())},
            {QStringLiteral("sha256"),
             QString::fromLatin1(
                 QCryptographicHash::hash(piece.data, QCryptographicHash::Sha256).toHex())},
        });
    }
    QJsonArray attachments;
    for (const InsertRecord& insert : store.committedInsertsOf(assignment->guid))
        attachments.append(insertJson(store, folder, insert));
    return QJsonObject{
        {QStringLiteral("guid"), assignment->guid},
        {QStringLiteral("claimNumber"), fromWindows1252(assignment->claimNumber)},
        {QStringLiteral("policyNumber"), fromWindows1252(assignment->policyNumber)},
        {QStringLiteral("companyName"), fromWindows1252(assignment->companyName)},
        {QStringLiteral("basename"), fromWindows1252(assignment->basename)},
        {QStringLiteral("mieSize"), qint64(assignment->mie.size())},
        {QStringLiteral("createdAt"), assignment->createdAt},
        {QStringLiteral("pieces"), pieces},
        {QStringLiteral("attachments"), attachments},
    };
}

std::optional<QJsonObject> transactionJson(Store& store, const DataFolder& folder,
                                           const QByteArray& guid)
{
    const auto lock = store.lock();
    const auto transaction = store.transaction(guid);
    if (!transaction)
        return std::nullopt;
    QJsonArray files;
    for (const FileRecord& file : store.files(transaction->guid))
        files.append(fileJson(store, folder, file));
    QJsonArray inserts;
    for (const InsertRecord& insert : store.inserts(transaction->guid))
        inserts.append(insertJson(store, folder, insert));
    // Only a committed transaction has attachments; an open one has pending inserts.
    const QJsonArray attachments = transaction->isOpen() ? QJsonArray() : inserts;
    return QJsonObject{
        {QStringLiteral("guid"), transaction->guid},
        {QStringLiteral("state"), transaction->state},
        {QStringLiteral("begunAt"), transaction->begunAt},
        {QStringLiteral("committedAt"), timeOrNull(transaction->committedAt)},
        {QStringLiteral("files"), files},
        {QStringLiteral("inserts"), inserts},
        {QStringLiteral("attachments"), attachments},
    };
}

QJsonArray transactionsJson(Store& store)
{
    const auto lock = store.lock();
    QJsonArray list;
    for (const TransactionRecord& transaction : store.transactions()) {
        list.append(QJsonObject{
            {QStringLiteral("guid"), transaction.guid},
            {QStringLiteral("state"), transaction.state},
            {QStringLiteral("begunAt"), transaction.begunAt},
            {QStringLiteral("committedAt"), timeOrNull(transaction.committedAt)},
            {QStringLiteral("files"), qint64(store.files(transaction.guid).size())},
            {QStringLiteral("inserts"), qint64(store.inserts(transaction.guid).size())},
        });
    }
    return list;
}

QJsonArray assignmentsJson(Store& store)
{
    const auto lock = store.lock();
    QJsonArray list;
    for (const AssignmentRecord& assignment : store.assignments()) {
        list.append(QJsonObject{
            {QStringLiteral("guid"), assignment.guid},
            {QStringLiteral("claimNumber"), fromWindows1252(assignment.claimNumber)},
            {QStringLiteral("policyNumber"), fromWindows1252(assignment.policyNumber)},
            {QStringLiteral("companyName"), fromWindows1252(assignment.companyName)},
            {QStringLiteral("basename"), fromWindows1252(assignment.basename)},
            {QStringLiteral("createdAt"), assignment.createdAt},
        });
    }
    return list;
}

} // namespace tarnaxe::dataup
