// IO with fakes for its subsystems: members called by name through its own dispatch, as
// the bridge calls them; the session, the helper pulse, the transfer form and the refusals.

#include "automation/IO.h"
#include "support/Fakes.h"
#include "support/TestAgent.h"
#include "support/VariantText.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

Q_DECLARE_METATYPE(tarnaxe::Variant)

namespace {

// Calls a member by name as a page does; "setX" is the put of X.
Variant call(IO& io, QString name, const QList<Variant>& args = {})
{
    const bool put = name.startsWith(QLatin1String("set")) && name.at(3).isUpper();
    if (put)
        name = name.mid(3);
    for (const MemberInfo& member : IO::memberTable()) {
        if (member.name == name && (member.kind == MemberKind::Put) == put)
            return io.invoke(member.slot, args).result;
    }
    qFatal("no member %s", qPrintable(name));
}

int errorOf(const std::function<void()>& run)
{
    try {
        run();
    } catch (const AutomationError& e) {
        return e.number();
    }
    return 0;
}

qint16 masterValue(const TestAgent& agent)
{
    QFile file(agent.home.cacheHome() + QStringLiteral("/FerroClient/Master.dat"));
    const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.read(2) : QByteArray();
    return bytes.size() < 2 ? qint16(-1) : qint16(quint8(bytes[0]) | (quint8(bytes[1]) << 8));
}

} // namespace

class TestIO : public QObject {
    Q_OBJECT

private slots:
    void puts_data()
    {
        QTest::addColumn<QString>("property");
        QTest::addColumn<Variant>("value");
        QTest::addColumn<QString>("stored");
        auto row = [](const char* property, const Variant& value, const char* stored) {
            QTest::addRow("%s %s", property, qPrintable(describeVariant(value)))
                << QString::fromLatin1(property) << value << QString::fromLatin1(stored);
        };
        for (const Variant& on : {Variant(true), Variant("1"), Variant(1.0)})
            row("Secure", on, "true");
        for (const Variant& off : {Variant(false), Variant(qint32(2)), Variant("abc"), Variant()})
            row("Secure", off, "false");
        // Chunking is off for a number 0, and for a Boolean of either value (its text is 0).
        for (const Variant& on : {Variant("abc"), Variant(0.4)})
            row("ChunkFiles", on, "true");
        for (const Variant& off : {Variant("0"), Variant(qint32(0)), Variant(true)})
            row("ChunkFiles", off, "false");
        for (const char* value : {"30000", "200000", "abc"})
            row("ScaleFactor", Variant(value), "52000");
        row("ScaleFactor", Variant(qint32(30001)), "30001");
        row("ScaleFactor", Variant(qint32(199999)), "199999");
        for (const qint32 value : {100, 26000, -4})
            row("MaxKperPDF", Variant(value), "500");
        row("MaxKperPDF", Variant(qint32(101)), "101");
        row("MaxKperPDF", Variant(qint32(25999)), "25999");
        row("TempFileLocation", Variant(" 28 "), "28");
        row("TempFileLocation", Variant("cache"), "-1");
        row("TempFileLocation", Variant("99999999999"), "-1");
        row("CurrentPolicyClaim", Variant("  SELECT \t"), "SELECT");
        row("PDFPrinterName", Variant(" Office PDF "), "Office PDF");
    }
    void puts()
    {
        QFETCH(QString, property);
        QFETCH(Variant, value);
        QFETCH(QString, stored);
        TestAgent agent;
        IO io(agent.context);
        // The put must set or clear, whatever was there.
        agent.state.Secure = agent.state.ChunkFiles = stored != QLatin1String("true");
        call(io, QStringLiteral("set") + property, {value});
        const SharedState& s = agent.state;
        const QMap<QString, QVariant> fields = {
            {"Secure", s.Secure},
            {"ChunkFiles", s.ChunkFiles},
            {"ScaleFactor", call(io, QStringLiteral("ScaleFactor")).toInt32()},
            {"MaxKperPDF", s.MaxKperPDF},
            {"TempFileLocation", s.ShellFolderID},
            {"CurrentPolicyClaim", s.CurrentPolicyClaim},
            {"PDFPrinterName", s.PDFPrinterName}};
        QCOMPARE(fields.value(property).toString(), stored);
    }

    void queriesReadTheSettingsAfresh()
    {
        TestAgent agent;
        IO io(agent.context);
        const QStringList queries = {"HasEMSExport", "HasEMSImport", "HasPhotoPath"};
        for (const QString& query : queries)
            QCOMPARE(call(io, query), Variant(false));
        // Each key turns on its own query, without a restart.
        const QStringList keys = {"EMSExportPath4", "EMSImportPath2", "ImageDirectory"};
        for (int i = 0; i < 3; ++i) {
            agent.setSetting(keys[i], QStringLiteral("/data/") + keys[i]);
            for (int j = 0; j < 3; ++j)
                QCOMPARE(call(io, queries[j]), Variant(j <= i));
        }
        QCOMPARE(call(io, "EstimatePath", {qint16(4)}), Variant("/data/EMSExportPath4"));
        for (const qint16 other : {1, 0, 6, -1})
            QCOMPARE(call(io, "EstimatePath", {other}), Variant(QString()));
    }

    void indexArgumentsAreConverted()
    {
        TestAgent agent;
        IO io(agent.context);
        QCOMPARE(errorOf([&] { call(io, "TheNameOf", {"Files", "abc"}); }), 13);
        QCOMPARE(errorOf([&] { call(io, "TheNameOf", {"Files", qint32(40000)}); }), 6);
        QCOMPARE(errorOf([&] { call(io, "TheNameOf", {"Files"}); }), 450);
        agent.lists.appendFile(QStringLiteral("/a"));
        agent.lists.appendFile(QStringLiteral("/b"));
        QCOMPARE(call(io, "TheNameOf", {"Files", "2"}), Variant("/b"));
        call(io, "setTheCaptionOf", {"Files", 1.0, qint32(12)});
        QCOMPARE(call(io, "TheCaptionOf", {"Files", "1"}), Variant("12"));
        // ZAPLocalFile removes the entry but always answers False.
        QCOMPARE(call(io, "ZAPLocalFile", {"Files", "1"}), Variant(false));
        QCOMPARE(call(io, "ZAPLocalFile", {"Files", qint32(9)}), Variant(false));
        QCOMPARE(agent.lists.nameOf(QStringLiteral("Files"), 1), QStringLiteral("/b"));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Files")), qint16(1));
    }

    void initPreparesTheSessionOncePerProcess()
    {
        TestAgent agent;
        agent.lists.appendPhoto(QStringLiteral("/old.jpg"), QStringLiteral("old"));
        IO first(agent.context);
        QCOMPARE(call(first, "CommandStatus"), Variant(QString()));
        call(first, "Init");
        QCOMPARE(call(first, "CommandStatus"), Variant("OK"));
        QCOMPARE(agent.state.SessionPath, agent.home.cacheHome() + "/FerroClient/IEUser1");
        QCOMPARE(masterValue(agent), qint16(2));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(0));

        // A second page finds the session ready: the counter stays and the lists are kept.
        agent.lists.appendFile(QStringLiteral("/keep.txt"));
        IO second(agent.context);
        second.Init();
        first.Init();
        QCOMPARE(masterValue(agent), qint16(2));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Files")), qint16(1));
    }

    void failedInitKeepsTheReasonAndCanBeRetried()
    {
        TestAgent agent;
        QFile blocker(agent.home.cacheHome() + QStringLiteral("/FerroClient"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        IO io(agent.context);
        io.Init();
        QCOMPARE(io.CommandStatus(), QStringLiteral("Cannot create session path"));
        QVERIFY(!io.isInitialised());
        QVERIFY(QFile::remove(blocker.fileName()));
        // An unknown shell folder fails too; a known one is used.
        io.setTempFileLocation(QStringLiteral("77"));
        io.Init();
        QVERIFY(!io.isInitialised());
        io.setTempFileLocation(QStringLiteral("28"));
        io.Init();
        QCOMPARE(io.CommandStatus(), QStringLiteral("OK"));
        QVERIFY(agent.state.SessionPath.startsWith(agent.home.dataHome()));
    }

    void publishInfoOnlyAfterThisObjectsInit()
    {
        constexpr int pulse = 20;
        TestAgent agent(pulse);
        FakePrintCapture capture;
        agent.context.services.printCapture = &capture;
        IO io(agent.context);
        IO other(agent.context);
        QSignalSpy publish(&io, &IO::PublishInfo);
        QSignalSpy otherPublish(&other, &IO::PublishInfo);
        QTest::qWait(pulse * 6);
        QCOMPARE(publish.size(), 0);
        QVERIFY(capture.polls >= 2); // the pulse polls print capture before Init too

        io.Init();
        QTRY_VERIFY(publish.size() >= 2);
        QCOMPARE(otherPublish.size(), 0);
        QVERIFY(io.CleanUp());
        const auto seen = publish.size();
        QTest::qWait(pulse * 5);
        QCOMPARE(publish.size(), seen);
    }

    void formsAreShownOnceAndUnloadedByCleanUp()
    {
        TestAgent agent;
        IO io(agent.context);
        for (const char* name : {"frmImagePicker", "frmEMSSelect", "frmLocalSetup"})
            agent.forms.registerFactory(QString::fromLatin1(name), [] { return new QObject; });
        QCOMPARE(call(io, "GetFormStatus", {"imagepicker"}), Variant("UNLOADED"));
        QCOMPARE(call(io, "SelectPhotoByVIN", {"  1hgcm82633a "}), Variant(QString()));
        QCOMPARE(agent.state.PhotoVINMatch, QStringLiteral("1HGCM82633A"));
        QCOMPARE(agent.state.PhotoSelectMode, QStringLiteral("2"));
        // A picker that is open already is only brought to the front.
        io.SelectPhotos();
        QCOMPARE(agent.state.PhotoSelectMode, QStringLiteral("0"));
        QCOMPARE(agent.ui.shown, QStringList{QStringLiteral("frmImagePicker")});
        QCOMPARE(agent.ui.raised.size(), 2);
        io.SelectEstimate();
        io.PerformSetup();
        QCOMPARE(io.GetFormStatus(QStringLiteral("LocalSetup")), QStringLiteral("LOADED"));
        QCOMPARE(io.GetFormStatus(QStringLiteral("frmImagePicker")), QStringLiteral("BADNAME"));
        QVERIFY(io.CleanUp());
        QCOMPARE(agent.ui.closed.size(), 3);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(io.GetFormStatus(QStringLiteral("EstimatePicker")), QStringLiteral("UNLOADED"));
        QVERIFY(agent.ui.boxes.isEmpty());
        // The settings were loaded, which plants the defaults in a new file.
        QVERIFY(QFile::exists(agent.settingsFile()));
    }

    void destructionEmptiesTheListsAndStopsCapture()
    {
        TestAgent agent;
        FakePrintCapture capture;
        agent.context.services.printCapture = &capture;
        {
            IO io(agent.context);
            call(io, "setScaleFactor", {qint32(64000)});
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
        QCOMPARE(call(next, "ScaleFactor"), Variant(qint32(64000)));
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("member");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title");
        const QString proceed = QStringLiteral("Cannot proceed");
        const QString perform = QStringLiteral("Cannot perform request");
        QTest::newRow("empty VIN")
            << "SelectPhotoByVIN" << QStringList{"  "} << "VIN cannot be empty" << proceed;
        QTest::newRow("VIN with a dash")
            << "SelectPhotoByVIN" << QStringList{"1HG-CM82633A"}
            << "VIN photo matching only works on alphanumeric characters" << proceed;
        QTest::newRow("workfile photos") << "SelectWorkfilePhotos" << QStringList{"E1", ".jpg"}
                                         << "Workfile image selection is not enabled" << perform;
        QTest::newRow("MIE not enabled") << "DeliverMIEFile" << QStringList{"{E}", "srv"}
                                         << "MIE transfer is not enabled" << perform;
        QTest::newRow("no MIE folder") << "DeliverMIEFile" << QStringList{"{E}", "srv"}
                                       << "MIE destination path is not valid" << perform;
    }
    void refusals()
    {
        QFETCH(QString, member);
        QFETCH(QStringList, args);
        QFETCH(QString, text);
        QFETCH(QString, title);
        TestAgent agent;
        IO io(agent.context);
        agent.forms.registerFactory(QStringLiteral("frmIO"), [] { return new FakeTransferForm; });
        agent.forms.registerFactory(QStringLiteral("frmImagePicker"), [] { return new QObject; });
        io.setEnableMIE(text.contains(QLatin1String("path")));
        const Variant result = call(io, member, QList<Variant>(args.begin(), args.end()));
        QVERIFY(result == Variant(false) || result == Variant(QString()));
        QCOMPARE(agent.ui.boxes.size(), 1);
        QCOMPARE(agent.ui.lastText(), text);
        QCOMPARE(agent.ui.boxes.last().title, title);
        if (title.startsWith(QLatin1String("Cannot perform")))
            QCOMPARE(agent.ui.boxes.last().icon, MessageIcon::Critical);
        QVERIFY(agent.ui.shown.isEmpty());
    }

    void transfersStartTheFormAndFollowItsStatus()
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

        QCOMPARE(call(io, "DeliverAssignment", {"{A-1}", "claims.example:8080"}), Variant(true));
        QCOMPARE(agent.state.request.IOCommand, QStringLiteral("READ"));
        QCOMPARE(agent.state.request.AssignmentGUID, QStringLiteral("{A-1}"));
        QCOMPARE(agent.state.request.RemoteServer, QStringLiteral("claims.example:8080"));
        QCOMPARE(call(io, "LastIOStatusID"), Variant("BUSY"));
        QCOMPARE(call(io, "LastIOStatusMessage"), Variant("Loading"));
        QVERIFY(form);
        form->report(QStringLiteral("BUSY"), QStringLiteral("Write Assignment to Local Computer"));
        form->report(QStringLiteral("ERROR"), QStringLiteral("Error Occurred"));
        QCOMPARE(statuses.last(), (QList<QVariant>{"ERROR", "Error Occurred"}));
        QCOMPARE(events.size(), 2); // what the bridge passes on to the page
        QCOMPARE(events.last().first(), QVariant("IOStatus"));
        QCOMPARE(io.LastIOStatusMessage(), QStringLiteral("Error Occurred"));

        // A second call while the form is loaded overwrites the request and only brings
        // the running form to the front.
        FakeTransferForm* first = form;
        QVERIFY(io.MoveFilesToServer("{A-2}", "{W}", qint32(3), "10.0.0.5"));
        QCOMPARE(form.data(), first);
        QCOMPARE(agent.ui.shown.size(), 1);
        QCOMPARE(agent.state.request.IOCommand, QStringLiteral("WRITE"));
        QCOMPARE(agent.state.request.WorkerTypeID, QStringLiteral("3"));
        QCOMPARE(io.LastIOStatusID(), QStringLiteral("ERROR"));

        // Once it has unloaded, the next call makes a new form.
        delete form;
        QVERIFY(io.MoveFilesToServer("{A-3}", {}, {}, "h"));
        QVERIFY(form);
        QCOMPARE(agent.ui.shown.size(), 2);
        delete form;

        // MIE delivery, once enabled and given a folder.
        const QString folder = agent.home.path() + QStringLiteral("/mie-in");
        QVERIFY(QDir().mkpath(folder));
        agent.setSetting(QStringLiteral("MIEDelivery"), folder);
        io.setEnableMIE(true);
        QVERIFY(!io.DeliverMIEFile("{E}", "srv"));
        QCOMPARE(agent.state.request.IOCommand, QStringLiteral("READMIE"));
        QCOMPARE(agent.state.request.EstimateGUID, QStringLiteral("{E}"));
        QCOMPARE(agent.ui.shown.size(), 3);
        agent.forms.unloadAll();
    }

    void missingSubsystemsAnswerActionNotSupported()
    {
        TestAgent agent;
        FakePrintCapture capture; // outlives IO, which stops it at the end
        IO io(agent.context);
        for (const char* member :
             {"SelectPhotos", "SelectEstimate", "PerformSetup", "EnablePrintCapture"})
            QCOMPARE(errorOf([&] { call(io, member); }), 445);
        QCOMPARE(errorOf([&] { io.AutoSelectEstimate("C1", "VIN"); }), 445);
        QCOMPARE(agent.state.AutoClaim, QStringLiteral("C1"));
        QCOMPARE(errorOf([&] { io.MoveFilesToServer({}, {}, {}, {}); }), 445);
        QCOMPARE(io.LastIOStatusID(), QString());
        const QString env = agent.makeFile(QStringLiteral("est/0001.ENV"), 10);
        QCOMPARE(errorOf([&] { io.ManualSelectEMS(env); }), 445);
        QCOMPARE(agent.lists.countOf(QStringLiteral("Estimates")), qint16(0));

        // With print capture, it is enabled under the printer name, "Ostrova IT" by default.
        agent.context.services.printCapture = &capture;
        QVERIFY(io.EnablePrintCapture());
        io.setPDFPrinterName(QStringLiteral(" Back Office "));
        QVERIFY(io.EnablePrintCapture());
        QCOMPARE(capture.enabled, (QStringList{"Ostrova IT", "Back Office"}));
    }

    void basicEstimateInfoComesBackByReference()
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
        const int slot = 32;
        QList<Variant> args(8, Variant(qint32(9)));
        args[0] = QStringLiteral("/x/0001.AD1");
        const QString e = QStringLiteral("<error>");
        QCOMPARE(io.invoke(slot, args).byRef,
                 (QList<Variant>{"/x/0001.AD1", e, e, e, e, "", "", e}));

        agent.context.services.estimates = &reader;
        args[0] = QStringLiteral("/x/0001.env");
        QCOMPARE(io.invoke(slot, args).byRef,
                 (QList<Variant>{"/x/0001.env", "2004 HOND ACCORD", "CLM-77 ", "POL-1", "Doe, Jane",
                                 "EST42", "S01", "Roe, Rick"}));
        QCOMPARE(reader.calls, QStringList{"basic /x/0001.env 1940-01-01"});
        reader.succeed = false;
        QCOMPARE(io.invoke(slot, args).byRef.value(1), Variant(e));
    }

    void estimateFieldAndManualSelection()
    {
        TestAgent agent;
        FakeEstimateReader reader;
        agent.context.services.estimates = &reader;
        IO io(agent.context);
        QCOMPARE(call(io, "Get_Estimate_Field", {"CLM_NO"}), Variant(false));
        QCOMPARE(call(io, "EstimateField"), Variant(QString()));
        const QString empty = agent.makeFile(QStringLiteral("est/empty.ENV"), 0);
        QVERIFY(!io.ManualSelectEMS(empty));
        QVERIFY(!io.ManualSelectEMS(agent.home.path() + QStringLiteral("/none.ENV")));
        QVERIFY(reader.calls.isEmpty());

        const QString env = agent.makeFile(QStringLiteral("est/0001.ENV"), 100);
        QVERIFY(io.ManualSelectEMS(env));
        QCOMPARE(reader.calls.last(), "basic " + env + " 1950-01-01");
        QCOMPARE(agent.lists.nameOf(QStringLiteral("Estimates"), 1), env);
        QVERIFY(io.Get_Estimate_Field("CLM_NO"));
        QCOMPARE(io.EstimateField(), Variant("value of CLM_NO"));
        reader.succeed = false;
        QVERIFY(!io.Get_Estimate_Field("CLM_NO"));
        QCOMPARE(io.EstimateField(), Variant(QString()));
        QVERIFY(!io.ManualSelectEMS(env));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Estimates")), qint16(1));
    }
};

QTEST_GUILESS_MAIN(TestIO)
#include "tst_io.moc"
