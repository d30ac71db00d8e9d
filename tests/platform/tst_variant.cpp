#include "platform/Variant.h"

#include <QTest>

using tarnaxe::AutomationError;
using tarnaxe::Variant;

Q_DECLARE_METATYPE(tarnaxe::Variant)

namespace {

constexpr int kNoError = 0;
constexpr int kOverflow = 6;
constexpr int kTypeMismatch = 13;

Variant dateVariant(int y, int m, int d, QTime time = QTime(0, 0))
{
    return Variant(QDateTime(QDate(y, m, d), time));
}

} // namespace

class TestVariant : public QObject {
    Q_OBJECT

private slots:
    void isNumeric_data();
    void isNumeric();
    void numericTextValue_data();
    void numericTextValue();
    void toText_data();
    void toText();
    void toInt16_data();
    void toInt16();
    void toInt32_data();
    void toInt32();
    void toBool_data();
    void toBool();
    void errorDescriptions();
    void leadingNumber_data();
    void leadingNumber();
    void parseDate_data();
    void parseDate();
};

void TestVariant::isNumeric_data()
{
    QTest::addColumn<Variant>("value");
    QTest::addColumn<bool>("expected");

    QTest::newRow("Empty") << Variant() << true;
    QTest::newRow("True") << Variant(true) << true;
    QTest::newRow("False") << Variant(false) << true;
    QTest::newRow("Integer") << Variant(qint16(5)) << true;
    QTest::newRow("Long") << Variant(qint32(70000)) << true;
    QTest::newRow("Double") << Variant(2.5) << true;
    QTest::newRow("\"12\"") << Variant("12") << true;
    QTest::newRow("\" 12 \"") << Variant(" 12 ") << true;
    QTest::newRow("\"-1.5\"") << Variant("-1.5") << true;
    QTest::newRow("\".5\"") << Variant(".5") << true;
    QTest::newRow("\"1e3\"") << Variant("1e3") << true;
    QTest::newRow("\"1D2\"") << Variant("1D2") << true;
    QTest::newRow("\"&H1F\"") << Variant("&H1F") << true;
    QTest::newRow("\"&o17\"") << Variant("&o17") << true;
    QTest::newRow("\"abc\"") << Variant("abc") << false;
    QTest::newRow("\"\"") << Variant("") << false;
    QTest::newRow("\"  \"") << Variant("  ") << false;
    QTest::newRow("\"1.2.3\"") << Variant("1.2.3") << false;
    QTest::newRow("\"12abc\"") << Variant("12abc") << false;
    QTest::newRow("\"1e\"") << Variant("1e") << false;
    QTest::newRow("\"&H\"") << Variant("&H") << false;
    QTest::newRow("\"&HG\"") << Variant("&HG") << false;
    QTest::newRow("\"True\"") << Variant("True") << false;
    QTest::newRow("Date") << dateVariant(2007, 3, 15) << false;
}

void TestVariant::isNumeric()
{
    QFETCH(Variant, value);
    QFETCH(bool, expected);
    QCOMPARE(value.isNumeric(), expected);
}

void TestVariant::numericTextValue_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("expected");

    QTest::newRow("blanks") << " 12 " << 12.0;
    QTest::newRow("sign and fraction") << "-1.5" << -1.5;
    QTest::newRow("exponent") << "1e3" << 1000.0;
    QTest::newRow("D exponent") << "1D2" << 100.0;
    QTest::newRow("hexadecimal") << "&H1F" << 31.0;
    QTest::newRow("octal") << "&O17" << 15.0;
}

void TestVariant::numericTextValue()
{
    QFETCH(QString, text);
    QFETCH(double, expected);
    double value = -999;
    QVERIFY(tarnaxe::isNumericText(text, &value));
    QCOMPARE(value, expected);
}

void TestVariant::toText_data()
{
    QTest::addColumn<Variant>("value");
    QTest::addColumn<QString>("expected");

    QTest::newRow("True") << Variant(true) << "True";
    QTest::newRow("False") << Variant(false) << "False";
    QTest::newRow("Empty") << Variant() << "";
    QTest::newRow("Integer") << Variant(qint16(-5)) << "-5";
    QTest::newRow("Long") << Variant(qint32(100000)) << "100000";
    QTest::newRow("whole Double") << Variant(3.0) << "3";
    QTest::newRow("Double") << Variant(2.5) << "2.5";
    QTest::newRow("negative fraction") << Variant(-0.125) << "-0.125";
    QTest::newRow("one tenth") << Variant(0.1) << "0.1";
    QTest::newRow("large whole Double") << Variant(123456789012345.0) << "123456789012345";
    QTest::newRow("huge Double") << Variant(1e20) << "1E+20";
    QTest::newRow("tiny Double") << Variant(1e-5) << "1E-05";
    QTest::newRow("String") << Variant("as is ") << "as is ";
    QTest::newRow("Date") << dateVariant(2007, 3, 15) << "3/15/2007";
    QTest::newRow("Date, afternoon")
        << dateVariant(2007, 3, 15, QTime(13, 5, 9)) << "3/15/2007 1:05:09 PM";
    QTest::newRow("Date, after midnight")
        << dateVariant(1999, 12, 31, QTime(0, 0, 30)) << "12/31/1999 12:00:30 AM";
}

void TestVariant::toText()
{
    QFETCH(Variant, value);
    QFETCH(QString, expected);
    QCOMPARE(value.toText(), expected);
}

void TestVariant::toInt16_data()
{
    QTest::addColumn<Variant>("value");
    QTest::addColumn<int>("expected");
    QTest::addColumn<int>("error");

    QTest::newRow("2.5 to even") << Variant(2.5) << 2 << kNoError;
    QTest::newRow("3.5 to even") << Variant(3.5) << 4 << kNoError;
    QTest::newRow("-2.5 to even") << Variant(-2.5) << -2 << kNoError;
    QTest::newRow("-3.5 to even") << Variant(-3.5) << -4 << kNoError;
    QTest::newRow("below half") << Variant(1.4999) << 1 << kNoError;
    QTest::newRow("above half") << Variant(1.5001) << 2 << kNoError;
    QTest::newRow("\"2.5\"") << Variant("2.5") << 2 << kNoError;
    QTest::newRow("\" 7 \"") << Variant(" 7 ") << 7 << kNoError;
    QTest::newRow("\"&H1F\"") << Variant("&H1F") << 31 << kNoError;
    QTest::newRow("True") << Variant(true) << -1 << kNoError;
    QTest::newRow("False") << Variant(false) << 0 << kNoError;
    QTest::newRow("Empty") << Variant() << 0 << kNoError;
    QTest::newRow("largest") << Variant(qint32(32767)) << 32767 << kNoError;
    QTest::newRow("smallest") << Variant(qint32(-32768)) << -32768 << kNoError;
    QTest::newRow("-32768.5 to even") << Variant(-32768.5) << -32768 << kNoError;
    QTest::newRow("early Date") << dateVariant(1900, 1, 1) << 2 << kNoError;
    QTest::newRow("32768") << Variant(qint32(32768)) << 0 << kOverflow;
    QTest::newRow("32767.5 rounds over") << Variant(32767.5) << 0 << kOverflow;
    QTest::newRow("-32769") << Variant(qint32(-32769)) << 0 << kOverflow;
    QTest::newRow("\"40000\"") << Variant("40000") << 0 << kOverflow;
    QTest::newRow("recent Date") << dateVariant(2007, 3, 15) << 0 << kOverflow;
    QTest::newRow("\"abc\"") << Variant("abc") << 0 << kTypeMismatch;
    QTest::newRow("\"\"") << Variant("") << 0 << kTypeMismatch;
    QTest::newRow("\"True\"") << Variant("True") << 0 << kTypeMismatch;
}

void TestVariant::toInt16()
{
    QFETCH(Variant, value);
    QFETCH(int, expected);
    QFETCH(int, error);
    try {
        const qint16 result = value.toInt16();
        QCOMPARE(kNoError, error);
        QCOMPARE(result, expected);
    } catch (const AutomationError& e) {
        QCOMPARE(e.number(), error);
    }
}

void TestVariant::toInt32_data()
{
    QTest::addColumn<Variant>("value");
    QTest::addColumn<qint32>("expected");
    QTest::addColumn<int>("error");

    QTest::newRow("2.5 to even") << Variant(2.5) << 2 << kNoError;
    QTest::newRow("3.5 to even") << Variant(3.5) << 4 << kNoError;
    QTest::newRow("\"40000\"") << Variant("40000") << 40000 << kNoError;
    QTest::newRow("Integer") << Variant(qint16(-7)) << -7 << kNoError;
    QTest::newRow("True") << Variant(true) << -1 << kNoError;
    QTest::newRow("largest") << Variant(2147483647.0) << 2147483647 << kNoError;
    QTest::newRow("smallest") << Variant(-2147483648.0) << qint32(-2147483647 - 1) << kNoError;
    QTest::newRow("Date") << dateVariant(2007, 3, 15) << 39156 << kNoError;
    QTest::newRow("rounds over") << Variant(2147483647.5) << 0 << kOverflow;
    QTest::newRow("1e10") << Variant(1e10) << 0 << kOverflow;
    QTest::newRow("\"-3e9\"") << Variant("-3e9") << 0 << kOverflow;
    QTest::newRow("\"abc\"") << Variant("abc") << 0 << kTypeMismatch;
}

void TestVariant::toInt32()
{
    QFETCH(Variant, value);
    QFETCH(qint32, expected);
    QFETCH(int, error);
    try {
        const qint32 result = value.toInt32();
        QCOMPARE(kNoError, error);
        QCOMPARE(result, expected);
    } catch (const AutomationError& e) {
        QCOMPARE(e.number(), error);
    }
}

void TestVariant::toBool_data()
{
    QTest::addColumn<Variant>("value");
    QTest::addColumn<bool>("expected");
    QTest::addColumn<int>("error");

    QTest::newRow("\"true\"") << Variant("true") << true << kNoError;
    QTest::newRow("\"False\"") << Variant("False") << false << kNoError;
    QTest::newRow("\"TRUE\"") << Variant("TRUE") << true << kNoError;
    QTest::newRow("0") << Variant(qint16(0)) << false << kNoError;
    QTest::newRow("-1") << Variant(qint16(-1)) << true << kNoError;
    QTest::newRow("0.5") << Variant(0.5) << true << kNoError;
    QTest::newRow("\"0\"") << Variant("0") << false << kNoError;
    QTest::newRow("\"2\"") << Variant("2") << true << kNoError;
    QTest::newRow("True") << Variant(true) << true << kNoError;
    QTest::newRow("Empty") << Variant() << false << kNoError;
    QTest::newRow("\"abc\"") << Variant("abc") << false << kTypeMismatch;
    QTest::newRow("\"\"") << Variant("") << false << kTypeMismatch;
    QTest::newRow("\"Yes\"") << Variant("Yes") << false << kTypeMismatch;
    QTest::newRow("Date") << dateVariant(2007, 3, 15) << false << kTypeMismatch;
}

void TestVariant::toBool()
{
    QFETCH(Variant, value);
    QFETCH(bool, expected);
    QFETCH(int, error);
    try {
        const bool result = value.toBool();
        QCOMPARE(kNoError, error);
        QCOMPARE(result, expected);
    } catch (const AutomationError& e) {
        QCOMPARE(e.number(), error);
    }
}

void TestVariant::errorDescriptions()
{
    try {
        Variant("abc").toInt16();
        QFAIL("no error");
    } catch (const AutomationError& e) {
        QCOMPARE(e.description(), QStringLiteral("Type mismatch"));
        QCOMPARE(QByteArray(e.what()), QByteArray("Type mismatch"));
    }
    try {
        Variant("40000").toInt16();
        QFAIL("no error");
    } catch (const AutomationError& e) {
        QCOMPARE(e.description(), QStringLiteral("Overflow"));
    }
}

void TestVariant::leadingNumber_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<double>("expected");

    QTest::newRow("\"True\"") << "True" << 0.0;
    QTest::newRow("\"12abc\"") << "12abc" << 12.0;
    QTest::newRow("\" 1 2\"") << " 1 2" << 12.0;
    QTest::newRow("\"-3.5x\"") << "-3.5x" << -3.5;
    QTest::newRow("\"\"") << "" << 0.0;
    QTest::newRow("\".5\"") << ".5" << 0.5;
    QTest::newRow("\"1.2.3\"") << "1.2.3" << 1.2;
    QTest::newRow("\"1e3x\"") << "1e3x" << 1000.0;
    QTest::newRow("\"2e-1\"") << "2e-1" << 0.2;
    QTest::newRow("dangling exponent") << "12e" << 12.0;
    QTest::newRow("dangling exponent sign") << "12e+" << 12.0;
    QTest::newRow("tab and line end skipped") << "\t4\r\n2" << 42.0;
    QTest::newRow("second sign stops") << "5-3" << 5.0;
    QTest::newRow("sign alone") << "-" << 0.0;
}

void TestVariant::leadingNumber()
{
    QFETCH(QString, text);
    QFETCH(double, expected);
    QCOMPARE(tarnaxe::leadingNumber(text), expected);
}

void TestVariant::parseDate_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("expected"); // invalid when the text is no date

    const auto at = [](int y, int m, int d, QTime time = QTime(0, 0)) {
        return QDateTime(QDate(y, m, d), time);
    };
    QTest::newRow("M/D/YYYY") << "3/15/2007" << at(2007, 3, 15);
    QTest::newRow("ISO") << "2007-03-15" << at(2007, 3, 15);
    QTest::newRow("ISO with time") << "2007-03-15T08:30:05" << at(2007, 3, 15, QTime(8, 30, 5));
    QTest::newRow("1940") << "1/1/1940" << at(1940, 1, 1);
    QTest::newRow("leading zeros") << "01/01/1950" << at(1950, 1, 1);
    QTest::newRow("blanks around") << "  3/15/2007 " << at(2007, 3, 15);
    QTest::newRow("12-hour time") << "3/15/2007 1:05:09 PM" << at(2007, 3, 15, QTime(13, 5, 9));
    QTest::newRow("24-hour time") << "3/15/2007 13:05" << at(2007, 3, 15, QTime(13, 5));
    QTest::newRow("two-digit 07") << "3/15/07" << at(2007, 3, 15);
    QTest::newRow("two-digit 29") << "1/1/29" << at(2029, 1, 1);
    QTest::newRow("two-digit 30") << "1/1/30" << at(1930, 1, 1);
    QTest::newRow("two-digit 99") << "12/31/99" << at(1999, 12, 31);
    QTest::newRow("two-digit leap day 00") << "2/29/00" << at(2000, 2, 29);
    QTest::newRow("February 30") << "2/30/2007" << QDateTime();
    QTest::newRow("month 13") << "13/1/2007" << QDateTime();
    QTest::newRow("not a date") << "not a date" << QDateTime();
    QTest::newRow("empty") << "" << QDateTime();
}

void TestVariant::parseDate()
{
    QFETCH(QString, text);
    QFETCH(QDateTime, expected);
    const QDateTime parsed = Variant::parseDate(text);
    QCOMPARE(parsed.isValid(), expected.isValid());
    if (expected.isValid())
        QCOMPARE(parsed, expected);
}

QTEST_GUILESS_MAIN(TestVariant)
#include "tst_variant.moc"
