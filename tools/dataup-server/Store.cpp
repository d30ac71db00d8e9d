#include "Store.h"

#include <QDateTime>

namespace tarnaxe::dataup {

namespace {

const char kInsertColumns[] =
    "SELECT id, transaction_guid, kind, guid, assignment_guid, assignment_known, worker_guid, "
    "worker_type_id, text, file_name, file_size, created_at FROM inserts ";

AssignmentRecord assignmentFrom(const Query& q)
{
    return {q.text(0), q.bytes(1), q.bytes(2), q.bytes(3), q.bytes(4), q.bytes(5), q.text(6)};
}

TransactionRecord transactionFrom(const Query& q)
{
    return {q.text(0), q.text(1), q.text(2), q.text(3)};
}

FileRecord fileFrom(const Query& q)
{
    return {q.integer(0), q.text(1), q.text(2), q.bytes(3), q.integer(4), q.text(5)};
}

} // namespace

QString timestamp()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
}

QString locationOf(qint64 id)
{
    return QStringLiteral("upload/") + QString::number(id);
}

std::optional<AssignmentRecord> Store::assignment(const QByteArray& guid)
{
    Query q = m_db.query("SELECT guid, claim_number, policy_number, company_name, basename, mie, "
                         "created_at FROM assignments WHERE guid = ?");
    q.bindText(1, QString::fromLatin1(guid));
    if (!q.next())
        return std::nullopt;
    return assignmentFrom(q);
}

QList<AssignmentRecord> Store::assignments()
{
    Query q = m_db.query("SELECT guid, claim_number, policy_number, company_name, basename, mie, "
                         "created_at FROM assignments ORDER BY created_at, rowid");
    QList<AssignmentRecord> result;
    while (q.next())
        result.append(assignmentFrom(q));
    return result;
}

std::optional<QByteArray> Store::piece(const QByteArray& assignmentGuid, const QByteArray& name)
{
    Query q =
        m_db.query("SELECT data FROM assignment_pieces WHERE assignment_guid = ? AND name = ?");
    q.bindText(1, QString::fromLatin1(assignmentGuid)).bind(2, name);
    if (!q.next())
        return std::nullopt;
    return q.bytes(0);
}

QList<PieceRecord> Store::pieces(const QString& assignmentGuid)
{
    Query q = m_db.query(
        "SELECT name, data FROM assignment_pieces WHERE assignment_guid = ? ORDER BY position");
    q.bindText(1, assignmentGuid);
    QList<PieceRecord> result;
    while (q.next())
        result.append({q.bytes(0), q.bytes(1)});
    return result;
}

bool Store::addAssignment(const AssignmentRecord& a, const QList<PieceRecord>& pieces)
{
    SqlTransaction transaction(m_db);
    if (!transaction.isOpen())
        return false;
    if (!m_db.query("INSERT INTO assignments (guid, claim_number, policy_number, company_name, "
                    "basename, mie, created_at) VALUES (?, ?, ?, ?, ?, ?, ?)")
             .bindText(1, a.guid)
             .bind(2, a.claimNumber)
             .bind(3, a.policyNumber)
             .bind(4, a.companyName)
             .bind(5, a.basename)
             .bind(6, a.mie)
             .bindText(7, a.createdAt)
             .run())
        return false;
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        if (!m_db.query("INSERT INTO assignment_pieces (assignment_guid, position, name, data) "
                        "VALUES (?, ?, ?, ?)")
                 .bindText(1, a.guid)
                 .bind(2, qint64(i))
                 .bind(3, pieces[i].name)
                 .bind(4, pieces[i].data)
                 .run())
            return false;
    }
    return transaction.commit();
}

std::optional<TransactionRecord> Store::transaction(const QByteArray& guid)
{
    Query q =
        m_db.query("SELECT guid, state, begun_at, committed_at FROM transactions WHERE guid = ?");
    q.bindText(1, QString::fromLatin1(guid));
    if (!q.next())
        return std::nullopt;
    return transactionFrom(q);
}

QList<TransactionRecord> Store::transactions()
{
    Query q = m_db.query("SELECT guid, state, begun_at, committed_at FROM transactions "
                         "ORDER BY begun_at, rowid");
    QList<TransactionRecord> result;
    while (q.next())
        result.append(transactionFrom(q));
    return result;
}

bool Store::addTransaction(const QString& guid)
{
    return m_db.query("INSERT INTO transactions (guid, state, begun_at) VALUES (?, 'open', ?)")
        .bindText(1, guid)
        .bindText(2, timestamp())
        .run();
}

bool Store::commitTransaction(const QByteArray& guid)
{
    const bool ran = m_db.query("UPDATE transactions SET state = 'committed', committed_at = ? "
                                "WHERE guid = ? AND state = 'open'")
                         .bindText(1, timestamp())
                         .bindText(2, QString::fromLatin1(guid))
                         .run();
    return ran && m_db.changes() == 1;
}

std::optional<FileRecord> Store::fileByLocation(const QByteArray& location)
{
    Query q = m_db.query("SELECT id, transaction_guid, location, file_name, size, created_at "
                         "FROM files WHERE location = ?");
    q.bindText(1, QString::fromLatin1(location));
    if (!q.next())
        return std::nullopt;
    return fileFrom(q);
}

std::optional<FileRecord> Store::fileById(qint64 id)
{
    Query q = m_db.query("SELECT id, transaction_guid, location, file_name, size, created_at "
                         "FROM files WHERE id = ?");
    q.bind(1, id);
    if (!q.next())
        return std::nullopt;
    return fileFrom(q);
}

QList<FileRecord> Store::files(const QString& transactionGuid)
{
    Query q = m_db.query("SELECT id, transaction_guid, location, file_name, size, created_at "
                         "FROM files WHERE transaction_guid = ? ORDER BY id");
    q.bindText(1, transactionGuid);
    QList<FileRecord> result;
    while (q.next())
        result.append(fileFrom(q));
    return result;
}

std::optional<qint64> Store::addFile(const QString& transactionGuid, const QByteArray& fileName,
                                     qint64 size)
{
    if (!m_db.query("INSERT INTO files (transaction_guid, file_name, size, created_at) "
                    "VALUES (?, ?, ?, ?)")
             .bindText(1, transactionGuid)
             .bind(2, fileName)
             .bind(3, size)
             .bindText(4, timestamp())
             .run())
        return std::nullopt;
    const qint64 id = m_db.lastInsertId();
    if (!m_db.query("UPDATE files SET location = ? WHERE id = ?")
             .bindText(1, locationOf(id))
             .bind(2, id)
             .run())
        return std::nullopt;
    return id;
}

bool Store::setFileSize(qint64 id, qint64 size)
{
    return m_db.query("UPDATE files SET size = ? WHERE id = ?").bind(1, size).bind(2, id).run();
}

QString Store::cachedSha256(qint64 id, qint64 size)
{
    Query q = m_db.query("SELECT sha256 FROM files WHERE id = ? AND sha256_size = ?");
    q.bind(1, id).bind(2, size);
    return q.next() ? q.text(0) : QString();
}

void Store::cacheSha256(qint64 id, qint64 size, const QString& digest)
{
    m_db.query("UPDATE files SET sha256 = ?, sha256_size = ? WHERE id = ?")
        .bindText(1, digest)
        .bind(2, size)
        .bind(3, id)
        .run();
}

bool Store::isAttachedFile(qint64 id)
{
    Query q = m_db.query("SELECT 1 FROM insert_files f JOIN inserts i ON i.id = f.insert_id "
                         "JOIN transactions t ON t.guid = i.transaction_guid "
                         "WHERE f.file_id = ? AND t.state = 'committed' LIMIT 1");
    q.bind(1, id);
    return q.next();
}

void Store::loadDetails(InsertRecord& insert)
{
    Query fields =
        m_db.query("SELECT name, value FROM insert_fields WHERE insert_id = ? ORDER BY position");
    fields.bind(1, insert.id);
    while (fields.next())
        insert.fields.append(fields.bytes(0), fields.bytes(1));
    Query files =
        m_db.query("SELECT field, file_id FROM insert_files WHERE insert_id = ? ORDER BY rowid");
    files.bind(1, insert.id);
    while (files.next())
        insert.files.append({files.bytes(0), files.integer(1)});
}

QList<InsertRecord> Store::readInserts(Query& q)
{
    QList<InsertRecord> result;
    while (q.next()) {
        InsertRecord r;
        r.id = q.integer(0);
        r.transactionGuid = q.text(1);
        r.kind = q.text(2);
        r.guid = q.bytes(3);
        r.assignmentGuid = q.bytes(4);
        r.assignmentKnown = q.integer(5) != 0;
        r.workerGuid = q.bytes(6);
        r.workerTypeId = q.bytes(7);
        r.text = q.bytes(8);
        r.fileName = q.bytes(9);
        r.fileSize = q.integer(10);
        r.createdAt = q.text(11);
        result.append(r);
    }
    // Details come from other statements, so only once this one is done.
    for (InsertRecord& r : result)
        loadDetails(r);
    return result;
}

QList<InsertRecord> Store::inserts(const QString& transactionGuid)
{
    Query q = m_db.query(
        (std::string(kInsertColumns) + "WHERE transaction_guid = ? ORDER BY id").c_str());
    q.bindText(1, transactionGuid);
    return readInserts(q);
}

QList<InsertRecord> Store::committedInsertsOf(const QString& assignmentGuid)
{
    Query q = m_db.query((std::string(kInsertColumns) +
                          "WHERE CAST(assignment_guid AS TEXT) = ? COLLATE NOCASE AND "
                          "transaction_guid IN "
                          "(SELECT guid FROM transactions WHERE state = 'committed') ORDER BY id")
                             .c_str());
    q.bindText(1, assignmentGuid);
    return readInserts(q);
}

std::optional<InsertRecord> Store::insertByGuid(const QByteArray& guid)
{
    Query q = m_db.query((std::string(kInsertColumns) + "WHERE guid = ? ORDER BY id").c_str());
    q.bind(1, guid);
    QList<InsertRecord> found = readInserts(q);
    if (found.isEmpty())
        return std::nullopt;
    return found.first();
}

std::optional<qint64> Store::addInsert(const InsertRecord& r)
{
    SqlTransaction transaction(m_db);
    if (!transaction.isOpen())
        return std::nullopt;
    if (!m_db.query("INSERT INTO inserts (transaction_guid, kind, guid, assignment_guid, "
                    "assignment_known, worker_guid, worker_type_id, text, file_name, file_size, "
                    "created_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
             .bindText(1, r.transactionGuid)
             .bindText(2, r.kind)
             .bind(3, r.guid)
             .bind(4, r.assignmentGuid)
             .bind(5, qint64(r.assignmentKnown ? 1 : 0))
             .bind(6, r.workerGuid)
             .bind(7, r.workerTypeId)
             .bind(8, r.text)
             .bind(9, r.fileName)
             .bind(10, r.fileSize)
             .bindText(11, timestamp())
             .run())
        return std::nullopt;
    const qint64 id = m_db.lastInsertId();
    const QList<Field>& fields = r.fields.list();
    for (qsizetype i = 0; i < fields.size(); ++i) {
        if (!m_db.query("INSERT INTO insert_fields (insert_id, position, name, value) "
                        "VALUES (?, ?, ?, ?)")
                 .bind(1, id)
                 .bind(2, qint64(i))
                 .bind(3, fields[i].name)
                 .bind(4, fields[i].value)
                 .run())
            return std::nullopt;
    }
    for (const InsertFile& file : r.files) {
        if (!m_db.query("INSERT INTO insert_files (insert_id, field, file_id) VALUES (?, ?, ?)")
                 .bind(1, id)
                 .bind(2, file.field)
                 .bind(3, file.fileId)
                 .run())
            return std::nullopt;
    }
    if (!transaction.commit())
        return std::nullopt;
    return id;
}

} // namespace tarnaxe::dataup
