#include "DumpCommand.h"

#include "ToolOutput.h"
#include "ems/clsXBASE.h"
#include "platform/Windows1252.h"

#include <QJsonArray>
#include <QJsonObject>

namespace tarnaxe::tool {

namespace {

// The stored name up to its first NUL, as a person reads it.
QString fieldName(const clsXBASE::Field& field)
{
    const qsizetype nul = field.name.indexOf('\0');
    return fromWindows1252(nul < 0 ? field.name : field.name.left(nul));
}

struct FieldValue {
    Variant value;
    QString error; // when the reader cannot give the field (a lower-case stored name, say)
};

FieldValue readField(clsXBASE& table, const clsXBASE::Field& field)
{
    Variant value;
    if (table.GetFieldData(fieldName(field), value))
        return {value, {}};
    // Show the stored bytes all the same: the reader's refusal is part of the answer.
    const QByteArray raw = table.recordBuffer().mid(field.position - 1, field.length);
    return {Variant(fromWindows1252(raw)), table.ErrorMessage()};
}

QJsonObject header(const clsXBASE& table, const QString& path)
{
    QJsonArray fields;
    for (const auto& field : table.fields()) {
        fields.append(QJsonObject{{QStringLiteral("name"), fieldName(field)},
                                  {QStringLiteral("type"), QString(QLatin1Char(field.type))},
                                  {QStringLiteral("length"), field.length},
                                  {QStringLiteral("decimals"), field.decimals}});
    }
    return {{QStringLiteral("file"), path},
            {QStringLiteral("version"), table.versionByte()},
            {QStringLiteral("records"), table.RecordCount()},
            {QStringLiteral("headerLength"), table.headerLength()},
            {QStringLiteral("recordLength"), table.recordLength()},
            {QStringLiteral("memoFile"), table.memoFileName()},
            {QStringLiteral("fields"), fields}};
}

void printTextHeader(const clsXBASE& table, const QString& path)
{
    printLine(QStringLiteral("file          %1").arg(path));
    printLine(
        QStringLiteral("version       0x%1").arg(table.versionByte(), 2, 16, QLatin1Char('0')));
    printLine(QStringLiteral("records       %1").arg(table.RecordCount()));
    printLine(QStringLiteral("header length %1").arg(table.headerLength()));
    printLine(QStringLiteral("record length %1").arg(table.recordLength()));
    printLine(QStringLiteral("fields        %1").arg(table.fields().size()));
    for (const auto& field : table.fields()) {
        printLine(QStringLiteral("  %1 %2 %3.%4")
                      .arg(fieldName(field), -11)
                      .arg(QLatin1Char(field.type))
                      .arg(field.length)
                      .arg(field.decimals));
    }
}

} // namespace

int dumpTable(const QString& path, bool json)
{
    clsXBASE table;
    if (!table.OpenFile(path))
        return fail(path + QStringLiteral(": ") + table.ErrorMessage());
    if (!json)
        printTextHeader(table, path);
    QJsonArray rows;
    for (qint32 n = 1; n <= table.RecordCount(); ++n) {
        if (!table.ReadRecord(n))
            return fail(
                QStringLiteral("%1: record %2: %3").arg(path).arg(n).arg(table.ErrorMessage()));
        if (!json)
            printLine(
                QStringLiteral("record %1%2")
                    .arg(n)
                    .arg(table.currentRecordDeleted() ? QStringLiteral(" (deleted)") : QString()));
        QJsonObject values;
        QJsonObject errors;
        for (const auto& field : table.fields()) {
            const FieldValue v = readField(table, field);
            if (json) {
                values.insert(fieldName(field), jsonValue(v.value));
                if (!v.error.isEmpty())
                    errors.insert(fieldName(field), v.error);
            } else {
                printLine(QStringLiteral("  %1 [%2]%3")
                              .arg(fieldName(field), -11)
                              .arg(textValue(v.value))
                              .arg(v.error.isEmpty()
                                       ? QString()
                                       : QStringLiteral("  (") + v.error + QLatin1Char(')')));
            }
        }
        QJsonObject row{{QStringLiteral("number"), n},
                        {QStringLiteral("deleted"), table.currentRecordDeleted()},
                        {QStringLiteral("values"), values}};
        if (!errors.isEmpty())
            row.insert(QStringLiteral("errors"), errors);
        rows.append(row);
    }
    if (json) {
        QJsonObject document = header(table, path);
        document.insert(QStringLiteral("rows"), rows);
        printJson(document);
    }
    return 0;
}

} // namespace tarnaxe::tool
