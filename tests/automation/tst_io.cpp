// IO with fakes for its subsystems: members called by name through its own dispatch, as
// the bridge calls them; the attachment lists, the session, the transfer form, attaching
// files by hand and the refusals.

#include "automation/IO.h"
#include "automation/ManualAttach.h"
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

// Every entry of the four lists as "name=caption".
QString contents(const AttachmentLists& lists)
{
    QStringList out;
    for (const QString list : {"Photos", "PrintDocs", "Files", "Estimates"}) {
        for (qint16 i = 1; i <= lists.countOf(list); ++i)
            out << lists.nameOf(list, i) + '=' + lists.captionOf(list, i);
    }
    return out.join(", ");
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
        row("Secure", Variant("1"), "true");
        row("Secure", Variant(qint32(2)), "false");
        row("Secure", Variant(), "false");
        // Chunking is off for a number 0, and for a Boolean of either value (its text is 0).
        row("ChunkFiles", Variant("abc"), "true");
        row("ChunkFiles", Variant(0.4), "true");
        row("ChunkFiles", Variant("0"), "false");
        row("ChunkFiles", Variant(true), "false");
        row("ScaleFactor", Variant("30000"), "52000");
        row("ScaleFactor", Variant("200000"), "52000");
        row("ScaleFactor", Variant(qint32(30001)), "30001");
        row("ScaleFactor", Variant(qint32(199999)), "199999");
        row("MaxKperPDF", Variant(qint32(100)), "500");
        row("MaxKperPDF", Variant(qint32(26000)), "500");
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
        const QStringList keys = {"EMSExportPath4", "EMSImportPath2", "ImageDirectory"};
        // Each key turns on its own query, without a restart.
        for (int i = 0; i <= 3; ++i) {
            for (int j = 0; j < 3; ++j)
                QCOMPARE(call(io, queries[j]), Variant(j < i));
            if (i < 3)
                agent.setSetting(keys[i], QStringLiteral("/data/") + keys[i]);
        }
        QCOMPARE(call(io, "EstimatePath", {qint16(4)}), Variant("/data/EMSExportPath4"));
        for (const qint16 other : {0, 6})
            QCOMPARE(call(io, "EstimatePath", {other}), Variant(QString()));
    }

    void listsAreReachedByNumber()
    {
        TestAgent agent;
        IO io(agent.context);
        AttachmentLists& lists = agent.lists;
        for (const char* n : {"1", "2", "3"}) {
            lists.appendPhoto(QStringLiteral("/p%1.jpg").arg(n), QStringLiteral("photo ") + n);
            lists.appendPrintDoc(QStringLiteral("/d%1.pdf").arg(n), QStringLiteral("doc ") + n);
            lists.appendFile(QStringLiteral("/f%1.txt").arg(n));
            EstimateRecord record;
            record.envelopeFile = QStringLiteral("/e%1.ENV").arg(n);
            lists.appendEstimate(record);
        }
        QCOMPARE(errorOf([&] { call(io, "TheNameOf", {"Files", "abc"}); }), 13);
        QCOMPARE(errorOf([&] { call(io, "TheNameOf", {"Files", qint32(40000)}); }), 6);
        QCOMPARE(errorOf([&] { call(io, "TheNameOf", {"Files"}); }), 450);
        // Numbers outside a list, and lists that are none, answer a text of their own.
        const QList<QList<Variant>> outside = {{"Photos", 0}, {"Photos", 4},    {"PrintDocs", -1},
                                               {"Files", 4},  {"Estimates", 4}, {"photos", 1}};
        QStringList texts;
        for (const QList<Variant>& args : outside)
            texts << call(io, "TheNameOf", args).toText() + '|' +
                         call(io, "TheCaptionOf", args).toText();
        QCOMPARE(texts, (QStringList{"<bad photo number>|<bad photo number>",
                                     "<bad photo number>|<bad photo number>",
                                     "<bad print doc number>|<bad print doc number>",
                                     "<bad file attach number>|<bad file attach number>",
                                     "<bad estimate number>|<bad>", "<bad>|<bad>"}));
        QCOMPARE(call(io, "TheCountOf", {"Pictures"}), Variant(qint16(0)));

        // Edits change only what they name; ZAPLocalFile always answers False.
        call(io, "setTheCaptionOf", {"PrintDocs", "3", qint32(12)});
        call(io, "setTheCaptionOf", {"PrintDocs", 4, "lost"});
        call(io, "setTheCaptionOf", {"Estimates", 1, "ignored"});
        for (const auto& [list, number] : QList<std::pair<const char*, int>>{
                 {"Photos", 2}, {"PrintDocs", 0}, {"PrintDocs", 4}, {"Other", 1}, {"Estimates", 3}})
            QCOMPARE(call(io, "ZAPLocalFile", {list, number}), Variant(false));
        lists.zap(QStringLiteral("files"));
        QCOMPARE(contents(lists), "/p1.jpg=photo 1, /p3.jpg=photo 3, /d1.pdf=doc 1, "
                                  "/d2.pdf=doc 2, /d3.pdf=12, /f1.txt=, /f2.txt=, /f3.txt=, "
                                  "/e1.ENV=<bad>, /e2.ENV=<bad>");
        lists.zap(QStringLiteral("Files"));
        QCOMPARE(lists.countOf(QStringLiteral("Files")), qint16(0));
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

    void formsAreShownOnceAndUnloadedByCleanUp()
    {
        TestAgent agent;
        FakePrintCapture capture;
        agent.context.services.printCapture = &capture;
        {
            IO io(agent.context);
            for (const char* name : {"frmImagePicker", "frmEMSSelect", "frmLocalSetup"})
                agent.forms.registerFactory(QString::fromLatin1(name), [] { return new QObject; });
            QCOMPARE(call(io, "GetFormStatus", {"imagepicker"}), Variant("UNLOADED"));
            QCOMPARE(call(io, "SelectPhotoByVIN", {"  1hgcm82633a "}), Variant(QString()));
            QCOMPARE(agent.state.PhotoVINMatch, QStringLiteral("1HGCM82633A"));
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
            QCOMPARE(io.GetFormStatus(QStringLiteral("EstimatePicker")),
                     QStringLiteral("UNLOADED"));
            io.setScaleFactor(64000);
            agent.lists.appendPhoto(QStringLiteral("/p.jpg"), QStringLiteral("p"));
        }
        // Its end empties the lists and stops print capture; property values outlive it.
        QCOMPARE(capture.disables, 1);
        QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(0));
        IO next(agent.context);
        QCOMPARE(call(next, "ScaleFactor"), Variant(qint32(64000)));
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("member");
        QTest::addColumn<QStringList>("args"); // SelectFile: the file chosen, "<name> <size>"
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
        QTest::newRow("attach cancelled")
            << "SelectFile" << QStringList() << "Attachment Error: Cancel was selected."
            << "Error";
        QTest::newRow("attach too large")
            << "SelectFile" << QStringList{"big.txt 3000001"} << "File too large ("
            << "Cannot Attach File";
        QTest::newRow("attach gone")
            << "SelectFile" << QStringList{"gone.txt"} << "Attachment Error: File not found"
            << "Error";
        QTest::newRow("attach no photo subsystem")
            << "SelectFile" << QStringList{"b.jpg 5"}
            << "Attachment Error: Object doesn't support this action"
            << "Error";
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
        if (member == QLatin1String("SelectFile")) {
            for (const QString& file : std::exchange(args, {})) {
                const QStringList parts = file.split(' ');
                agent.ui.fileAnswers.enqueue(parts.size() > 1
                                                 ? agent.makeFile(parts[0], parts[1].toLongLong())
                                                 : agent.home.path() + '/' + parts[0]);
            }
        }
        const Variant result = call(io, member, QList<Variant>(args.begin(), args.end()));
        QVERIFY(result == Variant(false) || result == Variant(QString()) ||
                result == Variant(true));
        QVERIFY2(agent.ui.boxes.first().text.startsWith(text), qPrintable(agent.ui.lastText()));
        QCOMPARE(agent.ui.boxes.first().title, title);
        if (title == QLatin1String("Error") || title.startsWith(QLatin1String("Cannot perform")))
            QCOMPARE(agent.ui.boxes.first().icon, MessageIcon::Critical);
        QVERIFY(agent.ui.shown.isEmpty());
        QCOMPARE(agent.lists.countOf(QStringLiteral("Files")), qint16(0));
    }

    void filesAttachedByHandAreRoutedByExtension()
    {
        TestAgent agent;
        FakePhotoIntake photos;
        FakePrintCapture capture;
        agent.context.services.photos = &photos;
        agent.context.services.printCapture = &capture;
        IO io(agent.context);
        const QString folder = agent.home.path() + "/pick";
        for (const char* name : {"front.JPG", "estimate.pdf", "rejected.PDF", "list.xls"})
            agent.makeFile(QStringLiteral("pick/") + name, 100);
        // A file at the limit (500 K of 6000 bytes); "photo.jpeg" is no photo: only "JPG" is.
        const QChar nul(0);
        agent.ui.fileAnswers.enqueue(folder + nul + "front.JPG" + nul + "estimate.pdf" + nul +
                                     "list.xls" + nul + "../in/photo.jpeg");
        agent.makeFile("in/photo.jpeg", 3000000);
        QVERIFY(io.SelectFile());
        QCOMPARE(agent.ui.fileDialogs[0].title, "Select File(s) to Attach");
        QCOMPARE(agent.ui.fileDialogs[0].filter, "All Files (*.*)|*.*");
        QCOMPARE(photos.added, QStringList{folder + "/front.JPG"});
        QCOMPARE(capture.accepted, QStringList{folder + "/estimate.pdf|Manual Attachment"});
        QCOMPARE(contents(agent.lists), folder + "/list.xls=, " + folder + "/../in/photo.jpeg=");
        QCOMPARE(agent.ui.lastText(), "4 files attached.");
        QCOMPARE(agent.ui.boxes.last().title, "Files Attached");

        // Above 4000 K the limit is in kibibytes; a document print capture turns down does
        // not count. The dialog opens at home, then where the user chose last.
        io.setMaxKperPDF(4000);
        agent.ui.fileAnswers.enqueue(agent.makeFile("in/big.txt", 4096000));
        agent.ui.fileAnswers.enqueue(agent.makeFile("in/bigger.txt", 4096001));
        capture.accept = false;
        agent.ui.fileAnswers.enqueue(folder + "/rejected.PDF");
        QVERIFY(io.SelectFile() && io.SelectFile() && io.SelectFile());
        QCOMPARE(agent.lists.countOf("Files"), qint16(3));
        QCOMPARE(agent.ui.lastText(), "No files were attached.");
        QCOMPARE(agent.ui.boxes.last().title, "No Files Attached");
        QCOMPARE(agent.ui.fileDialogs[0].folder, QDir::homePath());
        QCOMPARE(agent.ui.fileDialogs[2].folder, agent.home.path() + "/in");

        QCOMPARE(parseChosenFiles("  /a/b.txt "), QStringList{"/a/b.txt"});
        QCOMPARE(parseChosenFiles(QString()), QStringList());
        // A folder ending in the Windows separator gets no second one.
        QCOMPARE(parseChosenFiles("/in\\" + QString(nul) + "x"), QStringList{"/in/x"});
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
        QSignalSpy events(&io, &Dispatchable::eventRaised);
        QCOMPARE(call(io, "DeliverAssignment", {"{A-1}", "claims.example:8080"}), Variant(true));
        QCOMPARE(agent.state.request.IOCommand, QStringLiteral("READ"));
        QCOMPARE(agent.state.request.AssignmentGUID, QStringLiteral("{A-1}"));
        QCOMPARE(agent.state.request.RemoteServer, QStringLiteral("claims.example:8080"));
        QCOMPARE(call(io, "LastIOStatusMessage"), Variant("Loading"));
        QVERIFY(form);
        form->report(QStringLiteral("ERROR"), QStringLiteral("Error Occurred"));
        // What the bridge passes on to the page.
        QCOMPARE(events.last(),
                 (QList<QVariant>{"IOStatus",
                                  QVariant::fromValue(QList<Variant>{"ERROR", "Error Occurred"})}));
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
        // Once it has unloaded, the next call makes a new form: MIE delivery, once enabled
        // and given a folder.
        delete form;
        const QString folder = agent.home.path() + QStringLiteral("/mie-in");
        QVERIFY(QDir().mkpath(folder));
        agent.setSetting(QStringLiteral("MIEDelivery"), folder);
        io.setEnableMIE(true);
        QVERIFY(!io.DeliverMIEFile("{E}", "srv"));
        QCOMPARE(agent.state.request.IOCommand, QStringLiteral("READMIE"));
        QCOMPARE(agent.state.request.EstimateGUID, QStringLiteral("{E}"));
        QCOMPARE(agent.ui.shown.size(), 2);
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
        // With print capture, it is enabled under the printer name, "Ostrova IT" by default.
        agent.context.services.printCapture = &capture;
        QVERIFY(io.EnablePrintCapture());
        io.setPDFPrinterName(QStringLiteral(" Back Office "));
        QVERIFY(io.EnablePrintCapture());
        QCOMPARE(capture.enabled, (QStringList{"Ostrova IT", "Back Office"}));
    }

    void estimatesAreReadOnlyFromEnvelopes()
    {
        TestAgent agent;
        FakeEstimateReader reader;
        reader.answer.vehicle = QStringLiteral("2004 HOND ACCORD");
        reader.answer.claimNumber = QStringLiteral("CLM-77 ");
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
                 (QList<Variant>{"/x/0001.env", "2004 HOND ACCORD", "CLM-77 ", "", "", "", "",
                                 "Roe, Rick"}));
        QCOMPARE(reader.calls, QStringList{"basic /x/0001.env 1940-01-01"});
        reader.succeed = false;
        QCOMPARE(io.invoke(slot, args).byRef.value(1), Variant(e));
        // An empty or missing envelope is not read.
        QVERIFY(!io.ManualSelectEMS(agent.makeFile(QStringLiteral("est/empty.ENV"), 0)));
        QVERIFY(!io.ManualSelectEMS(agent.home.path() + QStringLiteral("/none.ENV")));
        QCOMPARE(reader.calls.size(), 2);
    }
};

QTEST_GUILESS_MAIN(TestIO)
#include "tst_io.moc"
