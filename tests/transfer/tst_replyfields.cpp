// The reply field reader over replies as the server's pages write them, and as broken
// ones arrive.

#include "transfer/ReplyFields.h"

#include <QTest>

using namespace tarnaxe;

class TestReplyFields : public QObject {
    Q_OBJECT

private slots:
    void nextField_data();
    void nextField();
    void findField_data();
    void findField();
    void binaryField_data();
    void binaryField();
    void longTailWithoutTab();
};

void TestReplyFields::nextField_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("position");
    QTest::addColumn<bool>("found");
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");

    const QByteArray reply("Status:SUCCESS\tLocation:C:\\x\\y.jpg\t");
    QTest::newRow("first field") << reply << 1 << true << 14 << QByteArray("Status")
                                 << QByteArray("SUCCESS");
    QTest::newRow("second keeps the drive colon")
        << reply << 16 << true << 19 << QByteArray("Location") << QByteArray("C:\\x\\y.jpg");
    QTest::newRow("mid-field start")
        << reply << 3 << true << 12 << QByteArray("atus") << QByteArray("SUCCESS");
    QTest::newRow("position 0") << reply << 0 << false << 0 << QByteArray() << QByteArray();
    QTest::newRow("past the end") << reply << int(reply.size()) + 1 << false << 0 << QByteArray()
                                  << QByteArray();
    QTest::newRow("last byte is the TAB")
        << reply << int(reply.size()) << true << 0 << QByteArray() << QByteArray();
    QTest::newRow("no TAB after it")
        << QByteArray("Status:SUCCESS") << 1 << true << 0 << QByteArray() << QByteArray();
    QTest::newRow("no colon") << QByteArray("SUCCESS\t") << 1 << true << 7 << QByteArray()
                              << QByteArray();
    QTest::newRow("colon first") << QByteArray(":SUCCESS\t") << 1 << true << 8 << QByteArray()
                                 << QByteArray();
    QTest::newRow("empty value") << QByteArray("ErrorMessage:\t") << 1 << true << 13
                                 << QByteArray("ErrorMessage") << QByteArray();
    QTest::newRow("empty field") << QByteArray("\tStatus:X\t") << 1 << true << 0 << QByteArray()
                                 << QByteArray();
}

void TestReplyFields::nextField()
{
    QFETCH(QByteArray, text);
    QFETCH(int, position);
    QFETCH(bool, found);
    QFETCH(int, length);
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, value);

    qsizetype gotLength = -1;
    QByteArray gotName("stale");
    QByteArray gotValue("stale");
    QCOMPARE(NextField(text, position, gotLength, gotName, gotValue), found);
    QCOMPARE(gotLength, qsizetype(length));
    QCOMPARE(gotName, name);
    QCOMPARE(gotValue, value);
}

void TestReplyFields::findField_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QByteArray>("value");

    const QByteArray reply("Status:SUCCESS\tTransactionGUID:{A-B}\tLocation:C:\\x\\y.jpg\t");
    QTest::newRow("first") << reply << QByteArray("Status") << true << QByteArray("SUCCESS");
    QTest::newRow("later") << reply << QByteArray("TransactionGUID") << true << QByteArray("{A-B}");
    QTest::newRow("colons stay in the value")
        << reply << QByteArray("Location") << true << QByteArray("C:\\x\\y.jpg");
    QTest::newRow("names are case-sensitive")
        << reply << QByteArray("status") << false << QByteArray();
    QTest::newRow("missing") << reply << QByteArray("ErrorMessage") << false << QByteArray();
    QTest::newRow("empty reply") << QByteArray() << QByteArray("Status") << false << QByteArray();
    QTest::newRow("no TAB after the only field")
        << QByteArray("Status:SUCCESS") << QByteArray("Status") << false << QByteArray();
    QTest::newRow("last field without its TAB")
        << QByteArray("Status:SUCCESS\tErrorMessage:late") << QByteArray("ErrorMessage") << false
        << QByteArray();
    QTest::newRow("first of two with the same name")
        << QByteArray("Status:FAILURE\tStatus:SUCCESS\t") << QByteArray("Status") << true
        << QByteArray("FAILURE");
    QTest::newRow("after an empty field")
        << QByteArray("\t\tStatus:OK\t") << QByteArray("Status") << true << QByteArray("OK");
    QTest::newRow("a name that is a value elsewhere")
        << QByteArray("Basename:Status\tStatus:SUCCESS\t") << QByteArray("Status") << true
        << QByteArray("SUCCESS");
}

void TestReplyFields::findField()
{
    QFETCH(QByteArray, reply);
    QFETCH(QByteArray, name);
    QFETCH(bool, found);
    QFETCH(QByteArray, value);

    QByteArray got("stale");
    QCOMPARE(FindField(reply, name, got), found);
    QCOMPARE(got, value);
    QCOMPARE(GetField(reply, name), value);
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
    QTest::newRow("longer than the reply")
        << reply << qint64(100) << true << QByteArray(blob + '\t');
    QTest::newRow("zero length") << reply << qint64(0) << true << QByteArray();
    QTest::newRow("no such field")
        << QByteArray("Status:SUCCESS\tExportSize:7\t") << qint64(7) << false << QByteArray();
    // The field must end with a TAB somewhere after its start to be found at all.
    QTest::newRow("blob without any TAB after it")
        << QByteArray("ExportSize:3\tExport:abc") << qint64(3) << false << QByteArray();
    QTest::newRow("a blob's own TAB finds it")
        << QByteArray("ExportSize:3\tExport:a\tc") << qint64(3) << true << QByteArray("a\tc");
}

void TestReplyFields::binaryField()
{
    QFETCH(QByteArray, reply);
    QFETCH(qint64, length);
    QFETCH(bool, found);
    QFETCH(QByteArray, data);

    QByteArray got("stale");
    QCOMPARE(FindBinaryField(reply, "Export", length, got), found);
    QCOMPARE(got, data);
}

void TestReplyFields::longTailWithoutTab()
{
    // A large blob with no TAB after it must not make a missing field's search step
    // through the blob byte by byte (quadratic time).
    const QByteArray reply = "Status:SUCCESS\tExport:" + QByteArray(8 << 20, 'x');
    QByteArray value;
    QVERIFY(!FindField(reply, "ErrorMessage", value));
    QVERIFY(FindField(reply, "Status", value));
    QCOMPARE(value, QByteArray("SUCCESS"));
    // An empty name matches the first empty field, as a scan that steps on would find it.
    QVERIFY(FindField(reply, QByteArray(), value));
    QCOMPARE(value, QByteArray());
}

QTEST_GUILESS_MAIN(TestReplyFields)
#include "tst_replyfields.moc"
