#include "Database.h"

#include "Schema.h"

#include <QFile>

namespace tarnaxe::dataup {

Query::Query(Database& db, sqlite3_stmt* statement) : m_db(db), m_statement(statement) {}

Query::~Query()
{
    if (m_statement) {
        sqlite3_reset(m_statement);
        sqlite3_clear_bindings(m_statement);
    }
}

Query& Query::bind(int index, qint64 value)
{
    if (m_statement)
        sqlite3_bind_int64(m_statement, index, value);
    return *this;
}

Query& Query::bind(int index, const QByteArray& value)
{
    // A null QByteArray would bind NULL; an empty value is still a value.
    if (m_statement)
        sqlite3_bind_blob64(m_statement, index, value.isNull() ? "" : value.constData(),
                            sqlite3_uint64(value.size()), SQLITE_TRANSIENT);
    return *this;
}

Query& Query::bindText(int index, const QString& value)
{
    const QByteArray utf8 = value.toUtf8();
    if (m_statement)
        sqlite3_bind_text64(m_statement, index, utf8.constData(), sqlite3_uint64(utf8.size()),
                            SQLITE_TRANSIENT, SQLITE_UTF8);
    return *this;
}

Query& Query::bindNull(int index)
{
    if (m_statement)
        sqlite3_bind_null(m_statement, index);
    return *this;
}

bool Query::next()
{
    if (!m_statement)
        return false;
    const int rc = sqlite3_step(m_statement);
    if (rc == SQLITE_ROW)
        return true;
    if (rc != SQLITE_DONE)
        m_db.recordError();
    return false;
}

bool Query::run()
{
    if (!m_statement)
        return false;
    const int rc = sqlite3_step(m_statement);
    if (rc == SQLITE_DONE || rc == SQLITE_ROW)
        return true;
    m_db.recordError();
    return false;
}

qint64 Query::integer(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

QByteArray Query::bytes(int column) const
{
    const void* data = sqlite3_column_blob(m_statement, column);
    const int size = sqlite3_column_bytes(m_statement, column);
    return data ? QByteArray(static_cast<const char*>(data), size) : QByteArray("");
}

QString Query::text(int column) const
{
    const auto* data = sqlite3_column_text(m_statement, column);
    const int size = sqlite3_column_bytes(m_statement, column);
    return data ? QString::fromUtf8(reinterpret_cast<const char*>(data), size) : QString();
}

bool Query::isNull(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

Database::~Database()
{
    for (auto& [sql, statement] : m_statements)
        sqlite3_finalize(statement);
    if (m_db)
        sqlite3_close(m_db);
}

void Database::recordError()
{
    m_lastError = QString::fromUtf8(sqlite3_errmsg(m_db));
}

bool Database::open(const QString& path)
{
    if (sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK) {
        recordError();
        return false;
    }
    // The seed command may write while the server runs: wait for its lock instead of
    // failing the request.
    sqlite3_busy_timeout(m_db, 10000);
    return exec("PRAGMA journal_mode=WAL") && exec("PRAGMA synchronous=NORMAL") &&
           exec("PRAGMA foreign_keys=ON") && exec(kSchema);
}

bool Database::exec(const char* sql)
{
    char* message = nullptr;
    if (sqlite3_exec(m_db, sql, nullptr, nullptr, &message) == SQLITE_OK)
        return true;
    m_lastError = QString::fromUtf8(message ? message : "unknown error");
    sqlite3_free(message);
    return false;
}

Query Database::query(const char* sql)
{
    auto it = m_statements.find(sql);
    if (it == m_statements.end()) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
            SQLITE_OK) {
            recordError();
            return Query(*this, nullptr);
        }
        it = m_statements.emplace(sql, statement).first;
    }
    return Query(*this, it->second);
}

SqlTransaction::SqlTransaction(Database& db) : m_db(db)
{
    m_open = m_db.exec("BEGIN IMMEDIATE");
}

SqlTransaction::~SqlTransaction()
{
    if (m_open)
        m_db.exec("ROLLBACK");
}

bool SqlTransaction::commit()
{
    if (!m_open)
        return false;
    m_open = false;
    if (m_db.exec("COMMIT"))
        return true;
    m_db.exec("ROLLBACK");
    return false;
}

} // namespace tarnaxe::dataup
