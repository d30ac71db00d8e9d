#pragma once
// The server's SQLite database: one connection, its prepared statements kept for the
// life of the process, and the schema. Callers hold lock() around everything they do
// with it, so that a check and the write that depends on it are never split.

#include <QByteArray>
#include <QString>
#include <mutex>
#include <sqlite3.h>
#include <string>
#include <unordered_map>

namespace tarnaxe::dataup {

class Database;

// A prepared statement in use: bound, stepped, and reset when it goes out of scope.
class Query {
public:
    Query(Database& db, sqlite3_stmt* statement);
    ~Query();
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    Query& bind(int index, qint64 value);
    Query& bind(int index, const QByteArray& value); // stored as a blob, byte for byte
    Query& bindText(int index, const QString& value);
    Query& bindNull(int index);

    // True while a row is there; errors are recorded in the database's lastError().
    bool next();
    // Runs a statement that returns no rows; false on an error.
    bool run();

    qint64 integer(int column) const;
    QByteArray bytes(int column) const;
    QString text(int column) const;
    bool isNull(int column) const;

private:
    Database& m_db;
    sqlite3_stmt* m_statement;
};

class Database {
public:
    Database() = default;
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Opens (or creates) the file, switches to WAL and makes the tables.
    bool open(const QString& path);
    std::unique_lock<std::mutex> lock() { return std::unique_lock(m_mutex); }

    Query query(const char* sql);
    bool exec(const char* sql);
    qint64 lastInsertId() const { return sqlite3_last_insert_rowid(m_db); }
    int changes() const { return sqlite3_changes(m_db); }

    const QString& lastError() const { return m_lastError; }
    void recordError();

private:
    sqlite3* m_db = nullptr;
    std::mutex m_mutex;
    std::unordered_map<std::string, sqlite3_stmt*> m_statements;
    QString m_lastError;
};

// BEGIN IMMEDIATE ... COMMIT, rolled back unless commit() succeeded.
class SqlTransaction {
public:
    explicit SqlTransaction(Database& db);
    ~SqlTransaction();
    SqlTransaction(const SqlTransaction&) = delete;
    SqlTransaction& operator=(const SqlTransaction&) = delete;

    bool isOpen() const { return m_open; }
    bool commit();

private:
    Database& m_db;
    bool m_open = false;
};

} // namespace tarnaxe::dataup
