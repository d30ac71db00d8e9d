#include "WebView.h"

#include "JsonViews.h"
#include "platform/Windows1252.h"

#include <QJsonArray>
#include <QJsonObject>

namespace tarnaxe::dataup {

namespace {

const char kHead[] = R"(<!DOCTYPE html>
<html><head><meta charset="utf-8"><title>dataup-server</title>
<style>
body { font-family: sans-serif; margin: 1.5em; color: #222; }
table { border-collapse: collapse; margin-bottom: 1.5em; }
th, td { border: 1px solid #bbb; padding: 3px 8px; text-align: left; vertical-align: top; }
th { background: #eee; }
.open { color: #a60; } .committed { color: #070; }
code { font-size: 90%; }
</style></head><body>
<h1>dataup-server</h1>
)";

QString esc(const QString& text)
{
    return text.toHtmlEscaped();
}

QString esc(const QByteArray& raw)
{
    return fromWindows1252(raw).toHtmlEscaped();
}

QString cell(const QString& escaped)
{
    return QStringLiteral("<td>") + escaped + QStringLiteral("</td>");
}

QString assignmentsSection(Store& store)
{
    QString html = QStringLiteral("<h2>Assignments</h2>\n<table><tr><th>GUID</th><th>Claim</th>"
                                  "<th>Policy</th><th>Company</th><th>Base name</th>"
                                  "<th>Pieces</th></tr>\n");
    for (const AssignmentRecord& a : store.assignments()) {
        QString pieces;
        for (const PieceRecord& piece : store.pieces(a.guid))
            pieces += esc(piece.name) + QStringLiteral(" (%1 bytes)<br>").arg(piece.data.size());
        pieces += QStringLiteral("MIE (%1 bytes)").arg(a.mie.size());
        html += QStringLiteral("<tr>") +
                cell(QStringLiteral("<code>") + esc(a.guid) + QStringLiteral("</code>")) +
                cell(esc(a.claimNumber)) + cell(esc(a.policyNumber)) + cell(esc(a.companyName)) +
                cell(esc(a.basename)) + cell(pieces) + QStringLiteral("</tr>\n");
    }
    return html + QStringLiteral("</table>\n");
}

QString fileLine(const QJsonObject& file)
{
    return esc(file.value(QLatin1String("location")).toString()) + QStringLiteral(" &ldquo;") +
           esc(file.value(QLatin1String("fileName")).toString()) +
           QStringLiteral("&rdquo; %1 bytes").arg(file.value(QLatin1String("size")).toInteger());
}

QString transactionsSection(Store& store, const DataFolder& folder)
{
    QString html = QStringLiteral("<h2>Transactions</h2>\n<table><tr><th>GUID</th><th>State</th>"
                                  "<th>Begun</th><th>Files</th><th>Inserts</th></tr>\n");
    for (const TransactionRecord& t : store.transactions()) {
        QString files;
        for (const FileRecord& file : store.files(t.guid))
            files += fileLine(fileJson(store, folder, file)) + QStringLiteral("<br>");
        QString inserts;
        for (const InsertRecord& insert : store.inserts(t.guid))
            inserts += esc(insert.kind) + QStringLiteral(" <code>") + esc(insert.guid) +
                       QStringLiteral("</code> ") + esc(insert.text) + QStringLiteral("<br>");
        html += QStringLiteral("<tr>") +
                cell(QStringLiteral("<code>") + esc(t.guid) + QStringLiteral("</code>")) +
                QStringLiteral("<td class=\"%1\">%1</td>").arg(esc(t.state)) +
                cell(esc(t.begunAt)) + cell(files) + cell(inserts) + QStringLiteral("</tr>\n");
    }
    return html + QStringLiteral("</table>\n");
}

QString attachmentsSection(Store& store, const DataFolder& folder)
{
    QString html = QStringLiteral(
        "<h2>Attachments</h2>\n<table><tr><th>Kind</th><th>Assignment</th>"
        "<th>Caption / description</th><th>File name</th><th>Size</th><th>SHA-256</th>"
        "<th>Preview</th></tr>\n");
    for (const TransactionRecord& t : store.transactions()) {
        if (t.isOpen())
            continue;
        for (const InsertRecord& insert : store.inserts(t.guid)) {
            const QJsonObject json = insertJson(store, folder, insert);
            QString names;
            QString digests;
            QString preview;
            for (const QJsonValue& value : json.value(QLatin1String("files")).toArray()) {
                const QJsonObject file = value.toObject();
                names +=
                    esc(file.value(QLatin1String("fileName")).toString()) + QStringLiteral("<br>");
                digests += QStringLiteral("<code>") +
                           esc(file.value(QLatin1String("sha256")).toString()) +
                           QStringLiteral("</code><br>");
                if (insert.kind == QLatin1String("image"))
                    preview += QStringLiteral("<img src=\"/files/%1\" width=160>")
                                   .arg(file.value(QLatin1String("id")).toInteger());
            }
            html += QStringLiteral("<tr>") + cell(esc(insert.kind)) +
                    cell(QStringLiteral("<code>") + esc(insert.assignmentGuid) +
                         QStringLiteral("</code>") +
                         (insert.assignmentKnown ? QString() : QStringLiteral(" (unknown)"))) +
                    cell(esc(insert.text)) + cell(names) + cell(QString::number(insert.fileSize)) +
                    cell(digests) + cell(preview) + QStringLiteral("</tr>\n");
        }
    }
    return html + QStringLiteral("</table>\n");
}

} // namespace

QByteArray overviewPage(Store& store, const DataFolder& folder)
{
    const auto lock = store.lock();
    const QString body = assignmentsSection(store) + transactionsSection(store, folder) +
                         attachmentsSection(store, folder);
    return QByteArray(kHead) + body.toUtf8() + "</body></html>\n";
}

} // namespace tarnaxe::dataup
