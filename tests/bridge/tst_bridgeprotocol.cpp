// The JSON protocol of the host bridge, run as a pure function against a fake object.

#include "bridge/BridgeProtocol.h"
#include "support/FakeDispatchable.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace tarnaxe;
using tarnaxe::test::FakeDispatchable;

namespace {

QJsonObject call(FakeDispatchable& target, const QByteArray& frame)
{
    return QJsonDocument::fromJson(handleFrame(target, frame)).object();
}

// name | frame | the answer, or "error <number> <start of the description>"
const QByteArray kCalls = R"(
method, kind and args left out | {"id":1,"member":"Init"} | {"id":1,"result":"OK"}
names and kinds in any case | {"id":1,"member":"THENAMEOF","kind":"Get","args":["Files",2]} | {"id":1,"result":"Files#2"}
a method call reaches a get | {"id":1,"member":"TheNameOf","args":["Estimates",3]} | {"id":1,"result":"Estimates#3"}
put of a name that is also a get | {"id":1,"member":"Caption","kind":"put","args":["x"]} | {"id":1,"result":null}
slot for member and kind | {"id":1,"slot":2,"args":["PrintDocs",4]} | {"id":1,"result":"PrintDocs#4"}
slot with agreeing member | {"id":1,"slot":3,"member":"CAPTION","kind":"get"} | {"id":1,"result":""}
string id | {"id":"c-7","member":"Init"} | {"id":"c-7","result":"OK"}
int16 from text | {"id":1,"member":"Scale","args":[" 7 "]} | {"id":1,"result":7000}
int16 from true | {"id":1,"member":"Scale","args":[true]} | {"id":1,"result":-1000}
boolean from text | {"id":1,"member":"Flip","args":["true"]} | {"id":1,"result":false}
string from boolean | {"id":1,"member":"Keep","args":[true]} | {"id":1,"result":null,"byref":["True"]}
string from date | {"id":1,"member":"Keep","args":[{"$date":"2007-03-15T00:00:00"}]} | {"id":1,"result":null,"byref":["3/15/2007"]}
by-reference values after the call | {"id":1,"member":"Swap","args":[1,"b"]} | {"id":1,"result":null,"byref":["b",1]}
whole numbers stay whole | {"id":1,"member":"Echo","args":[3]} | {"id":1,"result":3}
fractions stay | {"id":1,"member":"Echo","args":[0.25]} | {"id":1,"result":0.25}
dates keep their milliseconds | {"id":1,"member":"Echo","args":[{"$date":"2024-02-29T08:05:01.250"}]} | {"id":1,"result":{"$date":"2024-02-29T08:05:01.250"}}
get of a method | {"id":1,"member":"Init","kind":"get"} | error 438 Object doesn't support this property or method
put of a get-only property | {"id":1,"member":"TheNameOf","kind":"put","args":["a",1,"b"]} | error 438
unknown member | {"id":1,"member":"Launch"} | error 438
slot and member disagree | {"id":1,"slot":1,"member":"Fail"} | error 438
too few arguments | {"id":1,"member":"TheNameOf","args":["Photos"]} | error 450 Wrong number of arguments or invalid property assignment
put without its value | {"id":1,"member":"Caption","kind":"put"} | error 450
int16 overflow | {"id":1,"member":"Scale","args":[40000]} | error 6 Overflow
text that is no boolean | {"id":1,"member":"Flip","args":["yes"]} | error 13 Type mismatch
array | {"id":1,"member":"Echo","args":[[1]]} | error 13
date not a date | {"id":1,"member":"Echo","args":[{"$date":"15.03.2007"}]} | error 13
automation error of the member | {"id":"f","member":"Fail"} | error 5 Invalid procedure call or argument
exception of the member | {"id":1,"member":"Explode"} | error -1 disk on fire
not JSON | {"id":1, | error -1 Frame is not valid JSON
not an object | [1] | error -1 Frame is not a JSON object
no id | {"member":"Init"} | error -1 Call has no id
boolean id | {"id":true,"member":"Init"} | error -1 id must be a number or a string
no member or slot | {"id":1} | error -1 Call has neither member nor slot
member not a string | {"id":1,"member":1} | error -1 member must be a string
args not an array | {"id":1,"member":"Init","args":"x"} | error -1 args must be an array
unknown kind | {"id":1,"member":"Init","kind":"call"} | error -1 Unknown kind
fractional slot | {"id":1,"slot":1.5} | error -1 slot must be a whole number
)";

} // namespace

class TestBridgeProtocol : public QObject {
    Q_OBJECT

private slots:
    void answers_data()
    {
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QByteArray>("expected");
        for (const QByteArray& line : kCalls.trimmed().split('\n')) {
            const QList<QByteArray> cells = line.split('|');
            QTest::newRow(cells[0].trimmed()) << cells[1].trimmed() << cells[2].trimmed();
        }
        // Sent as universal time, taken as the local time of that instant.
        const QByteArray utc =
            QDateTime(QDate(2007, 3, 15), QTime(12, 0)).toUTC().toString(Qt::ISODate).toLatin1();
        QTest::newRow("date with a zone")
            << "{\"id\":1,\"member\":\"Echo\",\"args\":[{\"$date\":\"" + utc + "\"}]}"
            << QByteArray(R"({"id":1,"result":{"$date":"2007-03-15T12:00:00"}})");
    }
    void answers()
    {
        QFETCH(QByteArray, frame);
        QFETCH(QByteArray, expected);
        FakeDispatchable target;
        const QJsonObject answer = call(target, frame);
        if (!expected.startsWith("error")) {
            QCOMPARE(answer, QJsonDocument::fromJson(expected).object());
            return;
        }
        // The id comes back when it is a number or a string.
        const QJsonValue id = QJsonDocument::fromJson(frame).object().value("id");
        QCOMPARE(answer.value("id"), id.isDouble() || id.isString() ? id : QJsonValue());
        const QList<QByteArray> words = expected.split(' ');
        QCOMPARE(answer.value("error")["number"], QJsonValue(words[1].toInt()));
        const QString description = answer.value("error")["description"].toString();
        QVERIFY2(description.startsWith(expected.mid(words[0].size() + words[1].size() + 2)),
                 qPrintable(description));
        QVERIFY(!answer.contains("result"));
        // A frame that is no call is never run.
        if (words[1] == "-1" && !frame.contains("Explode"))
            QCOMPARE(target.callCount(), 0);
    }
};

QTEST_GUILESS_MAIN(TestBridgeProtocol)
#include "tst_bridgeprotocol.moc"
