#pragma once
// Writers of dBase III tables and dBase III/IV memo files, byte by byte as the formats lay
// them out: the reference server's sample assignments, and fixtures that tests make at run
// time and can bend on purpose (wrong counts, lengths, signatures) to see the reader refuse.

#include <QByteArray>
#include <QList>
#include <QString>

namespace tarnaxe::emswriter {

struct DbfField {
    QByteArray name; // stored as given, NUL-padded to 11 bytes
    char type = 'C';
    int length = 10;
    int decimals = 0;
};

class DbfWriter {
public:
    explicit DbfWriter(QList<DbfField> fields, quint8 version = 0x03);

    // Values are padded with blanks (or cut) to their field's length; "deleted" writes '*'.
    DbfWriter& addRecord(const QList<QByteArray>& values, bool deleted = false);

    // The header fields as they will be written; change them to make a broken table.
    quint8 version;
    qint64 recordCountOverride = -1;  // -1: the number of records added
    qint64 headerLengthOverride = -1; // -1: 32 * fields + 33
    qint64 recordLengthOverride = -1; // -1: 1 + the field lengths
    bool endOfFileMark = true;        // a trailing 0x1A
    bool terminator = true;           // the 0x0D after the descriptors

    QByteArray bytes() const;
    bool write(const QString& path) const;

private:
    QList<DbfField> m_fields;
    QList<QByteArray> m_records;
};

// A memo file. Version 3: text ended by 0x1A 0x1A in 512-byte blocks. Version 0 (dBase
// IV): blocks of blockSize that start FF FF 08 00 and a 32-bit length.
class DbtWriter {
public:
    explicit DbtWriter(int version = 3, int blockSize = 512);

    // Appends a memo and returns its block number, for the record's memo field.
    int addMemo(const QByteArray& text);
    // For version 0: the length field to write instead of the text's length (-1: text length).
    int addMemoWithLength(const QByteArray& text, qint64 lengthField);

    QByteArray bytes() const { return m_bytes; }
    QByteArray& rawBytes() { return m_bytes; }
    bool write(const QString& path) const;

private:
    int m_version;
    int m_blockSize;
    QByteArray m_bytes;
};

} // namespace tarnaxe::emswriter
