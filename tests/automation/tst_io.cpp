// IO with fakes for its subsystems, its members called by name as the bridge calls them:
// the lists, the session, the transfer form, attaching by hand and the refusals.

#include "automation/IO.h"
#include "automation/ManualAttach.h"
#include "support/Fakes.h"
#include "support/TestAgent.h"
#include "support/VariantText.h"

#include <QDir>
#include <QRegularExpression>
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

// name | member | arguments, "," between (SelectFile: the file chosen, "<name> <size>") |
// the start of the notice | its title
const QByteArray kRefusals = R"(
empty VIN | SelectPhotoByVIN |   | VIN cannot be empty | Cannot proceed
VIN with a dash | SelectPhotoByVIN | 1HG-CM82633A | VIN photo matching only works on alphanumeric characters | Cannot proceed
workfile photos | SelectWorkfilePhotos | E1,.jpg | Workfile image selection is not enabled | Cannot perform request
MIE not enabled | DeliverMIEFile | {E},srv | MIE transfer is not enabled | Cannot perform request
no MIE folder | DeliverMIEFile | {E},srv | MIE destination path is not valid | Cannot perform request
attach cancelled | SelectFile |  | Attachment Error: Cancel was selected. | Error
attach too large | SelectFile | big.txt 3000001 | File too large ( | Cannot Attach File
attach gone | SelectFile | gone.txt | Attachment Error: File not found | Error
attach without photo subsystem | SelectFile | b.jpg 5 | Attachment Error: Object doesn't support this action | Error
)";

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
        // Chunking is off for a number 0, and for a Boolean of either value (its text is 0).
        row("ChunkFiles", Variant(0.4), "true");
        row("ChunkFiles", Variant("0"), "false");
        row("ChunkFiles", Variant(true), "false");
        row("ScaleFactor", Variant("30000"), "52000");
        row("ScaleFactor", Variant(qint32(199999)), "199999");
        row("MaxKperPDF", Variant(qint32(26000)), "500");
        row("MaxKperPDF", Variant(qint32(101)), "101");
        row("TempFileLocation", Variant(" 28 "), "28");
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
        for (int i = 0; i < 3; ++i) {
            agent.setSetting(keys[i], QStringLiteral("/data"));
            for (int j = 0; j < 3; ++j)
                QCOMPARE(call(io, queries[j]), Variant(j <= i));
        }
        QCOMPARE(call(io, "EstimatePath", {qint16(6)}), Variant(QString()));
    }

    void listsAreReachedByNumber()
    {
        TestAgent agent;
        IO io(agent.context);
        for (const char* n : {"1", "2", "3"}) {
            agent.lists.appendPhoto(QStringLiteral("/p") + n, QStringLiteral("photo ") + n);
            agent.lists.appendPrintDoc(QStringLiteral("/d") + n, QStringLiteral("doc ") + n);
            agent.lists.appendFile(QStringLiteral("/f") + n);
            EstimateRecord record;
            record.envelopeFile = QStringLiteral("/e") + n;
            agent.lists.appendEstimate(record);
        }
        // Numbers outside a list, and lists that are none, answer a text of their own.
        QStringList texts;
        for (const auto& [list, n] : QList<std::pair<const char*, int>>{
                 {"Photos", 0}, {"PrintDocs", 4}, {"Files", -1}, {"Estimates", 4}, {"photos", 1}})
            texts << call(io, "TheNameOf", {list, n}).toText() + '|' +
                         call(io, "TheCaptionOf", {list, n}).toText();
        QCOMPARE(texts, (QStringList{"<bad photo number>|<bad photo number>",
                                     "<bad print doc number>|<bad print doc number>",
                                     "<bad file attach number>|<bad file attach number>",
                                     "<bad estimate number>|<bad>", "<bad>|<bad>"}));
        // Edits change only what they name; ZAPLocalFile always answers False.
        call(io, "setTheCaptionOf", {"PrintDocs", "3", qint32(12)});
        call(io, "setTheCaptionOf", {"Estimates", 1, "ignored"});
        for (const auto& [list, n] : QList<std::pair<const char*, int>>{
                 {"Photos", 2}, {"PrintDocs", 4}, {"Other", 1}, {"Estimates", 3}})
            QCOMPARE(call(io, "ZAPLocalFile", {list, n}), Variant(false));
        agent.lists.zap(QStringLiteral("files"));
        QCOMPARE(contents(agent.lists), "/p1=photo 1, /p3=photo 3, /d1=doc 1, /d2=doc 2, /d3=12, "
                                        "/f1=, /f2=, /f3=, /e1=<bad>, /e2=<bad>");
        agent.lists.zap(QStringLiteral("Files"));
        QCOMPARE(agent.lists.countOf(QStringLiteral("Files")), qint16(0));
    }

    // Init prepares the session once per process and empties the lists; CleanUp unloads the
    // forms; the end of IO empties the lists and stops print capture.
    void sessionFromInitToTheEndOfIO()
    {
        TestAgent agent;
        FakePrintCapture capture;
        agent.context.services.printCapture = &capture;
        agent.lists.appendPhoto(QStringLiteral("/old.jpg"), QStringLiteral("old"));
        QFile blocker(agent.home.cacheHome() + QStringLiteral("/FerroClient"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        {
            IO io(agent.context);
            call(io, "Init");
            QCOMPARE(call(io, "CommandStatus"), Variant("Cannot create session path"));
            QVERIFY(blocker.remove());
            call(io, "Init");
            QCOMPARE(call(io, "CommandStatus"), Variant("OK"));
            QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(0));
            agent.forms.registerFactory(QStringLiteral("frmLocalSetup"),
                                        [] { return new QObject; });
            io.PerformSetup();
            QVERIFY(io.CleanUp());
            QCOMPARE(agent.ui.closed, QStringList{QStringLiteral("frmLocalSetup")});
            agent.lists.appendPhoto(QStringLiteral("/p.jpg"), QStringLiteral("p"));
        }
        QCOMPARE(capture.disables, 1);
        QCOMPARE(agent.lists.countOf(QStringLiteral("Photos")), qint16(0));
        // A later page finds the session ready: no new session folder is taken.
        IO(agent.context).Init();
        QCOMPARE(agent.state.SessionPath, agent.home.cacheHome() + "/FerroClient/IEUser1");
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("member");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title");
        for (const QByteArray& line : kRefusals.trimmed().split('\n')) {
            const QStringList cells = QString::fromUtf8(line).split(QRegularExpression(" *\\| *"));
            QTest::newRow(qPrintable(cells[0]))
                << cells[1] << cells[2].split(',') << cells[3] << cells[4];
        }
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
            const QStringList file = std::exchange(args, {}).first().split(' ');
            if (!file[0].isEmpty())
                agent.ui.fileAnswers.enqueue(file.size() > 1
                                                 ? agent.makeFile(file[0], file[1].toLongLong())
                                                 : agent.home.path() + '/' + file[0]);
        }
        const Variant result = call(io, member, QList<Variant>(args.begin(), args.end()));
        QVERIFY(result.type() == Variant::Type::Boolean || result == Variant(QString()));
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
        const QString in = agent.home.path() + "/in";
        for (const char* name : {"front.JPG", "estimate.pdf", "list.xls"})
            agent.makeFile(QStringLiteral("in/") + name, 100);
        // A file at the limit (500 K of 6000 bytes); "photo.jpeg" is no photo: only "JPG" is.
        agent.makeFile("in/photo.jpeg", 3000000);
        const QChar nul(0);
        agent.ui.fileAnswers.enqueue(in + "\\" + nul + "front.JPG" + nul + "estimate.pdf" + nul +
                                     "list.xls" + nul + "photo.jpeg");
        QVERIFY(io.SelectFile());
        QCOMPARE(photos.added, QStringList{in + "/front.JPG"});
        QCOMPARE(capture.accepted, QStringList{in + "/estimate.pdf|Manual Attachment"});
        QCOMPARE(contents(agent.lists), in + "/list.xls=, " + in + "/photo.jpeg=");
        QCOMPARE(agent.ui.lastText(), "4 files attached.");

        // Above 4000 K the limit is in kibibytes. The dialog opens at home, then where the
        // user chose last.
        io.setMaxKperPDF(4000);
        agent.ui.fileAnswers.enqueue(agent.makeFile("big/a.txt", 4096000));
        agent.ui.fileAnswers.enqueue(agent.makeFile("big/b.txt", 4096001));
        QVERIFY(io.SelectFile() && io.SelectFile());
        QCOMPARE(agent.lists.countOf("Files"), qint16(3));
        QCOMPARE(agent.ui.lastText(), "No files were attached.");
        QCOMPARE(agent.ui.fileDialogs[0].folder, QDir::homePath());
        QCOMPARE(agent.ui.fileDialogs[2].folder, agent.home.path() + "/big");
        QCOMPARE(parseChosenFiles("  /a/b.txt "), QStringList{"/a/b.txt"});
    }

    void transfersStartTheFormAndFollowItsStatus()
    {
        TestAgent agent;
        IO io(agent.context);
        QPointer<FakeTransferForm> form;
        agent.forms.registerFactory(QStringLiteral("frmIO"),
                                    [&form] { return (form = new FakeTransferForm).data(); });
        QCOMPARE(call(io, "DeliverAssignment", {"{A-1}", "claims.example:8080"}), Variant(true));
        QCOMPARE(agent.state.request.IOCommand + agent.state.request.AssignmentGUID +
                     agent.state.request.RemoteServer,
                 "READ{A-1}claims.example:8080");
        QCOMPARE(call(io, "LastIOStatusMessage"), Variant("Loading"));
        form->report(QStringLiteral("ERROR"), QStringLiteral("Error Occurred"));
        QCOMPARE(io.LastIOStatusID() + '/' + io.LastIOStatusMessage(), "ERROR/Error Occurred");
        // A second call while the form is loaded overwrites the request and only brings
        // the running form to the front.
        QVERIFY(io.MoveFilesToServer("{A-2}", "{W}", qint32(3), "10.0.0.5"));
        QCOMPARE(agent.ui.shown.size(), 1);
        QCOMPARE(agent.state.request.IOCommand + agent.state.request.WorkerTypeID, "WRITE3");
        agent.setSetting("MIEDelivery", agent.home.path());
        io.setEnableMIE(true);
        QVERIFY(!io.DeliverMIEFile(Variant("{E}"), Variant("srv")));
        QCOMPARE(agent.state.request.IOCommand + agent.state.request.EstimateGUID, "READMIE{E}");
        agent.forms.registerFactory(QStringLiteral("frmImagePicker"), [] { return new QObject; });
        QCOMPARE(io.SelectPhotoByVIN(" 1hgcm82633a "), QString());
        QCOMPARE(agent.state.PhotoSelectMode + agent.state.PhotoVINMatch, "21HGCM82633A");
        // Once it has unloaded, the next call makes a new form.
        delete form;
        QVERIFY(io.MoveFilesToServer("{A-3}", {}, {}, "h"));
        QCOMPARE(agent.ui.shown.size(), 3);
        agent.forms.unloadAll();
    }

    void missingSubsystemsAnswerActionNotSupported()
    {
        TestAgent agent;
        IO io(agent.context);
        const QString env = agent.makeFile(QStringLiteral("est/0001.ENV"), 10);
        // Each call with its arguments, ' ' between.
        for (const char* line :
             {"SelectPhotos", "SelectEstimate", "PerformSetup", "EnablePrintCapture",
              "AutoSelectEstimate C1 VIN", "MoveFilesToServer    ", "ManualSelectEMS ENV"}) {
            QStringList words = QString::fromLatin1(line).split(' ').replaceInStrings("ENV", env);
            const QString member = words.takeFirst();
            try {
                call(io, member, {words.begin(), words.end()});
                QFAIL(qPrintable(member));
            } catch (const AutomationError& e) {
                QCOMPARE(e.number(), 445);
            }
        }
        QCOMPARE(io.LastIOStatusID(), QString());
    }
};

QTEST_GUILESS_MAIN(TestIO)
#include "tst_io.moc"
