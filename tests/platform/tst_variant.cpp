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

} // namespace

Q_DECLARE_METATYPE(Conversions)

class TestVariant : public QObject {
    Q_OBJECT

private slots:
    void conversions_data()
    {
        const Conversions rows[] = {
            {"Empty", Variant(), true, "", "0", "0", "false"},
            {"2.5 to even", 2.5, true, "2.5", "2", "2", "true"},
            {"32767.5 rounds over", 32767.5, true, "32767.5", kOver, "32768", "true"},
            {"smallest Long", -2147483648.0, true, "-2147483648", kOver, "-2147483648", "true"},
            {"\" 12 \"", " 12 ", true, nullptr, "12", "12", "true"},
            {"\"1D2\"", "1D2", true, nullptr, "100", "100", "true"},
            {"\"TRUE\"", "TRUE", false, nullptr, kMismatch, kMismatch, "true"},
            {"\"abc\"", "abc", false, nullptr, kMismatch, kMismatch, kMismatch},
            {"Date, afternoon", Variant(QDateTime(QDate(2007, 3, 15), QTime(13, 5, 9))), false,
             "3/15/2007 1:05:09 PM", kOver, "39157", kMismatch},
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

    // The leading number of a text (L), a date read from text (D), and bytes that may be UTF-8
    // or else Windows-1252 (U).
    void fromText_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("expected"); // a date in ISO form, "" when it is none
        const char* rows[][3] = {
            {"L", " 1 2", "12"},
            {"L", "2e-1x", "0.2"},
            {"L", "12e+", "12"},
            {"L", "\t4\r\n2", "42"},
            {"D", "  3/15/2007 ", "2007-03-15T00:00:00"},
            {"D", "1/1/29", "2029-01-01T00:00:00"},
            {"D", "1/1/30", "1930-01-01T00:00:00"},
            {"D", "2/30/2007", ""},
            {"U", "caf\xC3\xA9 \xE2\x82\xAC", "café €"},
            {"U", "caf\xE9 \x80", "café €"},
            {"U", "ab\xC3", "abÃ"},
        };
        for (const auto& [kind, text, expected] : rows)
            QTest::newRow(qPrintable(QStringLiteral("%1 \"%2\"").arg(kind, text)))
                << QByteArray(kind) + text << QString::fromUtf8(expected);
    }
    void fromText()
    {
        QFETCH(QByteArray, text);
        const QString rest = QString::fromLatin1(text.mid(1));
        const QString got = text[0] == 'L'   ? QString::number(leadingNumber(rest))
                            : text[0] == 'D' ? Variant::parseDate(rest).toString(Qt::ISODate)
                                             : decodeUtf8OrWindows1252(text.mid(1));
        QTEST(got, "expected");
    }

    // Every byte has a character and comes back from it.
    void windows1252()
    {
        QCOMPARE(fromWindows1252("\x80\x93q\x94\x96\x97\x81\x9D\xA0\xE9\xFF"),
                 QStringLiteral("€“q”–—\u0081\u009D\u00A0é\u00FF"));
        QByteArray all(256, Qt::Uninitialized);
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        QCOMPARE(toWindows1252(fromWindows1252(all)), all);
        QCOMPARE(toWindows1252(u"a\u65E5z\U0001F600"), QByteArray("a?z??")); // unmappable
    }
};

QTEST_GUILESS_MAIN(TestVariant)
#include "tst_variant.moc"
