#pragma once
// A small read-only reader of xBASE tables (.DBF) and their memo files (.DBT): one table
// open at a time, one record at a time, single fields by name. Every operation answers
// success and leaves its outcome in ErrorMessage; nothing throws. Files come from other
// programs, old disks and mail: every offset and length is checked before it is used.

#include "platform/ReadOnlyFile.h"
#include "platform/Variant.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

namespace tarnaxe {

class clsXBASE {
public:
    struct Field {
        QByteArray name; // the 11 stored bytes, NUL padding included
        char type = 0;
        quint8 length = 0;
        quint8 decimals = 0;
        int position = 0; // 1-based position in the record; 1 is the deletion flag
    };

    clsXBASE() = default;
    ~clsXBASE() { closeInternal(); }
    clsXBASE(const clsXBASE&) = delete;
    clsXBASE& operator=(const clsXBASE&) = delete;

    bool IsOpen() const;
    const QString& ErrorMessage() const { return m_errorMessage; }
    qint32 RecordCount() const;

    bool OpenFile(const QString& fileName);
    bool CloseFile();
    static bool FileExist(const QString& fileName);
    bool ReadRecord(qint32 recordNumber);
    bool GetFieldData(const QString& fieldName, Variant& value);
    // The day a "D" field holds, as GetFieldData would give it but without working out a
    // local time (a time-zone lookup each). Empty for any other field, or no date.
    bool GetFieldDate(const QString& fieldName, std::optional<QDate>& date);

    // For tools that show a table: the header and descriptors of the open table, and the
    // current record.
    quint8 versionByte() const { return m_version; }
    qint16 headerLength() const { return m_headerLength; }
    qint16 recordLength() const { return m_recordLength; }
    const QList<Field>& fields() const { return m_fields; }
    qint32 currentRecord() const { return m_currentRecord; }
    const QByteArray& recordBuffer() const { return m_record; }
    bool currentRecordDeleted() const { return !m_record.isEmpty() && m_record.at(0) == '*'; }
    // The memo file that memo fields of the open table are read from.
    QString memoFileName() const;

private:
    void closeInternal();
    bool readHeader(QByteArray& start);
    bool readDescriptors(const QByteArray& start);
    const Field* findField(const QString& fieldName) const;
    const Field* rawField(const QString& fieldName, QString& raw);
    static std::optional<QDate> fieldDate(const QString& raw);
    static Variant dateValue(const QString& raw);
    static Variant logicalValue(const QString& raw);
    bool memoValue(const QString& raw, QString& text);
    QString derivedMemoName() const;
    bool readMemo(qint64 block, QString& text);
    bool readMemoWithHeader(ReadOnlyFile& memo, qint64 offset, QByteArray& content);
    bool readMemoToTerminator(ReadOnlyFile& memo, qint64 offset, QByteArray& content);

    ReadOnlyFile m_file;
    qint64 m_fileSize = 0; // taken at open: every read is checked against it
    QString m_fileName;
    quint8 m_version = 0;
    qint32 m_recordCount = 0;
    qint16 m_headerLength = 0;
    qint16 m_recordLength = 0;
    QList<Field> m_fields;
    qint32 m_currentRecord = 0;
    QByteArray m_record;
    QString m_errorMessage = QStringLiteral("OK");
};

} // namespace tarnaxe
