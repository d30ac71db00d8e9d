// dataup-server's pages as the agent uses them: the assignment it delivers, and an upload
// transaction from begin to commit, with what the JSON views then show.

#include "ems/EmsReader.h"
#include "support/DataupServer.h"
#include "support/TableFolder.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

const char kClaim[] = "CLM-24-000417";

QString sha256(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QJsonArray pairsOf(const DataupFields& fields)
{
    QJsonArray pairs;
    for (const auto& [name, value] : fields)
        pairs.append(QJsonArray{QString::fromLatin1(name), QString::fromLatin1(value)});
    return pairs;
}

} // namespace

class TestDataupServer : public QObject {
    Q_OBJECT

private:
    DataupServer server;
    QString assignmentGuid;

    DataupReply call(const char* page, const DataupFields& fields,
                     const QByteArray& binaryName = {}, const QByteArray& binary = {})
    {
        int status = 0;
        const QByteArray body = server.post(QByteArray("/dataup/") + page,
                                            dataupBody(fields, binaryName, binary), &status);
        if (status != 200)
            qWarning() << page << "answered HTTP" << status << server.error();
        return parseDataupReply(body);
    }

    QByteArray begin()
    {
        return call("BeginAttachmentTransaction.asp", {{"Code", "BEGINTRANS"}})
            .value("TransactionGUID");
    }

    QByteArray writeFile(const QByteArray& transaction, const QByteArray& bytes,
                         const QByteArray& name = "photo.jpg")
    {
        return call("WriteFile.asp",
                    {{"FileName", name},
                     {"TransactionGUID", transaction},
                     {"FileSize", QByteArray::number(bytes.size())}},
                    "File", bytes)
            .value("Location");
    }

    DataupReply append(const QByteArray& location, const QByteArray& transaction, qint64 currSize,
                       const QByteArray& blob, qint64 blobSize = -1)
    {
        return call("AppendToFile.asp",
                    {{"sLocation", location},
                     {"TransactionGUID", transaction},
                     {"CurrSize", QByteArray::number(currSize)},
                     {"BlobSize", QByteArray::number(blobSize < 0 ? blob.size() : blobSize)}},
                    "Blob", blob);
    }

    DataupFields imageFields(const QByteArray& transaction, const QByteArray& location, qint64 size,
                             const QByteArray& guid)
    {
        return {{"GUID", guid},
                {"AssignmentGUID", assignmentGuid.toLatin1()},
                {"TransactionGUID", transaction},
                {"WorkerGUID", "{11111111-2222-3333-4444-555555555555}"},
                {"WorkerTypeID", "2"},
                {"Caption", "Left front \xE9tat"},
                {"FileSize", QByteArray::number(size)},
                {"Location", location}};
    }

    // The stored file behind a location, from the transaction's JSON.
    QJsonObject storedFile(const QByteArray& transaction, const QByteArray& location)
    {
        const QJsonArray files = server.transaction(QString::fromLatin1(transaction))
                                     .value(QLatin1String("files"))
                                     .toArray();
        for (const QJsonValue& file : files) {
            if (file.toObject().value(QLatin1String("location")).toString() ==
                QLatin1String(location))
                return file.toObject();
        }
        return {};
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(server.start(), qPrintable(server.error()));
        assignmentGuid = server.seed();
        QVERIFY2(!assignmentGuid.isEmpty(), qPrintable(server.error()));
    }

    void cleanupTestCase()
    {
        server.stop();
        QCOMPARE(server.exitCode(), 0);
    }

    void readAssignmentAnswersTheSeededFacts()
    {
        int status = 0;
        const QByteArray body = server.post("/dataup/ReadAssignment.asp",
                                            "GUID:" + assignmentGuid.toLatin1() + '\t', &status);
        QCOMPARE(status, 200);
        QCOMPARE(body, QByteArray("Status:SUCCESS\tClaimNumber:CLM-24-000417\tPolicyNumber:"
                                  "POL-778899\tCompanyName:SAFE HARBOR MUTUAL\t"));
        // GUIDs match without regard to case.
        const DataupReply lower =
            call("ReadAssignment.asp", {{"GUID", assignmentGuid.toLower().toLatin1()}});
        QCOMPARE(lower.value("ClaimNumber"), QByteArray(kClaim));

        const DataupReply base =
            call("ReadAssignmentBasename.asp", {{"GUID", assignmentGuid.toLatin1()}});
        QCOMPARE(base.fields, (DataupFields{{"Status", "SUCCESS"}, {"Basename", "SAMPLE01"}}));
    }

    void piecesComeBackByteForByte()
    {
        const QJsonObject assignment = server.assignment(assignmentGuid);
        const QJsonArray pieces = assignment.value(QLatin1String("pieces")).toArray();
        QCOMPARE(pieces.size(), 23);
        for (const QJsonValue& value : pieces) {
            const QJsonObject piece = value.toObject();
            const QByteArray name = piece.value(QLatin1String("name")).toString().toLatin1();
            for (const char* page : {"ReadAssignmentExport.asp", "ReadAssignmentEMS.asp"}) {
                const DataupReply reply =
                    call(page, {{"GUID", assignmentGuid.toLatin1()}, {"ExportField", name}});
                QCOMPARE(reply.fields.size(), 2);
                QCOMPARE(reply.fields[0], (QPair<QByteArray, QByteArray>("Status", "SUCCESS")));
                QCOMPARE(reply.fields[1].first, QByteArray("ExportSize"));
                QVERIFY(reply.hasExport);
                QCOMPARE(reply.exportBytes.size(), reply.fields[1].second.toLongLong());
                QCOMPARE(reply.exportBytes.size(), piece.value(QLatin1String("size")).toInteger());
                QCOMPARE(sha256(reply.exportBytes),
                         piece.value(QLatin1String("sha256")).toString());
            }
        }
        // The CCC set is also stored under the upload names.
        const auto piece = [this](const QByteArray& name) {
            return call("ReadAssignmentExport.asp",
                        {{"GUID", assignmentGuid.toLatin1()}, {"ExportField", name}})
                .exportBytes;
        };
        QCOMPARE(piece("EMSEnvelope"), piece("CCC201env"));
        QCOMPARE(piece("EMSVehicleMemos"), piece("CCC201dbt"));
        QVERIFY(piece("EMSEnvelope").startsWith('\x03'));

        // The MIE text holds TABs and colons; they arrive untouched.
        const DataupReply mie = call("ReadMIE.asp", {{"GUID", assignmentGuid.toLatin1()}});
        QCOMPARE(mie.value("Status"), QByteArray("SUCCESS"));
        QVERIFY(mie.exportBytes.contains("\tRF FENDER\tNOTE: SEE PHOTOS\r\n"));
        QCOMPARE(mie.exportBytes, piece("MIEassign"));
        QCOMPARE(mie.exportBytes.size(), mie.value("ExportSize").toLongLong());
    }

    void unknownGuidsAndPieces()
    {
        for (const char* page :
             {"ReadAssignment.asp", "ReadAssignmentExport.asp", "ReadAssignmentEMS.asp",
              "ReadAssignmentBasename.asp", "ReadMIE.asp"}) {
            const DataupReply reply =
                call(page, {{"GUID", "{00000000-0000-0000-0000-000000000000}"},
                            {"ExportField", "MIT201env"}});
            QCOMPARE(reply.fields, (DataupFields{{"Status", "FAILURE"},
                                                 {"ErrorMessage", "Assignment not found"}}));
        }
        // A piece the assignment lacks is empty, not an error.
        const QByteArray body = server.post(
            "/dataup/ReadAssignmentExport.asp",
            dataupBody({{"GUID", assignmentGuid.toLatin1()}, {"ExportField", "EMSDetail"}}));
        QCOMPARE(body, QByteArray("Status:SUCCESS\tExportSize:0\tExport:\t"));
    }

    void seededSetsAreReadByTheAgentsReader()
    {
        TableFolder folder;
        QVERIFY(folder.isValid());
        const auto piece = [this](const QByteArray& name) {
            return call("ReadAssignmentExport.asp",
                        {{"GUID", assignmentGuid.toLatin1()}, {"ExportField", name}})
                .exportBytes;
        };
        struct Set {
            QString folder;
            QString platform;
            QList<QPair<QByteArray, QString>> files; // piece, file name
        };
        const QList<Set> sets = {
            {QStringLiteral("mit"),
             QStringLiteral("M"),
             {{"MIT201env", "S.env"},
              {"MIT201ad1", "Sa.ad1"},
              {"MIT201ad2", "Sb.ad2"},
              {"MIT201veh", "Sv.veh"},
              {"MIT201ad1dbt", "Sa.dbt"},
              {"MIT201ad2dbt", "Sb.dbt"},
              {"MIT201vehdbt", "Sv.dbt"}}},
            {QStringLiteral("adp"),
             QStringLiteral("A"),
             {{"ADP201env", "S.env"},
              {"ADP201ad1", "S.ad1"},
              {"ADP201ad2", "S.ad2"},
              {"ADP201veh", "S.veh"},
              {"ADP201dbt", "S.dbt"}}},
            {QStringLiteral("ccc"),
             QStringLiteral("C"),
             {{"CCC201env", "S.env"},
              {"CCC201ad1", "S.ad1"},
              {"CCC201ad2", "S.ad2"},
              {"CCC201veh", "S.veh"},
              {"CCC201dbt", "S.dbt"}}},
            {QStringLiteral("upload"),
             QStringLiteral("C"),
             {{"EMSEnvelope", "S.env"},
              {"EMSAdministration1", "S.ad1"},
              {"EMSAdministration2", "S.ad2"},
              {"EMSVehicle", "S.veh"},
              {"EMSVehicleMemos", "S.dbt"}}},
        };
        EmsReader reader;
        for (const Set& set : sets) {
            for (const auto& [name, file] : set.files) {
                const QByteArray bytes = piece(name);
                QVERIFY2(!bytes.isEmpty(), name.constData());
                QVERIFY(!folder.write(set.folder + QLatin1Char('/') + file, bytes).isEmpty());
            }
            const QString envelope = folder.filePath(set.folder + QStringLiteral("/S.env"));
            Variant value;
            QVERIFY2(reader.readField(envelope, QStringLiteral("CLM_NO"), value),
                     qPrintable(set.folder + QLatin1Char(' ') + reader.lastError()));
            QCOMPARE(value.toText().trimmed(), QString::fromLatin1(kClaim));
            QVERIFY(reader.readField(envelope, QStringLiteral("EST_SYSTEM"), value));
            QCOMPARE(value.toText(), set.platform);
            // The memo pointer of the vehicle leads into the memo piece.
            QVERIFY2(reader.readField(envelope, QStringLiteral("V_MEMO"), value),
                     qPrintable(reader.lastError()));
            QCOMPARE(value.toText(), QStringLiteral("FRONT BUMPER DAMAGE"));
        }
    }

    void transactionFromBeginToCommit()
    {
        const QByteArray transaction = begin();
        QVERIFY(QRegularExpression(QStringLiteral("^\\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-"
                                                  "[0-9A-F]{4}-[0-9A-F]{12}\\}$"))
                    .match(QString::fromLatin1(transaction))
                    .hasMatch());

        // Binary data holds TABs, colons and NULs.
        const QByteArray first("\xFF\xD8\xFF\xE0\tFile:\0\0:\t", 13);
        const QByteArray second("Blob:\t\tmore\0", 12);
        const QByteArray third(70000, '\t');
        const QByteArray location = writeFile(transaction, first);
        QVERIFY(location.startsWith("upload/"));
        QCOMPARE(append(location, transaction, first.size(), second).fields,
                 (DataupFields{{"Status", "SUCCESS"}}));
        QCOMPARE(append(location, transaction, first.size() + second.size(), third).value("Status"),
                 QByteArray("SUCCESS"));
        const QByteArray image = first + second + third;

        const QByteArray document = "%PDF-1.4\n%\xE2\xE3\n";
        const QByteArray pdf = writeFile(transaction, document, "Estimate 1.pdf");
        const QByteArray any = writeFile(transaction, "plain text\r\n", "notes.txt");
        QList<QByteArray> ems;
        qint64 emsSize = 0;
        for (const char* name : {"CCC201env", "CCC201ad1", "CCC201ad2", "CCC201veh"}) {
            const QByteArray bytes =
                call("ReadAssignmentExport.asp",
                     {{"GUID", assignmentGuid.toLatin1()}, {"ExportField", name}})
                    .exportBytes;
            ems.append(writeFile(transaction, bytes, QByteArray(name) + ".dbf"));
            emsSize += bytes.size();
        }
        const QByteArray mie = "[Estimate]\r\n";
        ems.append(writeFile(transaction, mie, "est.mie"));
        emsSize += mie.size();

        const DataupFields imageRequest = imageFields(transaction, location, image.size(),
                                                      "{A0000000-0000-0000-0000-000000000001}");
        const DataupFields fileRequest = {{"GUID", "{A0000000-0000-0000-0000-000000000002}"},
                                          {"AssignmentGUID", assignmentGuid.toLatin1()},
                                          {"TransactionGUID", transaction},
                                          {"WorkerGUID", "{W}"},
                                          {"WorkerTypeID", "2"},
                                          {"Description", "Shop notes: see page 2"},
                                          {"FileName", "notes.txt"},
                                          {"FileSize", "12"},
                                          {"Location", any}};
        const DataupFields printRequest = {{"GUID", "{A0000000-0000-0000-0000-000000000003}"},
                                           {"AssignmentGUID", assignmentGuid.toLatin1()},
                                           {"TransactionGUID", transaction},
                                           {"WorkerGUID", "{W}"},
                                           {"WorkerTypeID", "2"},
                                           {"Description", "Printed estimate"},
                                           {"FileSize", QByteArray::number(document.size())},
                                           {"Location", pdf}};
        const DataupFields emsRequest = {{"GUID", "{A0000000-0000-0000-0000-000000000004}"},
                                         {"FileSize", QByteArray::number(emsSize)},
                                         {"AssignmentGUID", assignmentGuid.toLatin1()},
                                         {"TransactionGUID", transaction},
                                         {"WorkerGUID", "{W}"},
                                         {"WorkerTypeID", "2"},
                                         {"PreparseVehicle", "07 FORD FOCUS SE"},
                                         {"PreparseClaimNumber", kClaim},
                                         {"PreparseInsured", "SMITH, JOHN"},
                                         {"PreparseEstimateNumber", "EST-0001"},
                                         {"PreparseSupplementNumber", "E01"},
                                         {"PreparsePolicyNumber", "POL-778899"},
                                         {"EMSEstimatingPlatformCode", "C"},
                                         {"EMSEnvelope", ems[0]},
                                         {"EMSAdministration1", ems[1]},
                                         {"EMSAdministration2", ems[2]},
                                         {"EMSVehicle", ems[3]},
                                         {"EMSDetail", ""},
                                         {"MIELocation", ems[4]}};
        const QList<QPair<const char*, DataupFields>> inserts = {
            {"InsertImage.asp", imageRequest},
            {"InsertFileAttachment.asp", fileRequest},
            {"InsertPrintDocument.asp", printRequest},
            {"InsertEMSEstimate.asp", emsRequest}};
        for (const auto& [page, fields] : inserts)
            QCOMPARE(call(page, fields).fields, (DataupFields{{"Status", "SUCCESS"}}));

        // Open: listed with its pending inserts, no attachment anywhere.
        QJsonObject json = server.transaction(QString::fromLatin1(transaction));
        QCOMPARE(json.value(QLatin1String("state")).toString(), QStringLiteral("open"));
        QCOMPARE(json.value(QLatin1String("inserts")).toArray().size(), 4);
        QVERIFY(json.value(QLatin1String("attachments")).toArray().isEmpty());
        bool listed = false;
        for (const QJsonValue& t : server.transactions()) {
            if (t.toObject().value(QLatin1String("guid")).toString() ==
                QLatin1String(transaction)) {
                listed = true;
                QCOMPARE(t.toObject().value(QLatin1String("state")).toString(),
                         QStringLiteral("open"));
            }
        }
        QVERIFY(listed);
        const auto attachmentCount = [this] {
            return server.assignment(assignmentGuid)
                .value(QLatin1String("attachments"))
                .toArray()
                .size();
        };
        const qsizetype before = attachmentCount();
        int status = 0;
        server.request("GET", "/files/" + location.mid(7), {}, &status);
        QCOMPARE(status, 404);

        QCOMPARE(call("CommitAttachmentTransaction.asp", {{"TransactionGUID", transaction}}).fields,
                 (DataupFields{{"Status", "SUCCESS"}}));
        json = server.transaction(QString::fromLatin1(transaction));
        QCOMPARE(json.value(QLatin1String("state")).toString(), QStringLiteral("committed"));
        const QJsonArray files = json.value(QLatin1String("files")).toArray();
        QCOMPARE(files.size(), 8);
        const QJsonObject imageFile = files.first().toObject();
        QCOMPARE(imageFile.value(QLatin1String("size")).toInteger(), image.size());
        QCOMPARE(imageFile.value(QLatin1String("sha256")).toString(), sha256(image));
        QCOMPARE(imageFile.value(QLatin1String("fileName")).toString(),
                 QStringLiteral("photo.jpg"));
        QCOMPARE(fileBytes(server.dataDir() + QStringLiteral("/files/") +
                           QString::number(imageFile.value(QLatin1String("id")).toInteger())),
                 image);

        const QJsonArray recorded = json.value(QLatin1String("inserts")).toArray();
        const char* kinds[] = {"image", "file", "print", "ems"};
        for (int i = 0; i < 4; ++i) {
            const QJsonObject insert = recorded[i].toObject();
            QCOMPARE(insert.value(QLatin1String("kind")).toString(), QLatin1String(kinds[i]));
            if (i == 0) {
                // Text is Windows-1252 on the wire and Unicode in JSON.
                QCOMPARE(insert.value(QLatin1String("fieldMap"))
                             .toObject()
                             .value(QLatin1String("Caption"))
                             .toString(),
                         QStringLiteral("Left front \u00E9tat"));
                continue;
            }
            QCOMPARE(insert.value(QLatin1String("fields")).toArray(), pairsOf(inserts[i].second));
            const QJsonObject map = insert.value(QLatin1String("fieldMap")).toObject();
            QCOMPARE(map.size(), inserts[i].second.size());
            for (const auto& [name, value] : inserts[i].second)
                QCOMPARE(map.value(QString::fromLatin1(name)).toString(),
                         QString::fromLatin1(value));
        }
        const QJsonArray emsFiles = recorded[3].toObject().value(QLatin1String("files")).toArray();
        QCOMPARE(emsFiles.size(), 5);
        QCOMPARE(emsFiles.last().toObject().value(QLatin1String("field")).toString(),
                 QStringLiteral("MIELocation"));
        QCOMPARE(emsFiles.last().toObject().value(QLatin1String("sha256")).toString(), sha256(mie));
        QCOMPARE(json.value(QLatin1String("attachments")).toArray().size(), 4);
        QCOMPARE(attachmentCount(), before + 4);

        // The committed image is served for the overview's thumbnail.
        const QByteArray served = server.request("GET", "/files/" + location.mid(7), {}, &status);
        QCOMPARE(status, 200);
        QCOMPARE(served, image);

        // A repeated commit (a client whose reply was lost) succeeds and changes nothing.
        const DataupReply again =
            call("CommitAttachmentTransaction.asp", {{"TransactionGUID", transaction}});
        QCOMPARE(again.value("Status"), QByteArray("SUCCESS"));
        QCOMPARE(attachmentCount(), before + 4);
        QCOMPARE(call("CommitAttachmentTransaction.asp", {{"TransactionGUID", "{nope}"}})
                     .value("ErrorMessage"),
                 QByteArray("Transaction not found"));
    }

    void refusedAppendsLeaveTheFileAlone()
    {
        const QByteArray transaction = begin();
        const QByteArray other = begin();
        const QByteArray content = "0123456789";
        const QByteArray location = writeFile(transaction, content);
        const QByteArray foreign = writeFile(other, "x");
        QVERIFY(!location.isEmpty() && !foreign.isEmpty());

        const auto refused = [&](const DataupReply& reply, const QByteArray& message) {
            if (reply.value("Status") != "FAILURE" ||
                !reply.value("ErrorMessage").contains(message)) {
                qWarning() << reply.fields;
                return false;
            }
            const QJsonObject file = storedFile(transaction, location);
            return file.value(QLatin1String("size")).toInteger() == content.size() &&
                   file.value(QLatin1String("sha256")).toString() == sha256(content);
        };
        QVERIFY(
            refused(append(location, transaction, 9, "abc"), "CurrSize 9 does not match the 10"));
        QVERIFY(refused(append(location, transaction, 11, "abc"), "CurrSize"));
        QVERIFY(refused(append(location, transaction, 10, "abc", 4), "BlobSize 4 does not match"));
        QVERIFY(refused(append(location, other, 10, "abc"), "belongs to another transaction"));
        QVERIFY(refused(append(foreign, transaction, 1, "abc"), "belongs to another transaction"));
        QVERIFY(refused(append("upload/999999", transaction, 10, "abc"), "Location not found"));
        QVERIFY(refused(call("AppendToFile.asp",
                             {{"sLocation", location},
                              {"TransactionGUID", transaction},
                              {"CurrSize", "ten"},
                              {"BlobSize", "3"}},
                             "Blob", "abc"),
                        "CurrSize is not a decimal number"));
        QCOMPARE(append(location, transaction, 10, "abc").value("Status"), QByteArray("SUCCESS"));
        QCOMPARE(storedFile(transaction, location).value(QLatin1String("size")).toInteger(), 13);
        QVERIFY(call("CommitAttachmentTransaction.asp", {{"TransactionGUID", transaction}})
                    .has("Status"));
        const DataupReply late = append(location, transaction, 13, "z");
        QCOMPARE(late.value("ErrorMessage"), QByteArray("Transaction is already committed"));
        QCOMPARE(storedFile(transaction, location).value(QLatin1String("size")).toInteger(), 13);
        QCOMPARE(fileBytes(server.dataDir() + QStringLiteral("/files/") + location.mid(7)),
                 content + "abc");
    }

    void refusedWritesAndInsertsLeaveNoRow()
    {
        const QByteArray transaction = begin();
        const auto failure = [&](const char* page, const DataupFields& fields,
                                 const QByteArray& binaryName = {}, const QByteArray& binary = {}) {
            const DataupReply reply = call(page, fields, binaryName, binary);
            return reply.value("Status") == "FAILURE" ? reply.value("ErrorMessage")
                                                      : QByteArray("(no failure)");
        };
        // Sizes beyond 32 bits are read as numbers, and must match what came.
        QCOMPARE(
            failure(
                "WriteFile.asp",
                {{"FileName", "a"}, {"TransactionGUID", transaction}, {"FileSize", "3000000000"}},
                "File", "abc"),
            QByteArray("FileSize 3000000000 does not match the 3 bytes received"));
        QVERIFY(failure("WriteFile.asp",
                        {{"FileName", "a"}, {"TransactionGUID", transaction}, {"FileSize", "-3"}},
                        "File", "abc")
                    .startsWith("FileSize is not a decimal number"));
        QCOMPARE(failure("WriteFile.asp",
                         {{"FileName", "a"}, {"TransactionGUID", transaction}, {"FileSize", "3"}}),
                 QByteArray("Missing field: File"));
        QCOMPARE(failure("WriteFile.asp",
                         {{"FileName", "a"}, {"TransactionGUID", "{x}"}, {"FileSize", "3"}}, "File",
                         "abc"),
                 QByteArray("Transaction not found"));
        QCOMPARE(failure("WriteFile.asp", {{"TransactionGUID", transaction}, {"FileSize", "3"}},
                         "File", "abc"),
                 QByteArray("Missing field: FileName"));
        QCOMPARE(failure("BeginAttachmentTransaction.asp", {{"Code", "begintrans"}}),
                 QByteArray("Unknown Code: begintrans"));
        int status = 0;
        QCOMPARE(parseDataupReply(server.post("/dataup/ReadAssignment.asp", {}, &status))
                     .value("ErrorMessage"),
                 QByteArray("Empty request: no fields"));
        QCOMPARE(status, 200);
        QCOMPARE(parseDataupReply(server.post("/dataup/ReadAssignment.asp", "GUID\t"))
                     .value("ErrorMessage"),
                 QByteArray("Malformed request: a field without a colon"));
        QVERIFY(storedFile(transaction, "upload/1").isEmpty());
        QVERIFY(server.transaction(QString::fromLatin1(transaction))
                    .value(QLatin1String("files"))
                    .toArray()
                    .isEmpty());

        const QByteArray location = writeFile(transaction, "12345");
        const QByteArray foreign = writeFile(begin(), "12345");
        const QByteArray guid = "{B0000000-0000-0000-0000-000000000001}";
        DataupFields fields = imageFields(transaction, location, 5, guid);
        fields.removeAt(3); // WorkerGUID
        QCOMPARE(failure("InsertImage.asp", fields), QByteArray("Missing field: WorkerGUID"));
        QCOMPARE(failure("InsertImage.asp", imageFields(transaction, location, 6, guid)),
                 QByteArray("FileSize 6 does not match the 5 bytes stored"));
        QCOMPARE(failure("InsertImage.asp", imageFields(transaction, foreign, 5, guid)),
                 QByteArray("Location: location " + foreign + " belongs to another transaction"));
        QCOMPARE(failure("InsertImage.asp", imageFields(transaction, "upload/x", 5, guid)),
                 QByteArray("Location: location not found: upload/x"));
        QVERIFY(
            failure("InsertImage.asp", imageFields(transaction, location, 5, guid).mid(0, 6) +
                                           DataupFields{{"FileSize", "5 "}, {"Location", location}})
                .startsWith("FileSize is not a decimal number"));
        QVERIFY(server.transaction(QString::fromLatin1(transaction))
                    .value(QLatin1String("inserts"))
                    .toArray()
                    .isEmpty());

        // An assignment this server never delivered is accepted and flagged.
        DataupFields unknown = imageFields(transaction, location, 5, guid);
        unknown[1].second = "{C0000000-0000-0000-0000-00000000000C}";
        QCOMPARE(call("InsertImage.asp", unknown).value("Status"), QByteArray("SUCCESS"));
        // The same request again (a lost reply) adds nothing; a different one is refused.
        QCOMPARE(call("InsertImage.asp", unknown).value("Status"), QByteArray("SUCCESS"));
        QVERIFY(failure("InsertImage.asp", imageFields(transaction, location, 5, guid))
                    .contains("exists already"));
        const QJsonArray recorded = server.transaction(QString::fromLatin1(transaction))
                                        .value(QLatin1String("inserts"))
                                        .toArray();
        QCOMPARE(recorded.size(), 1);
        QCOMPARE(recorded.first().toObject().value(QLatin1String("assignmentKnown")).toBool(),
                 false);
    }

    void clientFileNamesNeverBecomePaths()
    {
        const QByteArray transaction = begin();
        const QString escape = server.dataDir() + QStringLiteral("/../escaped-by-client");
        for (const QByteArray& name :
             {QByteArray("../../etc/passwd"), QByteArray("../escaped-by-client"),
              QFile::encodeName(escape), QByteArray("files/1")}) {
            const QByteArray location = writeFile(transaction, "payload", name);
            QVERIFY(!location.isEmpty());
            QCOMPARE(storedFile(transaction, location).value(QLatin1String("fileName")).toString(),
                     QString::fromLatin1(name));
        }
        QVERIFY(!QFile::exists(escape));
        // Everything the server wrote is inside its folder, under names of its own.
        const QRegularExpression ownNames(QStringLiteral("^(dataup\\.sqlite(-wal|-shm)?|\\d+)$"));
        QDirIterator it(server.dataDir(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            QVERIFY2(ownNames.match(it.fileName()).hasMatch(), qPrintable(it.filePath()));
        }
        QDir parent(server.dataDir() + QStringLiteral("/.."));
        QCOMPARE(parent.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 (QStringList{QStringLiteral("data"), QStringLiteral("server.log")}));
    }
};

QTEST_GUILESS_MAIN(TestDataupServer)
#include "tst_dataupserver.moc"
