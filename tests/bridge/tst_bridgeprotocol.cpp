// The JSON protocol of the host bridge, run as a pure function against a fake object.

#include "bridge/BridgeProtocol.h"
#include "support/FakeDispatchable.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <cmath>
#include <limits>

using namespace tarnaxe;
using tarnaxe::test::FakeDispatchable;

Q_DECLARE_METATYPE(tarnaxe::Variant)

namespace tarnaxe {
// Readable failure messages for QCOMPARE on Variants.
char* toString(const Variant& v)
{
    static const char* const names[] = {"Empty",  "Boolean", "Integer", "Long",
                                        "Double", "String",  "Date"};
    const QString text =
        v.type() == Variant::Type::Date ? v.dateValue().toString(Qt::ISODateWithMs) : v.toText();
    return qstrdup(QStringLiteral("%1(%2)")
                       .arg(QLatin1String(names[static_cast<int>(v.type())]), text)
                       .toUtf8()
                       .constData());
}
} // namespace tarnaxe

namespace {

QJsonObject parseObject(const QByteArray& text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        qWarning() << "not a JSON object:" << text.left(200);
    return document.object();
}

QJsonObject call(FakeDispatchable& target, const QByteArray& frame)
{
    return parseObject(handleFrame(target, frame));
}

QJsonObject errorAnswer(const QJsonValue& id, int number, const char* description)
{
    return {{QStringLiteral("id"), id},
            {QStringLiteral("error"),
             QJsonObject{{QStringLiteral("number"), number},
                         {QStringLiteral("description"), QString::fromUtf8(description)}}}};
}

QJsonObject resultAnswer(const QJsonValue& id, const QJsonValue& result)
{
    return {{QStringLiteral("id"), id}, {QStringLiteral("result"), result}};
}

QDateTime local(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int ms = 0)
{
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms));
}

} // namespace

class TestBridgeProtocol : public QObject {
    Q_OBJECT

private slots:
    void answers_data();
    void answers();
    void framesThatAreNotCalls_data();
    void framesThatAreNotCalls();
    void argumentsAreConvertedToDeclaredTypes_data();
    void argumentsAreConvertedToDeclaredTypes();
    void byRefArgumentsComeBackAfterTheCall();
    void describeListsMembersInSlotOrderAndEvents();
    void frameOverOneMebibyteIsRefusedUnparsed();
    void valuesRoundTrip_data();
    void valuesRoundTrip();
    void decodeRefusesOtherObjectsAndArrays_data();
    void decodeRefusesOtherObjectsAndArrays();
    void dateWithZoneIsTakenAsLocalTime();
    void eventsAreEncoded();
};

void TestBridgeProtocol::answers_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QJsonObject>("expected");

    const QJsonValue one(1);
    // Calls that reach a member.
    QTest::newRow("method") << QByteArray(R"({"id":1,"member":"Init","kind":"method","args":[]})")
                            << resultAnswer(one, QStringLiteral("OK"));
    QTest::newRow("kind and args default")
        << QByteArray(R"({"id":1,"member":"Init"})") << resultAnswer(one, QStringLiteral("OK"));
    QTest::newRow("get with string and variant")
        << QByteArray(R"({"id":1,"member":"TheNameOf","kind":"get","args":["Photos",1]})")
        << resultAnswer(one, QStringLiteral("Photos#1"));
    QTest::newRow("name in any case")
        << QByteArray(R"({"id":1,"member":"THENAMEOF","kind":"get","args":["Files",2]})")
        << resultAnswer(one, QStringLiteral("Files#2"));
    QTest::newRow("kind in any case") << QByteArray(R"({"id":1,"member":"init","kind":"Method"})")
                                      << resultAnswer(one, QStringLiteral("OK"));
    QTest::newRow("method call reaches a get")
        << QByteArray(R"({"id":1,"member":"TheNameOf","args":["Estimates",3]})")
        << resultAnswer(one, QStringLiteral("Estimates#3"));
    QTest::newRow("get and put of one name: get")
        << QByteArray(R"({"id":1,"member":"caption","kind":"get"})")
        << resultAnswer(one, QString());
    QTest::newRow("get and put of one name: put")
        << QByteArray(R"({"id":1,"member":"Caption","kind":"put","args":["x"]})")
        << resultAnswer(one, QJsonValue::Null);
    QTest::newRow("slot stands for member and kind")
        << QByteArray(R"({"id":1,"slot":2,"args":["PrintDocs",4]})")
        << resultAnswer(one, QStringLiteral("PrintDocs#4"));
    QTest::newRow("slot of a put")
        << QByteArray(R"({"id":1,"slot":4,"args":["y"]})") << resultAnswer(one, QJsonValue::Null);
    QTest::newRow("slot with agreeing member and kind")
        << QByteArray(R"({"id":1,"slot":3,"member":"CAPTION","kind":"get"})")
        << resultAnswer(one, QString());
    QTest::newRow("string id echoed")
        << QByteArray(R"({"id":"call-7","member":"Init"})")
        << resultAnswer(QStringLiteral("call-7"), QStringLiteral("OK"));
    QTest::newRow("fractional id echoed")
        << QByteArray(R"({"id":7.5,"member":"Init"})") << resultAnswer(7.5, QStringLiteral("OK"));
    QTest::newRow("int16 from numeric text")
        << QByteArray(R"({"id":1,"member":"Scale","args":["12"]})") << resultAnswer(one, 12000);
    QTest::newRow("int16 rounds half to even")
        << QByteArray(R"({"id":1,"member":"Scale","args":[2.5]})") << resultAnswer(one, 2000);
    QTest::newRow("boolean from text")
        << QByteArray(R"({"id":1,"member":"Flip","args":["true"]})") << resultAnswer(one, false);
    QTest::newRow("variant result keeps its type")
        << QByteArray(R"({"id":1,"member":"Echo","args":[{"$date":"2007-03-15T00:00:00"}]})")
        << resultAnswer(
               one, QJsonObject{{QStringLiteral("$date"), QStringLiteral("2007-03-15T00:00:00")}});

    // Automation errors, answered with the id.
    const char* const notSupported = "Object doesn't support this property or method";
    const char* const wrongArguments = "Wrong number of arguments or invalid property assignment";
    QTest::newRow("get on a method") << QByteArray(R"({"id":1,"member":"Init","kind":"get"})")
                                     << errorAnswer(one, 438, notSupported);
    QTest::newRow("put on a method") << QByteArray(R"({"id":1,"member":"Init","kind":"put"})")
                                     << errorAnswer(one, 438, notSupported);
    QTest::newRow("put on a get-only property")
        << QByteArray(R"({"id":1,"member":"TheNameOf","kind":"put","args":["a",1,"b"]})")
        << errorAnswer(one, 438, notSupported);
    QTest::newRow("unknown member")
        << QByteArray(R"({"id":1,"member":"Launch"})") << errorAnswer(one, 438, notSupported);
    QTest::newRow("unknown slot") << QByteArray(R"({"id":1,"slot":99})")
                                  << errorAnswer(one, 438, notSupported);
    QTest::newRow("slot and member disagree") << QByteArray(R"({"id":1,"slot":1,"member":"Fail"})")
                                              << errorAnswer(one, 438, notSupported);
    QTest::newRow("slot of a method called as get")
        << QByteArray(R"({"id":1,"slot":1,"kind":"get"})") << errorAnswer(one, 438, notSupported);
    QTest::newRow("too few arguments")
        << QByteArray(R"({"id":1,"member":"TheNameOf","kind":"get","args":["Photos"]})")
        << errorAnswer(one, 450, wrongArguments);
    QTest::newRow("too many arguments") << QByteArray(R"({"id":1,"member":"Init","args":[1]})")
                                        << errorAnswer(one, 450, wrongArguments);
    QTest::newRow("put without its value")
        << QByteArray(R"({"id":1,"member":"Caption","kind":"put"})")
        << errorAnswer(one, 450, wrongArguments);
    QTest::newRow("text for an int16") << QByteArray(R"({"id":1,"member":"Scale","args":["abc"]})")
                                       << errorAnswer(one, 13, "Type mismatch");
    QTest::newRow("int16 overflow") << QByteArray(R"({"id":1,"member":"Scale","args":[40000]})")
                                    << errorAnswer(one, 6, "Overflow");
    QTest::newRow("int32 overflow") << QByteArray(R"({"id":1,"member":"Widen","args":[3e9]})")
                                    << errorAnswer(one, 6, "Overflow");
    QTest::newRow("text that is no boolean")
        << QByteArray(R"({"id":1,"member":"Flip","args":["yes"]})")
        << errorAnswer(one, 13, "Type mismatch");
    QTest::newRow("array argument") << QByteArray(R"({"id":1,"member":"Echo","args":[[1,2]]})")
                                    << errorAnswer(one, 13, "Type mismatch");
    QTest::newRow("member raises an automation error")
        << QByteArray(R"({"id":"f","member":"Fail"})")
        << errorAnswer(QStringLiteral("f"), 5, "Invalid procedure call or argument");
    QTest::newRow("member throws a standard exception")
        << QByteArray(R"({"id":1,"member":"Explode"})") << errorAnswer(one, -1, "disk on fire");
}

void TestBridgeProtocol::answers()
{
    QFETCH(QByteArray, frame);
    QFETCH(QJsonObject, expected);
    FakeDispatchable target;
    QCOMPARE(call(target, frame), expected);
}

void TestBridgeProtocol::framesThatAreNotCalls_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QJsonValue>("id");
    QTest::addColumn<QString>("reason");

    const QJsonValue none(QJsonValue::Null);
    QTest::newRow("not JSON") << QByteArray("{\"id\":1,") << none << "Frame is not valid JSON";
    QTest::newRow("empty") << QByteArray() << none << "Frame is not valid JSON";
    QTest::newRow("array") << QByteArray("[1,2]") << none << "not a JSON object";
    QTest::newRow("no id") << QByteArray(R"({"member":"Init"})") << none << "no id";
    QTest::newRow("null id") << QByteArray(R"({"id":null,"member":"Init"})") << none << "id";
    QTest::newRow("boolean id") << QByteArray(R"({"id":true,"member":"Init"})") << none << "id";
    QTest::newRow("no member or slot") << QByteArray(R"({"id":4})") << QJsonValue(4) << "member";
    QTest::newRow("member not a string")
        << QByteArray(R"({"id":4,"member":1})") << QJsonValue(4) << "member";
    QTest::newRow("args not an array")
        << QByteArray(R"({"id":4,"member":"Init","args":"x"})") << QJsonValue(4) << "args";
    QTest::newRow("unknown kind") << QByteArray(R"({"id":"k","member":"Init","kind":"call"})")
                                  << QJsonValue(QStringLiteral("k")) << "kind";
    QTest::newRow("slot as text") << QByteArray(R"({"id":4,"slot":"2"})") << QJsonValue(4)
                                  << "slot";
    QTest::newRow("fractional slot")
        << QByteArray(R"({"id":4,"slot":1.5})") << QJsonValue(4) << "slot";
}

void TestBridgeProtocol::framesThatAreNotCalls()
{
    QFETCH(QByteArray, frame);
    QFETCH(QJsonValue, id);
    QFETCH(QString, reason);
    FakeDispatchable target;
    const QJsonObject answer = call(target, frame);
    QCOMPARE(answer.value(QLatin1String("id")), id);
    QVERIFY(!answer.contains(QLatin1String("result")));
    const QJsonObject error = answer.value(QLatin1String("error")).toObject();
    QCOMPARE(error.value(QLatin1String("number")), QJsonValue(-1));
    const QString description = error.value(QLatin1String("description")).toString();
    QVERIFY2(description.contains(reason, Qt::CaseInsensitive), qPrintable(description));
    QCOMPARE(target.callCount(), 0);
}

void TestBridgeProtocol::argumentsAreConvertedToDeclaredTypes_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<Variant>("received");

    // String parameters receive the text of any value, as the automation layer makes it.
    QTest::newRow("true to string")
        << QByteArray(R"({"id":1,"member":"Caption","kind":"put","args":[true]})")
        << Variant(QStringLiteral("True"));
    QTest::newRow("number to string")
        << QByteArray(R"({"id":1,"member":"Caption","kind":"put","args":[12]})")
        << Variant(QStringLiteral("12"));
    QTest::newRow("double to string")
        << QByteArray(R"({"id":1,"member":"Caption","kind":"put","args":[2.5]})")
        << Variant(QStringLiteral("2.5"));
    QTest::newRow("null to string")
        << QByteArray(R"({"id":1,"member":"Caption","kind":"put","args":[null]})")
        << Variant(QString());
    QTest::newRow("date to string")
        << QByteArray(
               R"({"id":1,"member":"Caption","kind":"put","args":[{"$date":"2007-03-15T00:00:00"}]})")
        << Variant(QStringLiteral("3/15/2007"));
    QTest::newRow("text to int16")
        << QByteArray(R"({"id":1,"member":"Scale","args":[" 7 "]})") << Variant(qint16(7));
    QTest::newRow("boolean to int16")
        << QByteArray(R"({"id":1,"member":"Scale","args":[true]})") << Variant(qint16(-1));
    QTest::newRow("double to int32")
        << QByteArray(R"({"id":1,"member":"Widen","args":[7.5]})") << Variant(qint32(8));
    QTest::newRow("zero to boolean")
        << QByteArray(R"({"id":1,"member":"Flip","args":[0]})") << Variant(false);
    QTest::newRow("variant keeps a whole number as Long")
        << QByteArray(R"({"id":1,"member":"Echo","args":[3]})") << Variant(qint32(3));
    QTest::newRow("variant keeps a fraction as Double")
        << QByteArray(R"({"id":1,"member":"Echo","args":[0.25]})") << Variant(0.25);
    QTest::newRow("variant keeps null as Empty")
        << QByteArray(R"({"id":1,"member":"Echo","args":[null]})") << Variant();
}

void TestBridgeProtocol::argumentsAreConvertedToDeclaredTypes()
{
    QFETCH(QByteArray, frame);
    QFETCH(Variant, received);
    FakeDispatchable target;
    const QJsonObject answer = call(target, frame);
    QVERIFY2(!answer.contains(QLatin1String("error")), QJsonDocument(answer).toJson().constData());
    QCOMPARE(target.lastArgs().size(), 1);
    QCOMPARE(target.lastArgs().first(), received);
}

void TestBridgeProtocol::byRefArgumentsComeBackAfterTheCall()
{
    FakeDispatchable target;
    QJsonObject answer = call(target, R"({"id":1,"member":"Swap","args":[1,"b"]})");
    QCOMPARE(answer.value(QLatin1String("result")), QJsonValue(QJsonValue::Null));
    QCOMPARE(answer.value(QLatin1String("byref")), QJsonValue(QJsonArray{QStringLiteral("b"), 1}));

    // A member that does not report its arguments hands back what it was given, as
    // converted to the parameter's type.
    answer = call(target, R"({"id":2,"member":"Keep","args":[true]})");
    QCOMPARE(answer.value(QLatin1String("byref")), QJsonValue(QJsonArray{QStringLiteral("True")}));

    // Members without by-reference parameters answer no list.
    answer = call(target, R"({"id":3,"member":"Echo","args":[1]})");
    QVERIFY(!answer.contains(QLatin1String("byref")));
}

void TestBridgeProtocol::describeListsMembersInSlotOrderAndEvents()
{
    FakeDispatchable target;
    const QJsonObject answer = call(target, R"({"id":"d","member":"$describe"})");
    QCOMPARE(answer.value(QLatin1String("id")), QJsonValue(QStringLiteral("d")));
    const QJsonObject description = answer.value(QLatin1String("result")).toObject();
    QCOMPARE(description, describe(target));

    const QJsonArray members = description.value(QLatin1String("members")).toArray();
    QCOMPARE(members.size(), target.members().size());
    for (qsizetype i = 0; i < members.size(); ++i)
        QCOMPARE(members[i].toObject().value(QLatin1String("slot")), QJsonValue(int(i + 1)));

    const QJsonObject theNameOf{
        {QStringLiteral("slot"), 2},
        {QStringLiteral("name"), QStringLiteral("TheNameOf")},
        {QStringLiteral("kind"), QStringLiteral("get")},
        {QStringLiteral("params"),
         QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("sList")},
                                {QStringLiteral("type"), QStringLiteral("string")},
                                {QStringLiteral("byref"), false}},
                    QJsonObject{{QStringLiteral("name"), QStringLiteral("vIndex")},
                                {QStringLiteral("type"), QStringLiteral("variant")},
                                {QStringLiteral("byref"), false}}}},
        {QStringLiteral("result"), QStringLiteral("string")}};
    QCOMPARE(members[1].toObject(), theNameOf);
    const QJsonObject put = members[FakeDispatchable::CaptionPut - 1].toObject();
    QCOMPARE(put.value(QLatin1String("kind")), QJsonValue(QStringLiteral("put")));
    const QJsonObject scale = members[FakeDispatchable::Scale - 1].toObject();
    QCOMPARE(
        scale.value(QLatin1String("params")).toArray()[0].toObject().value(QLatin1String("type")),
        QJsonValue(QStringLiteral("int16")));
    const QJsonObject swap = members[FakeDispatchable::Swap - 1].toObject();
    QCOMPARE(
        swap.value(QLatin1String("params")).toArray()[1].toObject().value(QLatin1String("byref")),
        QJsonValue(true));

    const QJsonArray events{
        QJsonObject{{QStringLiteral("name"), QStringLiteral("PublishInfo")},
                    {QStringLiteral("params"), QJsonArray()}},
        QJsonObject{{QStringLiteral("name"), QStringLiteral("IOStatus")},
                    {QStringLiteral("params"),
                     QJsonArray{QStringLiteral("sStatus"), QStringLiteral("sMessage")}}}};
    QCOMPARE(description.value(QLatin1String("events")), QJsonValue(events));
}

void TestBridgeProtocol::frameOverOneMebibyteIsRefusedUnparsed()
{
    FakeDispatchable target;
    // A valid call padded with blanks to the limit is still answered.
    QByteArray frame = R"({"id":1,"member":"Init"})";
    frame.insert(1, QByteArray(kMaxCallFrameBytes - frame.size(), ' '));
    QCOMPARE(frame.size(), kMaxCallFrameBytes);
    QCOMPARE(call(target, frame), resultAnswer(1, QStringLiteral("OK")));
    QCOMPARE(target.callCount(), 1);

    // One byte more and the same call is refused without being run.
    frame.insert(1, ' ');
    QCOMPARE(call(target, frame),
             errorAnswer(QJsonValue::Null, -1, "Frame too large: 1048577 bytes (limit 1048576)"));
    QCOMPARE(target.callCount(), 1);
}

void TestBridgeProtocol::valuesRoundTrip_data()
{
    QTest::addColumn<Variant>("value");
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<Variant>("decoded");

    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    QTest::newRow("empty") << Variant() << QByteArray("null") << Variant();
    QTest::newRow("true") << Variant(true) << QByteArray("true") << Variant(true);
    QTest::newRow("false") << Variant(false) << QByteArray("false") << Variant(false);
    QTest::newRow("integer becomes long")
        << Variant(qint16(-7)) << QByteArray("-7") << Variant(qint32(-7));
    QTest::newRow("long max") << Variant(qint32(2147483647)) << QByteArray("2147483647")
                              << Variant(qint32(2147483647));
    QTest::newRow("long min") << Variant(qint32(-2147483647 - 1)) << QByteArray("-2147483648")
                              << Variant(qint32(-2147483647 - 1));
    QTest::newRow("double") << Variant(2.5) << QByteArray("2.5") << Variant(2.5);
    QTest::newRow("small double") << Variant(1e-9) << QByteArray("1e-09") << Variant(1e-9);
    QTest::newRow("whole double becomes long")
        << Variant(3.0) << QByteArray("3") << Variant(qint32(3));
    QTest::newRow("whole double beyond 32 bits")
        << Variant(2147483648.0) << QByteArray("2147483648") << Variant(2147483648.0);
    QTest::newRow("huge double") << Variant(1e300) << QByteArray("1e+300") << Variant(1e300);
    QTest::newRow("nan is null") << Variant(nan) << QByteArray("null") << Variant();
    QTest::newRow("infinity is null") << Variant(-inf) << QByteArray("null") << Variant();
    QTest::newRow("string") << Variant(QStringLiteral("Ä \"q\" ✓"))
                            << QByteArray("\"Ä \\\"q\\\" ✓\"")
                            << Variant(QStringLiteral("Ä \"q\" ✓"));
    QTest::newRow("empty string") << Variant(QString()) << QByteArray("\"\"") << Variant(QString());
    QTest::newRow("date") << Variant(local(2007, 3, 15))
                          << QByteArray(R"({"$date":"2007-03-15T00:00:00"})")
                          << Variant(local(2007, 3, 15));
    QTest::newRow("date and time") << Variant(local(1999, 12, 31, 23, 59, 58))
                                   << QByteArray(R"({"$date":"1999-12-31T23:59:58"})")
                                   << Variant(local(1999, 12, 31, 23, 59, 58));
    QTest::newRow("milliseconds") << Variant(local(2024, 2, 29, 8, 5, 1, 250))
                                  << QByteArray(R"({"$date":"2024-02-29T08:05:01.250"})")
                                  << Variant(local(2024, 2, 29, 8, 5, 1, 250));
}

void TestBridgeProtocol::valuesRoundTrip()
{
    QFETCH(Variant, value);
    QFETCH(QByteArray, json);
    QFETCH(Variant, decoded);
    const QByteArray text =
        QJsonDocument(QJsonArray{encodeValue(value)}).toJson(QJsonDocument::Compact);
    QCOMPARE(text, '[' + json + ']');
    const QJsonArray back = QJsonDocument::fromJson(text).array();
    QCOMPARE(decodeValue(back.first()), decoded);
    QCOMPARE(decodeValue(back.first()).type(), decoded.type());
}

void TestBridgeProtocol::decodeRefusesOtherObjectsAndArrays_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("array") << QByteArray("[[1]]");
    QTest::newRow("empty array") << QByteArray("[[]]");
    QTest::newRow("plain object") << QByteArray(R"([{"a":1}])");
    QTest::newRow("date not text") << QByteArray(R"([{"$date":5}])");
    QTest::newRow("date not a date") << QByteArray(R"([{"$date":"15.03.2007"}])");
    QTest::newRow("date with extra key")
        << QByteArray(R"([{"$date":"2007-03-15T00:00:00","x":1}])");
}

void TestBridgeProtocol::decodeRefusesOtherObjectsAndArrays()
{
    QFETCH(QByteArray, json);
    const QJsonValue value = QJsonDocument::fromJson(json).array().first();
    try {
        decodeValue(value);
        QFAIL("no error");
    } catch (const AutomationError& e) {
        QCOMPARE(e.number(), 13);
    }
}

void TestBridgeProtocol::dateWithZoneIsTakenAsLocalTime()
{
    const Variant v =
        decodeValue(QJsonObject{{QStringLiteral("$date"), QStringLiteral("2007-03-15T12:00:00Z")}});
    QCOMPARE(v.type(), Variant::Type::Date);
    QCOMPARE(v.dateValue(), QDateTime(QDate(2007, 3, 15), QTime(12, 0), Qt::UTC));
    QCOMPARE(v.dateValue().timeSpec(), Qt::LocalTime);
}

void TestBridgeProtocol::eventsAreEncoded()
{
    QCOMPARE(encodeEvent(QStringLiteral("IOStatus"),
                         {QStringLiteral("BUSY"), QStringLiteral("Save Collected Information")}),
             QByteArray(R"({"event":"IOStatus","args":["BUSY","Save Collected Information"]})"));
    QCOMPARE(encodeEvent(QStringLiteral("PublishInfo"), {}),
             QByteArray(R"({"event":"PublishInfo","args":[]})"));
}

QTEST_GUILESS_MAIN(TestBridgeProtocol)
#include "tst_bridgeprotocol.moc"
