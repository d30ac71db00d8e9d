#include "platform/Windows1252.h"

#include <QTest>

using namespace tarnaxe;

class TestWindows1252 : public QObject {
    Q_OBJECT

private slots:
    void decode_data();
    void decode();
    void everyByteRoundTrips();
    void encodeUnmappable();
    void utf8OrWindows1252_data();
    void utf8OrWindows1252();
};

void TestWindows1252::decode_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("expected");

    QTest::newRow("ascii") << QByteArray("Tarn 12") << QStringLiteral("Tarn 12");
    QTest::newRow("euro") << QByteArray("\x80") << QStringLiteral("\u20AC");
    QTest::newRow("quotes and dashes")
        << QByteArray("\x93q\x94\x96\x97") << QStringLiteral("\u201Cq\u201D\u2013\u2014");
    QTest::newRow("last of the table") << QByteArray("\x9F") << QStringLiteral("\u0178");
    QTest::newRow("unused bytes") << QByteArray("\x81\x8D\x8F\x90\x9D")
                                  << QStringLiteral("\u0081\u008D\u008F\u0090\u009D");
    QTest::newRow("latin-1 half") << QByteArray("\xA0\xE9\xFF")
                                  << QStringLiteral("\u00A0\u00E9\u00FF");
    QTest::newRow("nul kept") << QByteArray("a\0b", 3) << QStringView(u"a\0b", 3).toString();
}

void TestWindows1252::decode()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, expected);
    QCOMPARE(fromWindows1252(bytes), expected);
}

void TestWindows1252::everyByteRoundTrips()
{
    QByteArray all(256, Qt::Uninitialized);
    for (int i = 0; i < 256; ++i)
        all[i] = static_cast<char>(i);
    const QString text = fromWindows1252(all);
    QCOMPARE(text.size(), 256);
    QCOMPARE(toWindows1252(text), all);
}

void TestWindows1252::encodeUnmappable()
{
    QCOMPARE(toWindows1252(u"a\u65E5\u20ACz\U0001F600"), QByteArray("a?\x80z??"));
}

void TestWindows1252::utf8OrWindows1252_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("expected");

    QTest::newRow("utf-8") << QByteArray("caf\xC3\xA9 \xE2\x82\xAC") << QStringLiteral("café €");
    QTest::newRow("windows-1252") << QByteArray("caf\xE9 \x80") << QStringLiteral("café €");
    QTest::newRow("cut utf-8 sequence") << QByteArray("ab\xC3") << QStringLiteral("abÃ");
    QTest::newRow("overlong utf-8") << QByteArray("\xC0\xAF") << QStringLiteral("À¯");
    QTest::newRow("byte-order mark kept")
        << QByteArray("\xEF\xBB\xBFx") << QStringLiteral("\uFEFFx");
    QTest::newRow("empty") << QByteArray() << QString();
}

void TestWindows1252::utf8OrWindows1252()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, expected);
    QCOMPARE(decodeUtf8OrWindows1252(bytes), expected);
}

QTEST_GUILESS_MAIN(TestWindows1252)
#include "tst_windows1252.moc"
