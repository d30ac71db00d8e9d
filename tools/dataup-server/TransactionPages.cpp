// The pages of an attachment transaction: begin, the file uploads, commit.

#include "Guid.h"
#include "Page.h"

#include <QFile>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <variant>

namespace tarnaxe::dataup {

namespace {

// The open transaction of guid, or the failure to answer.
std::variant<TransactionRecord, Reply> openTransaction(Store& store, const QByteArray& guid)
{
    const auto transaction = store.transaction(guid);
    if (!transaction)
        return Reply::failure("Transaction not found");
    if (!transaction->isOpen())
        return Reply::failure("Transaction is already committed");
    return *transaction;
}

Reply storageFailure(const QString& why)
{
    return Reply::failure("The server could not store the file: " + why.toUtf8());
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

} // namespace

Reply beginTransaction(PageContext& context, const RequestBody& body)
{
    if (auto failure = missingField(body.fields, {"Code"}))
        return *failure;
    if (body.fields.value("Code") != "BEGINTRANS")
        return Reply::failure("Unknown Code: " + body.fields.value("Code").left(40));
    const QString guid = newRegistryGuid();
    const auto lock = context.store.lock();
    if (!context.store.addTransaction(guid))
        return storageFailure(context.store.database().lastError());
    return Reply::success().add("TransactionGUID", guid.toLatin1());
}

Reply writeFile(PageContext& context, const RequestBody& body)
{
    if (auto failure = missingField(body.fields, {"FileName", "TransactionGUID", "FileSize"}))
        return *failure;
    const QByteArray sizeText = body.fields.value("FileSize");
    const auto size = parseSize(sizeText);
    if (!size)
        return notDecimal("FileSize", sizeText);
    if (*size != body.spool->size())
        return Reply::failure("FileSize " + sizeText + " does not match the " +
                              QByteArray::number(body.spool->size()) + " bytes received");

    const auto lock = context.store.lock();
    auto transaction = openTransaction(context.store, body.fields.value("TransactionGUID"));
    if (auto* failure = std::get_if<Reply>(&transaction))
        return *failure;
    SqlTransaction sql(context.store.database());
    const auto id = context.store.addFile(std::get<TransactionRecord>(transaction).guid,
                                          body.fields.value("FileName"), *size);
    if (!sql.isOpen() || !id)
        return storageFailure(context.store.database().lastError());
    const QString path = context.folder.storedFile(*id);
    // A file left by a row that was rolled back would block the name.
    QFile::remove(path);
    if (!body.spool->saveAs(path))
        return storageFailure(body.spool->error());
    if (!sql.commit()) {
        QFile::remove(path);
        return storageFailure(context.store.database().lastError());
    }
    return Reply::success().add("Location", locationOf(*id).toLatin1());
}

Reply appendToFile(PageContext& context, const RequestBody& body)
{
    if (auto failure =
            missingField(body.fields, {"sLocation", "TransactionGUID", "CurrSize", "BlobSize"}))
        return *failure;
    const QByteArray currText = body.fields.value("CurrSize");
    const QByteArray blobText = body.fields.value("BlobSize");
    const auto currSize = parseSize(currText);
    if (!currSize)
        return notDecimal("CurrSize", currText);
    const auto blobSize = parseSize(blobText);
    if (!blobSize)
        return notDecimal("BlobSize", blobText);
    if (*blobSize != body.spool->size())
        return Reply::failure("BlobSize " + blobText + " does not match the " +
                              QByteArray::number(body.spool->size()) + " bytes received");

    const auto lock = context.store.lock();
    const QByteArray location = body.fields.value("sLocation");
    const auto file = context.store.fileByLocation(location);
    if (!file)
        return Reply::failure("Location not found: " + location.left(80));
    auto transaction = openTransaction(context.store, body.fields.value("TransactionGUID"));
    if (auto* failure = std::get_if<Reply>(&transaction))
        return *failure;
    if (file->transactionGuid != std::get<TransactionRecord>(transaction).guid)
        return Reply::failure("Location " + location + " belongs to another transaction");
    if (*currSize != file->size)
        return Reply::failure("CurrSize " + currText + " does not match the " +
                              QByteArray::number(file->size) + " bytes stored");

    const FileDescriptor fd(::open(QFile::encodeName(context.folder.storedFile(file->id)),
                                   O_WRONLY | O_APPEND | O_CLOEXEC));
    struct stat info {};
    if (fd.get() < 0 || ::fstat(fd.get(), &info) != 0 || info.st_size != file->size)
        return storageFailure(QStringLiteral("the stored file is missing or changed on disk"));
    // Whatever goes wrong from here, the file keeps the bytes it had.
    if (!body.spool->appendTo(fd.get())) {
        (void)::ftruncate(fd.get(), file->size);
        return storageFailure(body.spool->error());
    }
    if (!context.store.setFileSize(file->id, file->size + *blobSize)) {
        (void)::ftruncate(fd.get(), file->size);
        return storageFailure(context.store.database().lastError());
    }
    return Reply::success();
}

Reply commitTransaction(PageContext& context, const RequestBody& body)
{
    if (auto failure = missingField(body.fields, {"TransactionGUID"}))
        return *failure;
    const QByteArray guid = body.fields.value("TransactionGUID");
    const auto lock = context.store.lock();
    // Committing twice succeeds: a client whose connection dropped after the first commit
    // sends it again and must not be told that its upload failed.
    if (const auto existing = context.store.transaction(guid); existing && !existing->isOpen())
        return Reply::success();
    auto transaction = openTransaction(context.store, guid);
    if (auto* failure = std::get_if<Reply>(&transaction))
        return *failure;
    if (!context.store.commitTransaction(guid))
        return storageFailure(context.store.database().lastError());
    return Reply::success();
}

} // namespace tarnaxe::dataup
