// Values as the automation host passes them: each value's conversions in one row (numeric
// test, text, 16-bit, 32-bit, Boolean), the leading number of a text, dates read from text;
// and the Windows-1252 text of EMS files and server replies.

#include "platform/Variant.h"
#include "platform/Windows1252.h"

#include <QTest>

using namespace tarnaxe;

namespace {

const char* const kOver = "Overflow (6)";
const char* const kMismatch = "Type mismatch (13)";

struct Conversions {
    const char* name;
    Variant value;
    bool numeric;
    const char* text; // nullptr: the string itself
    QString int16, int32, boolean;
};

// The converted value as text, or the error the host would see.
template <typename Convert> QString outcome(Convert convert)
{
    try {
        return QVariant::fromValue(convert()).toString();
    } catch (const AutomationError& e) {
        return QStringLiteral("%1 (%2)").arg(e.description()).arg(e.number());
    }
}

QDateTime on(int y, int m, int d, QTime time = QTime(0, 0))
{
    return QDateTime(QDate(y, m, d), time);
}

} // namespace

Q_DECLARE_METATYPE(Conversions)

class TestVariant : public QObject {
    Q_OBJECT

private slots:
    void conversions_data()
    {
        const Conversions rows[] = {
            {"Empty", Variant(), true, "", "0", "0", "false"},
            {"True", true, true, "True", "-1", "-1", "true"},
            {"False", false, true, "False", "0", "0", "false"},
            {"Integer", qint16(-5), true, "-5", "-5", "-5", "true"},
            {"Long 32767", qint32(32767), true, "32767", "32767", "32767", "true"},
            {"Long -32769", qint32(-32769), true, "-32769", kOver, "-32769", "true"},
            {"2.5 to even", 2.5, true, "2.5", "2", "2", "true"},
            {"-3.5 to even", -3.5, true, "-3.5", "-4", "-4", "true"},
            {"1.5001", 1.5001, true, "1.5001", "2", "2", "true"},
            {"-0.125", -0.125, true, "-0.125", "0", "0", "true"},
            {"32767.5 rounds over", 32767.5, true, "32767.5", kOver, "32768", "true"},
            {"-32768.5 to even", -32768.5, true, "-32768.5", "-32768", "-32768", "true"},
            {"smallest Long", -2147483648.0, true, "-2147483648", kOver, "-2147483648", "true"},
            {"2147483647.5", 2147483647.5, true, "2147483647.5", kOver, kOver, "true"},
            {"large whole", 123456789012345.0, true, "123456789012345", kOver, kOver, "true"},
            {"huge", 1e20, true, "1E+20", kOver, kOver, "true"},
            {"tiny", 1e-5, true, "1E-05", "0", "0", "true"},
            {"one tenth", 0.1, true, "0.1", "0", "0", "true"},
            {"\" 12 \"", " 12 ", true, nullptr, "12", "12", "true"},
            {"\"-1.5\"", "-1.5", true, nullptr, "-2", "-2", "true"},
            {"\".5\"", ".5", true, nullptr, "0", "0", "true"},
            {"\"1e3\"", "1e3", true, nullptr, "1000", "1000", "true"},
            {"\"1D2\"", "1D2", true, nullptr, "100", "100", "true"},
            {"\"&H1F\"", "&H1F", true, nullptr, "31", "31", "true"},
            {"\"&o17\"", "&o17", true, nullptr, "15", "15", "true"},
            {"\"40000\"", "40000", true, nullptr, kOver, "40000", "true"},
            {"\"-3e9\"", "-3e9", true, nullptr, kOver, kOver, "true"},
            {"\"0\"", "0", true, nullptr, "0", "0", "false"},
            {"\"TRUE\"", "TRUE", false, nullptr, kMismatch, kMismatch, "true"},
            {"\"false\"", "false", false, nullptr, kMismatch, kMismatch, "false"},
            {"\"abc\"", "abc", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"\"\"", "", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"\"  \"", "  ", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"\"1.2.3\"", "1.2.3", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"\"12abc\"", "12abc", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"\"1e\"", "1e", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"\"&HG\"", "&HG", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"\"Yes\"", "Yes", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"early Date", Variant(on(1900, 1, 1)), false, "1/1/1900", "2", "2", kMismatch},
            {"Date", Variant(on(2007, 3, 15)), false, "3/15/2007", kOver, "39156", kMismatch},
            {"Date, afternoon", Variant(on(2007, 3, 15, QTime(13, 5, 9))), false,
             "3/15/2007 1:05:09 PM", kOver, "39157", kMismatch},
            {"Date, after midnight", Variant(on(1999, 12, 31, QTime(0, 0, 30))), false,
             "12/31/1999 12:00:30 AM", kOver, "36525", kMismatch},
        };
        QTest::addColumn<Conversions>("c");
        for (const Conversions& c : rows)
            QTest::newRow(c.name) << c;
    }
    void conversions()
    {
        QFETCH(Conversions, c);
        QCOMPARE(c.value.isNumeric(), c.numeric);
        QCOMPARE(c.value.toText(), c.text ? QString::fromUtf8(c.text) : c.value.stringValue());
        QCOMPARE(outcome([&] { return c.value.toInt16(); }), c.int16);
        QCOMPARE(outcome([&] { return c.value.toInt32(); }), c.int32);
        QCOMPARE(outcome([&] { return c.value.toBool(); }), c.boolean);
    }

    void leadingNumber_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("expected");
        const std::pair<const char*, double> rows[] = {
            {"True", 0},    {"", 0},      {" 1 2", 12},     {"-3.5x", -3.5}, {"1.2.3", 1.2},
            {"2e-1x", 0.2}, {"12e+", 12}, {"\t4\r\n2", 42}, {"5-3", 5},      {"-", 0}};
        for (const auto& [text, expected] : rows)
            QTest::newRow(qPrintable(QStringLiteral("\"%1\"").arg(text))) << text << expected;
    }
    void leadingNumber()
    {
        QFETCH(QString, text);
        QFETCH(double, expected);
        QCOMPARE(tarnaxe::leadingNumber(text), expected);
    }

    void parseDate_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected"); // invalid when the text is no date
        const std::pair<const char*, QDateTime> rows[] = {
            {"  3/15/2007 ", on(2007, 3, 15)},
            {"2007-03-15T08:30:05", on(2007, 3, 15, QTime(8, 30, 5))},
            {"01/01/1940", on(1940, 1, 1)},
            {"3/15/2007 1:05:09 PM", on(2007, 3, 15, QTime(13, 5, 9))},
            {"3/15/2007 13:05", on(2007, 3, 15, QTime(13, 5))},
            {"1/1/29", on(2029, 1, 1)},
            {"1/1/30", on(1930, 1, 1)},
            {"2/29/00", on(2000, 2, 29)},
            {"2/30/2007", QDateTime()},
            {"13/1/2007", QDateTime()},
            {"not a date", QDateTime()}};
        for (const auto& [text, expected] : rows)
            QTest::newRow(text) << text << expected;
    }
    void parseDate()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        QCOMPARE(Variant::parseDate(text), expected);
    }

    void windows1252_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("euro, quotes and dashes") << QByteArray("\x80\x93q\x94\x96\x97") << "€“q”–—";
        QTest::newRow("last of the table") << QByteArray("\x9F") << "Ÿ";
        QTest::newRow("unused bytes")
            << QByteArray("\x81\x8D\x8F\x90\x9D") << "\u0081\u008D\u008F\u0090\u009D";
        QTest::newRow("latin-1 half, NUL kept")
            << QByteArray("\xA0\xE9\xFF\0", 4) << QStringView(u"\u00A0é\u00FF\0", 4).toString();
    }
    // Every byte has a character and comes back from it.
    void windows1252()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        QCOMPARE(fromWindows1252(bytes), text);
        QCOMPARE(toWindows1252(text), bytes);
        QByteArray all(256, Qt::Uninitialized);
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        QCOMPARE(toWindows1252(fromWindows1252(all)), all);
        QCOMPARE(toWindows1252(u"a\u65E5z\U0001F600"), QByteArray("a?z??")); // unmappable
    }

    void utf8OrWindows1252_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected");
        QTest::newRow("utf-8") << QByteArray("caf\xC3\xA9 \xE2\x82\xAC") << "café €";
        QTest::newRow("windows-1252") << QByteArray("caf\xE9 \x80") << "café €";
        QTest::newRow("cut utf-8 sequence") << QByteArray("ab\xC3") << "abÃ";
        QTest::newRow("overlong utf-8") << QByteArray("\xC0\xAF") << "À¯";
        QTest::newRow("byte-order mark kept")
            << QByteArray("\xEF\xBB\xBFx") << QStringView(u"\uFEFFx").toString();
    }
    void utf8OrWindows1252()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, expected);
        QCOMPARE(decodeUtf8OrWindows1252(bytes), expected);
    }
};

QTEST_GUILESS_MAIN(TestVariant)
#include "tst_variant.moc"
