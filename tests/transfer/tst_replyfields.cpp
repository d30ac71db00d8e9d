// The reply field reader over replies as the server's pages write them, and as broken
// ones arrive.

#include "transfer/ReplyFields.h"

#include <QTest>

using namespace tarnaxe;

class TestReplyFields : public QObject {
    Q_OBJECT

private slots:
    void findField_data();
    void findField();
    void binaryField_data();
    void binaryField();
};

void TestReplyFields::findField_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QByteArray>("value");
    const auto row = [](const char* name, const QByteArray& reply, const char* field, bool found,
                        const char* value) {
        QTest::newRow(name) << reply << QByteArray(field) << found << QByteArray(value);
    };
    const QByteArray reply("Status:SUCCESS\tTransactionGUID:{A-B}\tLocation:C:\\x\\y.jpg\t");
    row("first", reply, "Status", true, "SUCCESS");
    row("colons stay in the value", reply, "Location", true, "C:\\x\\y.jpg");
    row("names are case-sensitive", reply, "status", false, "");
    row("missing", reply, "ErrorMessage", false, "");
    row("empty reply", "", "Status", false, "");
    row("only field without its TAB", "Status:SUCCESS", "Status", false, "");
    row("last field without its TAB", "Status:SUCCESS\tErrorMessage:late", "ErrorMessage", false,
        "");
    row("first of two with one name", "Status:FAILURE\tStatus:SUCCESS\t", "Status", true,
        "FAILURE");
    row("after empty fields", "\t\tStatus:OK\t", "Status", true, "OK");
    row("an empty value", "ErrorMessage:\tStatus:OK\t", "ErrorMessage", true, "");
    row("a name that is a value elsewhere", "Basename:Status\tStatus:SUCCESS\t", "Status", true,
        "SUCCESS");
    row("a field without a colon", "SUCCESS\tStatus:OK\t", "SUCCESS", false, "");
}

void TestReplyFields::findField()
{
    QFETCH(QByteArray, reply);
    QFETCH(QByteArray, name);
    QByteArray got("stale");
    QTEST(FindField(reply, name, got), "found");
    QTEST(got, "value");
    QTEST(GetField(reply, name), "value");
}

void TestReplyFields::binaryField_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<qint64>("length");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QByteArray>("data");
    const QByteArray blob("a\tb:c\0d", 7);
    const QByteArray reply = "Status:SUCCESS\tExportSize:7\tExport:" + blob + '\t';
    QTest::newRow("TABs, colons and NULs kept") << reply << qint64(7) << true << blob;
    QTest::newRow("shorter than the blob") << reply << qint64(3) << true << QByteArray("a\tb");
    QTest::newRow("longer than the reply") << reply << qint64(100) << true << blob + '\t';
    QTest::newRow("zero length") << reply << qint64(0) << true << QByteArray();
    QTest::newRow("no such field") << reply.left(28) << qint64(7) << false << QByteArray();
    // The field must end with a TAB somewhere after its start to be found at all.
    QTest::newRow("no TAB after the blob")
        << QByteArray("ExportSize:3\tExport:abc") << qint64(3) << false << QByteArray();
    QTest::newRow("a blob's own TAB finds it")
        << QByteArray("ExportSize:3\tExport:a\tc") << qint64(3) << true << QByteArray("a\tc");
}

void TestReplyFields::binaryField()
{
    QFETCH(QByteArray, reply);
    QFETCH(qint64, length);
    QByteArray got("stale");
    QTEST(FindBinaryField(reply, "Export", length, got), "found");
    QTEST(got, "data");
}

QTEST_GUILESS_MAIN(TestReplyFields)
#include "tst_replyfields.moc"
