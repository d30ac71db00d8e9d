// The life of IO objects: Init and the shared session, the helper pulse and PublishInfo,
// CleanUp, and what destruction undoes.

#include "automation/IO.h"
#include "support/Fakes.h"
#include "support/TestAgent.h"

#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

qint16 masterValue(const TestAgent& agent)
{
    QFile file(agent.home.cacheHome() + QStringLiteral("/FerroClient/Master.dat"));
    if (!file.open(QIODevice::ReadOnly))
        return -999;
    const QByteArray bytes = file.readAll();
    return bytes.size() < 2 ? qint16(-998) : qint16(quint8(bytes[0]) | (quint8(bytes[1]) << 8));
}

constexpr int kFastPulse = 20;

} // namespace

class TestIOSession : public QObject {
    Q_OBJECT

private slots:
    void initPreparesTheSessionOncePerProcess()
    {
        TestAgent agent;
        agent.lists.appendPhoto(QStringLiteral("/old.jpg"), QStringLiteral("old"));
        IO first(agent.context);
        QCOMPARE(first.CommandStatus(), QString());
        first.Init();
        QCOMPARE(first.CommandStatus(), QStringLiteral("OK"));
        QVERIFY(agent.state.SessionReady);
        QCOMPARE(agent.state.SessionPath,
                 agent.home.cacheHome() + QStringLiteral("/FerroClient/IEUser1"));
        QCOMPARE(masterValue(agent), qint16(2));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(0));

        // Another object of the same process (a second page) finds the session ready: the
        // counter does not move and the lists keep what the first page attached.
        agent.lists.appendFile(QStringLiteral("/keep.txt"));
        IO second(agent.context);
        second.Init();
        first.Init();
        QCOMPARE(masterValue(agent), qint16(2));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Files")), qint16(1));
        QVERIFY(second.isInitialised());
    }

    void failedInitKeepsTheReasonAndCanBeRetried()
    {
        TestAgent agent;
        QFile blocker(agent.home.cacheHome() + QStringLiteral("/FerroClient"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        IO io(agent.context);
        QSignalSpy publish(&io, &IO::PublishInfo);
        io.Init();
        QCOMPARE(io.CommandStatus(), QStringLiteral("Cannot create session path"));
        QVERIFY(!agent.state.SessionReady);
        QVERIFY(!io.isInitialised());

        QVERIFY(QFile::remove(blocker.fileName()));
        io.Init();
        QCOMPARE(io.CommandStatus(), QStringLiteral("OK"));
        QVERIFY(io.isInitialised());
    }

    void unknownShellFolderFailsInit()
    {
        TestAgent agent;
        IO io(agent.context);
        io.setTempFileLocation(QStringLiteral("77"));
        io.Init();
        QCOMPARE(io.CommandStatus(), QStringLiteral("Cannot create session path"));
        io.setTempFileLocation(QStringLiteral("28"));
        io.Init();
        QCOMPARE(io.CommandStatus(), QStringLiteral("OK"));
        QVERIFY(agent.state.SessionPath.startsWith(agent.home.dataHome()));
    }

    void publishInfoOnlyAfterThisObjectsInit()
    {
        TestAgent agent(kFastPulse);
        FakePrintCapture capture;
        agent.context.services.printCapture = &capture;
        IO io(agent.context);
        IO other(agent.context);
        QSignalSpy publish(&io, &IO::PublishInfo);
        QSignalSpy otherPublish(&other, &IO::PublishInfo);
        QTest::qWait(kFastPulse * 6);
        QCOMPARE(publish.size(), 0);
        // The pulse runs print capture's poll even before Init.
        QVERIFY(capture.polls >= 2);

        io.Init();
        QVERIFY(publish.wait(1000));
        QTRY_VERIFY(publish.size() >= 2);
        QCOMPARE(otherPublish.size(), 0);

        QVERIFY(io.CleanUp());
        const auto seen = publish.size();
        QTest::qWait(kFastPulse * 5);
        QCOMPARE(publish.size(), seen);
    }

    void cleanUpUnloadsEveryForm()
    {
        TestAgent agent;
        IO io(agent.context);
        for (const char* name : {"frmImagePicker", "frmEMSSelect", "frmLocalSetup"})
            agent.forms.registerFactory(QString::fromLatin1(name), [] { return new QObject; });
        io.SelectPhotos();
        io.SelectEstimate();
        io.PerformSetup();
        QCOMPARE(io.GetFormStatus(QStringLiteral("ImagePicker")), QStringLiteral("LOADED"));
        QVERIFY(io.CleanUp());
        QCOMPARE(agent.ui.closed.size(), 3);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(io.GetFormStatus(QStringLiteral("ImagePicker")), QStringLiteral("UNLOADED"));
        QCOMPARE(io.GetFormStatus(QStringLiteral("EstimatePicker")), QStringLiteral("UNLOADED"));
    }

    void destructionEmptiesTheListsAndStopsCapture()
    {
        TestAgent agent;
        FakePrintCapture capture;
        agent.context.services.printCapture = &capture;
        agent.state.ScaleFactor = 64000;
        {
            IO io(agent.context);
            agent.lists.appendPhoto(QStringLiteral("/p.jpg"), QStringLiteral("p"));
            agent.lists.appendPrintDoc(QStringLiteral("/d.pdf"), QStringLiteral("d"));
            agent.lists.appendFile(QStringLiteral("/f.txt"));
            agent.lists.appendEstimate(EstimateRecord{});
        }
        QCOMPARE(capture.disables, 1);
        for (const char* list : {"Photos", "PrintDocs", "Files", "Estimates"})
            QCOMPARE(agent.lists.countOf(QString::fromLatin1(list)), qint16(0));
        // Property values are process-wide and outlive the object.
        IO next(agent.context);
        QCOMPARE(next.ScaleFactor(), Variant(qint32(64000)));
    }
};

QTEST_GUILESS_MAIN(TestIOSession)
#include "tst_iosession.moc"
