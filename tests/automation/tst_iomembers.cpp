// IO's selection, transfer and estimate members: their refusals, the transfer start and
// the status road, and the members whose subsystems the agent may lack.

#include "automation/IO.h"
#include "support/Fakes.h"
#include "support/TestAgent.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

int errorNumberOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const AutomationError& e) {
        return e.number();
    }
    return 0;
}

} // namespace

class TestIOMembers : public QObject {
    Q_OBJECT

private slots:
    void vinChecks()
    {
        TestAgent agent;
        IO io(agent.context);
        QCOMPARE(io.SelectPhotoByVIN(QStringLiteral("   ")), QString());
        QCOMPARE(agent.ui.lastText(), QStringLiteral("VIN cannot be empty"));
        QCOMPARE(agent.ui.boxes.last().title, QStringLiteral("Cannot proceed"));

        QCOMPARE(io.SelectPhotoByVIN(QStringLiteral("1HG-CM82633A")), QString());
        QCOMPARE(agent.ui.lastText(),
                 QStringLiteral("VIN photo matching only works on alphanumeric characters"));
        QCOMPARE(agent.ui.boxes.last().title, QStringLiteral("Cannot proceed"));
        QVERIFY(agent.ui.shown.isEmpty());

        agent.forms.registerFactory(QStringLiteral("frmImagePicker"), [] { return new QObject; });
        QCOMPARE(io.SelectPhotoByVIN(QStringLiteral("  1hgcm82633a ")), QString());
        QCOMPARE(agent.state.PhotoVINMatch, QStringLiteral("1HGCM82633A"));
        QCOMPARE(agent.state.PhotoSelectMode, QStringLiteral("2"));
        QCOMPARE(agent.ui.shown, QStringList{QStringLiteral("frmImagePicker")});
        QCOMPARE(agent.ui.boxes.size(), 2);

        // A picker that is open already is only brought to the front.
        io.SelectPhotos();
        QCOMPARE(agent.state.PhotoSelectMode, QStringLiteral("0"));
        QCOMPARE(agent.ui.shown.size(), 1);
        QCOMPARE(agent.ui.raised.count(QStringLiteral("frmImagePicker")), 2);
        // The settings were loaded, which plants the defaults in a new file.
        QVERIFY(QFile::exists(agent.settingsFile()));
    }

    void workfilePhotosAreRefused()
    {
        TestAgent agent;
        IO io(agent.context);
        QCOMPARE(io.SelectWorkfilePhotos(QStringLiteral("E1"), QStringLiteral(".jpg")), QString());
        QCOMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.lastText(), QStringLiteral("Workfile image selection is not enabled"));
        QCOMPARE(agent.ui.boxes.last().title, QStringLiteral("Cannot perform request"));
        QCOMPARE(agent.ui.boxes.last().icon, MessageIcon::Critical);
    }

    void transferStartAndStatusRoad()
    {
        TestAgent agent;
        IO io(agent.context);
        QPointer<FakeTransferForm> form;
        agent.forms.registerFactory(QStringLiteral("frmIO"), [&form] {
            form = new FakeTransferForm;
            return form.data();
        });
        QSignalSpy statuses(&io, &IO::IOStatus);
        QSignalSpy events(&io, &Dispatchable::eventRaised);

        QVERIFY(io.DeliverAssignment(Variant("{A-1}"), Variant("claims.example:8080")));
        QCOMPARE(agent.state.request.IOCommand, QStringLiteral("READ"));
        QCOMPARE(agent.state.request.AssignmentGUID, QStringLiteral("{A-1}"));
        QCOMPARE(agent.state.request.RemoteServer, QStringLiteral("claims.example:8080"));
        QCOMPARE(io.LastIOStatusID(), QStringLiteral("BUSY"));
        QCOMPARE(io.LastIOStatusMessage(), QStringLiteral("Loading"));
        QCOMPARE(statuses.size(), 0);
        QVERIFY(form);
        QCOMPARE(agent.ui.shown, QStringList{QStringLiteral("frmIO")});

        form->report(QStringLiteral("BUSY"), QStringLiteral("Write Assignment to Local Computer"));
        form->report(QStringLiteral("ERROR"), QStringLiteral("Error Occurred"));
        QCOMPARE(statuses.size(), 2);
        QCOMPARE(statuses.last(),
                 (QList<QVariant>{QStringLiteral("ERROR"), QStringLiteral("Error Occurred")}));
        QCOMPARE(io.LastIOStatusID(), QStringLiteral("ERROR"));
        QCOMPARE(io.LastIOStatusMessage(), QStringLiteral("Error Occurred"));
        QCOMPARE(events.size(), 2);
        QCOMPARE(events.first().at(0).toString(), QStringLiteral("IOStatus"));

        // A second call while the form is loaded overwrites the request and only brings
        // the running form to the front.
        FakeTransferForm* first = form;
        QVERIFY(io.MoveFilesToServer(Variant("{A-2}"), Variant("{W}"), Variant(qint32(3)),
                                     Variant("10.0.0.5")));
        QCOMPARE(form.data(), first);
        QCOMPARE(agent.ui.shown.size(), 1);
        QCOMPARE(agent.state.request.IOCommand, QStringLiteral("WRITE"));
        QCOMPARE(agent.state.request.WorkerTypeID, QStringLiteral("3"));
        QCOMPARE(agent.state.request.RemoteServer, QStringLiteral("10.0.0.5"));
        QCOMPARE(io.LastIOStatusID(), QStringLiteral("ERROR"));

        // Once it has unloaded, the next call makes a new form.
        delete form;
        QVERIFY(io.MoveFilesToServer(Variant("{A-3}"), Variant(), Variant(), Variant("h")));
        QVERIFY(form && form.data() != nullptr);
        QCOMPARE(agent.ui.shown.size(), 2);
        QCOMPARE(io.LastIOStatusID(), QStringLiteral("BUSY"));
        delete form;
    }

    void mieDeliveryRefusals()
    {
        TestAgent agent;
        IO io(agent.context);
        int forms = 0;
        agent.forms.registerFactory(QStringLiteral("frmIO"), [&forms] {
            ++forms;
            return new FakeTransferForm;
        });
        QVERIFY(!io.DeliverMIEFile(Variant("{E}"), Variant("srv")));
        QCOMPARE(agent.ui.lastText(), QStringLiteral("MIE transfer is not enabled"));
        QCOMPARE(agent.ui.boxes.last().icon, MessageIcon::Critical);

        io.setEnableMIE(true);
        QVERIFY(!io.DeliverMIEFile(Variant("{E}"), Variant("srv")));
        QCOMPARE(agent.ui.lastText(), QStringLiteral("MIE destination path is not valid"));
        QCOMPARE(agent.ui.boxes.last().title, QStringLiteral("Cannot perform request"));
        QCOMPARE(forms, 0);

        const QString folder = agent.home.path() + QStringLiteral("/mie-in");
        QVERIFY(QDir().mkpath(folder));
        agent.setSetting(QStringLiteral("MIEDelivery"), folder);
        QVERIFY(!io.DeliverMIEFile(Variant("{E}"), Variant("srv")));
        QCOMPARE(forms, 1);
        QCOMPARE(agent.state.request.IOCommand, QStringLiteral("READMIE"));
        QCOMPARE(agent.state.request.EstimateGUID, QStringLiteral("{E}"));
        QCOMPARE(agent.ui.boxes.size(), 2);
        agent.forms.unloadAll();
    }

    void missingSubsystemsAnswerActionNotSupported()
    {
        TestAgent agent;
        IO io(agent.context);
        QCOMPARE(errorNumberOf([&] { io.SelectPhotos(); }), 445);
        QCOMPARE(errorNumberOf([&] { io.SelectEstimate(); }), 445);
        QCOMPARE(errorNumberOf([&] { io.AutoSelectEstimate(Variant("C1"), Variant("VIN")); }), 445);
        QCOMPARE(agent.state.AutoClaim, QStringLiteral("C1"));
        QVERIFY(agent.state.AutoSelectMode);
        QCOMPARE(errorNumberOf([&] { io.PerformSetup(); }), 445);
        QCOMPARE(errorNumberOf([&] { io.EnablePrintCapture(); }), 445);
        QCOMPARE(agent.state.PDFPrinterName, QStringLiteral("Ostrova IT"));
        QCOMPARE(errorNumberOf([&] { io.MoveFilesToServer({}, {}, {}, {}); }), 445);
        QCOMPARE(io.LastIOStatusID(), QString());
        const QString env = agent.makeFile(QStringLiteral("est/0001.ENV"), 10);
        QCOMPARE(errorNumberOf([&] { io.ManualSelectEMS(Variant(env)); }), 445);
        QCOMPARE(agent.lists.countOf(QStringLiteral("Estimates")), qint16(0));
    }

    void printCaptureIsEnabledWithThePrinterName()
    {
        TestAgent agent;
        FakePrintCapture capture;
        agent.context.services.printCapture = &capture;
        IO io(agent.context);
        QVERIFY(io.EnablePrintCapture());
        io.setPDFPrinterName(QStringLiteral(" Back Office "));
        QVERIFY(io.EnablePrintCapture());
        QCOMPARE(capture.enabled,
                 (QStringList{QStringLiteral("Ostrova IT"), QStringLiteral("Back Office")}));
    }

    void basicEstimateInfo()
    {
        TestAgent agent;
        FakeEstimateReader reader;
        reader.answer.vehicle = QStringLiteral("2004 HOND ACCORD");
        reader.answer.claimNumber = QStringLiteral("CLM-77 ");
        reader.answer.policyNumber = QStringLiteral("POL-1");
        reader.answer.insured = QStringLiteral("Doe, Jane");
        reader.answer.estimateFileId = QStringLiteral("EST42");
        reader.answer.supplementNumber = QStringLiteral("S01");
        reader.answer.owner = QStringLiteral("Roe, Rick");
        IO io(agent.context);

        QList<Variant> args(8, Variant(qint32(9)));
        args[0] = QStringLiteral("/x/0001.AD1");
        QCOMPARE(errorNumberOf([&] { io.GetBasicEstimateInfo(args); }), 0);
        const QString e = QStringLiteral("<error>");
        QCOMPARE(args, (QList<Variant>{QStringLiteral("/x/0001.AD1"), e, e, e, e, QString(),
                                       QString(), e}));

        agent.context.services.estimates = &reader;
        args[0] = QStringLiteral("/x/0001.env");
        io.GetBasicEstimateInfo(args);
        QCOMPARE(reader.calls, QStringList{QStringLiteral("basic /x/0001.env 1940-01-01")});
        QCOMPARE(args,
                 (QList<Variant>{QStringLiteral("/x/0001.env"), QStringLiteral("2004 HOND ACCORD"),
                                 QStringLiteral("CLM-77 "), QStringLiteral("POL-1"),
                                 QStringLiteral("Doe, Jane"), QStringLiteral("EST42"),
                                 QStringLiteral("S01"), QStringLiteral("Roe, Rick")}));

        reader.succeed = false;
        io.GetBasicEstimateInfo(args);
        QCOMPARE(args[1], Variant(e));
        QCOMPARE(args[5], Variant(QString()));
    }

    void estimateFieldAndManualSelection()
    {
        TestAgent agent;
        FakeEstimateReader reader;
        agent.context.services.estimates = &reader;
        IO io(agent.context);

        QVERIFY(!io.Get_Estimate_Field(Variant("CLM_NO")));
        QCOMPARE(io.EstimateField(), Variant(QString()));
        QVERIFY(reader.calls.isEmpty());

        const QString empty = agent.makeFile(QStringLiteral("est/empty.ENV"), 0);
        QVERIFY(!io.ManualSelectEMS(Variant(empty)));
        QVERIFY(!io.ManualSelectEMS(Variant(agent.home.path() + QStringLiteral("/none.ENV"))));
        QVERIFY(reader.calls.isEmpty());

        const QString env = agent.makeFile(QStringLiteral("est/0001.ENV"), 100);
        QVERIFY(io.ManualSelectEMS(Variant(env)));
        QCOMPARE(reader.calls.last(),
                 QStringLiteral("basic ") + env + QStringLiteral(" 1950-01-01"));
        QCOMPARE(agent.lists.nameOf(QStringLiteral("Estimates"), 1), env);

        QVERIFY(io.Get_Estimate_Field(Variant("CLM_NO")));
        QCOMPARE(io.EstimateField(), Variant("value of CLM_NO"));
        reader.succeed = false;
        QVERIFY(!io.Get_Estimate_Field(Variant("CLM_NO")));
        QCOMPARE(io.EstimateField(), Variant(QString()));
        QVERIFY(!io.ManualSelectEMS(Variant(env)));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Estimates")), qint16(1));
    }

    void zapLocalFileAlwaysAnswersFalse()
    {
        TestAgent agent;
        IO io(agent.context);
        agent.lists.appendFile(QStringLiteral("/a"));
        agent.lists.appendFile(QStringLiteral("/b"));
        QVERIFY(!io.ZAPLocalFile(QStringLiteral("Files"), Variant("1")));
        QCOMPARE(agent.lists.nameOf(QStringLiteral("Files"), 1), QStringLiteral("/b"));
        QVERIFY(!io.ZAPLocalFile(QStringLiteral("Files"), Variant(qint32(9))));
        QVERIFY(!io.ZAPLocalFile(QStringLiteral("Nothing"), Variant(qint32(1))));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Files")), qint16(1));
        io.setTheCaptionOf(QStringLiteral("Files"), Variant(1.0), Variant(qint32(12)));
        QCOMPARE(io.TheCaptionOf(QStringLiteral("Files"), Variant("1")), Variant("12"));
    }
};

QTEST_GUILESS_MAIN(TestIOMembers)
#include "tst_iomembers.moc"
