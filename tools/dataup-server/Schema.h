#pragma once
// The tables. Values from requests are stored as blobs, byte for byte as they came, and
// converted only when shown. GUIDs that the server looks up match without regard to case,
// as GUIDs do.

namespace tarnaxe::dataup {

inline constexpr char kSchema[] = R"sql(
CREATE TABLE IF NOT EXISTS assignments (
    guid TEXT PRIMARY KEY COLLATE NOCASE,
    claim_number BLOB NOT NULL,
    policy_number BLOB NOT NULL,
    company_name BLOB NOT NULL,
    basename BLOB NOT NULL,
    mie BLOB NOT NULL,
    created_at TEXT NOT NULL
);
CREATE TABLE IF NOT EXISTS assignment_pieces (
    assignment_guid TEXT NOT NULL COLLATE NOCASE REFERENCES assignments(guid),
    position INTEGER NOT NULL,
    name BLOB NOT NULL,
    data BLOB NOT NULL,
    PRIMARY KEY (assignment_guid, name)
);
CREATE TABLE IF NOT EXISTS transactions (
    guid TEXT PRIMARY KEY COLLATE NOCASE,
    state TEXT NOT NULL CHECK (state IN ('open', 'committed')),
    begun_at TEXT NOT NULL,
    committed_at TEXT
);
CREATE TABLE IF NOT EXISTS files (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    transaction_guid TEXT NOT NULL REFERENCES transactions(guid),
    location TEXT UNIQUE,
    file_name BLOB NOT NULL,
    size INTEGER NOT NULL,
    sha256 TEXT,
    sha256_size INTEGER,
    created_at TEXT NOT NULL
);
CREATE TABLE IF NOT EXISTS inserts (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    transaction_guid TEXT NOT NULL REFERENCES transactions(guid),
    kind TEXT NOT NULL,
    guid BLOB NOT NULL,
    assignment_guid BLOB NOT NULL,
    assignment_known INTEGER NOT NULL,
    worker_guid BLOB,
    worker_type_id BLOB,
    text BLOB,
    file_name BLOB,
    file_size INTEGER NOT NULL,
    created_at TEXT NOT NULL
);
CREATE INDEX IF NOT EXISTS inserts_by_guid ON inserts(guid);
CREATE TABLE IF NOT EXISTS insert_fields (
    insert_id INTEGER NOT NULL REFERENCES inserts(id),
    position INTEGER NOT NULL,
    name BLOB NOT NULL,
    value BLOB NOT NULL,
    PRIMARY KEY (insert_id, position)
);
CREATE TABLE IF NOT EXISTS insert_files (
    insert_id INTEGER NOT NULL REFERENCES inserts(id),
    field BLOB NOT NULL,
    file_id INTEGER NOT NULL REFERENCES files(id)
);
CREATE INDEX IF NOT EXISTS insert_files_by_file ON insert_files(file_id);
)sql";

} // namespace tarnaxe::dataup
