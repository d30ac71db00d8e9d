#pragma once
// Reads and writes of the records, over the database. Every call expects the caller to
// hold the database lock; a caller that checks and then writes holds it for both.

#include "Database.h"
#include "Records.h"

#include <optional>

namespace tarnaxe::dataup {

class Store {
public:
    explicit Store(Database& db) : m_db(db) {}

    Database& database() { return m_db; }
    std::unique_lock<std::mutex> lock() { return m_db.lock(); }

    std::optional<AssignmentRecord> assignment(const QByteArray& guid);
    QList<AssignmentRecord> assignments();
    std::optional<QByteArray> piece(const QByteArray& assignmentGuid, const QByteArray& name);
    QList<PieceRecord> pieces(const QString& assignmentGuid);
    bool addAssignment(const AssignmentRecord& assignment, const QList<PieceRecord>& pieces);

    std::optional<TransactionRecord> transaction(const QByteArray& guid);
    QList<TransactionRecord> transactions();
    bool addTransaction(const QString& guid);
    // False when the transaction is not open (or not there).
    bool commitTransaction(const QByteArray& guid);

    std::optional<FileRecord> fileByLocation(const QByteArray& location);
    std::optional<FileRecord> fileById(qint64 id);
    QList<FileRecord> files(const QString& transactionGuid);
    // A new file row with its location; the id, or nothing on an error.
    std::optional<qint64> addFile(const QString& transactionGuid, const QByteArray& fileName,
                                  qint64 size);
    bool setFileSize(qint64 id, qint64 size);
    // The cached digest when it was taken at this size, else empty.
    QString cachedSha256(qint64 id, qint64 size);
    void cacheSha256(qint64 id, qint64 size, const QString& digest);
    // Whether a committed insert names the file.
    bool isAttachedFile(qint64 id);

    QList<InsertRecord> inserts(const QString& transactionGuid);
    QList<InsertRecord> committedInsertsOf(const QString& assignmentGuid);
    std::optional<InsertRecord> insertByGuid(const QByteArray& guid);
    std::optional<qint64> addInsert(const InsertRecord& insert);

private:
    void loadDetails(InsertRecord& insert);
    QList<InsertRecord> readInserts(Query& query);

    Database& m_db;
};

// The time stored with records: UTC, ISO 8601, to the second.
QString timestamp();
// "upload/<id>": what WriteFile answers and clients send back verbatim.
QString locationOf(qint64 id);

} // namespace tarnaxe::dataup
