// The host's property puts and the small query members of IO.

#include "automation/IO.h"
#include "support/TestAgent.h"

#include <QDir>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

Q_DECLARE_METATYPE(tarnaxe::Variant)

class TestIOProperties : public QObject {
    Q_OBJECT

private slots:
    void secure_data()
    {
        QTest::addColumn<Variant>("value");
        QTest::addColumn<bool>("expected");
        QTest::newRow("True") << Variant(true) << true;
        QTest::newRow("False") << Variant(false) << false;
        QTest::newRow("\"1\"") << Variant("1") << true;
        QTest::newRow("1") << Variant(qint32(1)) << true;
        QTest::newRow("1.0") << Variant(1.0) << true;
        QTest::newRow("2") << Variant(qint32(2)) << false;
        QTest::newRow("\"abc\"") << Variant("abc") << false;
        QTest::newRow("Empty") << Variant() << false;
    }
    void secure()
    {
        QFETCH(Variant, value);
        QFETCH(bool, expected);
        TestAgent agent;
        IO io(agent.context);
        agent.state.Secure = !expected; // the put must clear or set, whatever was there
        io.setSecure(value);
        QCOMPARE(agent.state.Secure, expected);
    }

    void chunkFiles_data()
    {
        QTest::addColumn<Variant>("value");
        QTest::addColumn<bool>("expected");
        QTest::newRow("\"abc\"") << Variant("abc") << true;
        QTest::newRow("5") << Variant(qint32(5)) << true;
        QTest::newRow("\"5\"") << Variant("5") << true;
        QTest::newRow("0") << Variant(qint32(0)) << false;
        QTest::newRow("\"0\"") << Variant("0") << false;
        // A Boolean of either value turns chunking off: its text reads as 0.
        QTest::newRow("False") << Variant(false) << false;
        QTest::newRow("True") << Variant(true) << false;
        QTest::newRow("0.4") << Variant(0.4) << true;
    }
    void chunkFiles()
    {
        QFETCH(Variant, value);
        QFETCH(bool, expected);
        TestAgent agent;
        IO io(agent.context);
        agent.state.ChunkFiles = !expected;
        io.setChunkFiles(value);
        QCOMPARE(agent.state.ChunkFiles, expected);
    }

    void rangedNumbers_data()
    {
        QTest::addColumn<QString>("property");
        QTest::addColumn<Variant>("value");
        QTest::addColumn<int>("expected");
        QTest::newRow("scale 30000") << "ScaleFactor" << Variant(qint32(30000)) << 52000;
        QTest::newRow("scale 200000") << "ScaleFactor" << Variant(qint32(200000)) << 52000;
        QTest::newRow("scale 30001") << "ScaleFactor" << Variant(qint32(30001)) << 30001;
        QTest::newRow("scale 199999") << "ScaleFactor" << Variant(qint32(199999)) << 199999;
        QTest::newRow("scale text") << "ScaleFactor" << Variant("64000") << 64000;
        QTest::newRow("scale abc") << "ScaleFactor" << Variant("abc") << 52000;
        QTest::newRow("max 100") << "MaxKperPDF" << Variant(qint32(100)) << 500;
        QTest::newRow("max 26000") << "MaxKperPDF" << Variant(qint32(26000)) << 500;
        QTest::newRow("max 101") << "MaxKperPDF" << Variant(qint32(101)) << 101;
        QTest::newRow("max 25999") << "MaxKperPDF" << Variant(qint32(25999)) << 25999;
        QTest::newRow("max -4") << "MaxKperPDF" << Variant(qint32(-4)) << 500;
    }
    void rangedNumbers()
    {
        QFETCH(QString, property);
        QFETCH(Variant, value);
        QFETCH(int, expected);
        TestAgent agent;
        IO io(agent.context);
        if (property == QLatin1String("ScaleFactor")) {
            io.setScaleFactor(value);
            QCOMPARE(io.ScaleFactor(), Variant(qint32(expected)));
        } else {
            io.setMaxKperPDF(value.toInt32());
            QCOMPARE(agent.state.MaxKperPDF, expected);
        }
    }

    void textPropertiesAreTrimmedAndShellFolderNeedsANumber()
    {
        TestAgent agent;
        IO io(agent.context);
        io.setCurrentPolicyClaim(QStringLiteral("  SELECT \t"));
        io.setPDFPrinterName(QStringLiteral(" Office PDF "));
        QCOMPARE(agent.state.CurrentPolicyClaim, QStringLiteral("SELECT"));
        QCOMPARE(agent.state.PDFPrinterName, QStringLiteral("Office PDF"));

        QCOMPARE(agent.state.ShellFolderID, -1);
        io.setTempFileLocation(QStringLiteral(" 28 "));
        QCOMPARE(agent.state.ShellFolderID, 28);
        io.setTempFileLocation(QStringLiteral("cache"));
        QCOMPARE(agent.state.ShellFolderID, 28);
        io.setTempFileLocation(QStringLiteral("99999999999"));
        QCOMPARE(agent.state.ShellFolderID, 28);
    }

    void queriesReadTheSettingsAfresh()
    {
        TestAgent agent;
        IO io(agent.context);
        QVERIFY(!io.HasEMSExport());
        QVERIFY(!io.HasEMSImport());
        QVERIFY(!io.HasPhotoPath());

        // Changes made in the file take effect without a restart.
        agent.setSetting(QStringLiteral("EMSExportPath4"), QStringLiteral("/data/export4"));
        agent.setSetting(QStringLiteral("EMSImportPath2"), QStringLiteral("/data/import2"));
        agent.setSetting(QStringLiteral("ImageDirectory"), QStringLiteral("/data/photos"));
        QVERIFY(io.HasEMSExport());
        QVERIFY(io.HasEMSImport());
        QVERIFY(io.HasPhotoPath());
        QCOMPARE(io.EstimatePath(4), QStringLiteral("/data/export4"));
        QCOMPARE(io.EstimatePath(1), QString());
        QCOMPARE(io.EstimatePath(0), QString());
        QCOMPARE(io.EstimatePath(6), QString());
        QCOMPARE(io.EstimatePath(-1), QString());
    }

    void versionAndProcess()
    {
        TestAgent agent;
        IO io(agent.context);
        QCOMPARE(io.Version(), QStringLiteral("4.0.6"));
        QCOMPARE(io.ProcessID(), qint32(QCoreApplication::applicationPid()));
    }

    void formStatusNames()
    {
        TestAgent agent;
        IO io(agent.context);
        agent.forms.registerFactory(QStringLiteral("frmLocalSetup"), [] { return new QObject; });
        QCOMPARE(io.GetFormStatus(QStringLiteral("imagepicker")), QStringLiteral("UNLOADED"));
        QCOMPARE(io.GetFormStatus(QStringLiteral("LocalSetup")), QStringLiteral("UNLOADED"));
        io.PerformSetup();
        QCOMPARE(io.GetFormStatus(QStringLiteral("LOCALSETUP")), QStringLiteral("LOADED"));
        QCOMPARE(io.GetFormStatus(QStringLiteral("EstimatePicker")), QStringLiteral("UNLOADED"));
        QCOMPARE(io.GetFormStatus(QStringLiteral("frmImagePicker")), QStringLiteral("BADNAME"));
        QCOMPARE(io.GetFormStatus(QString()), QStringLiteral("BADNAME"));
    }

    void indexArgumentsFailWithConversionErrors()
    {
        TestAgent agent;
        IO io(agent.context);
        const int nameOf = 5;
        try {
            io.invoke(nameOf, {Variant("Files"), Variant("abc")});
            QFAIL("no error for a text index");
        } catch (const AutomationError& e) {
            QCOMPARE(e.number(), 13);
        }
        try {
            io.invoke(nameOf, {Variant("Files"), Variant(qint32(40000))});
            QFAIL("no error for an index beyond 16 bits");
        } catch (const AutomationError& e) {
            QCOMPARE(e.number(), 6);
        }
        QCOMPARE(io.invoke(nameOf, {Variant("Files"), Variant("2")}).result,
                 Variant("<bad file attach number>"));
        try {
            io.invoke(nameOf, {Variant("Files")});
            QFAIL("no error for a missing argument");
        } catch (const AutomationError& e) {
            QCOMPARE(e.number(), 450);
        }
    }

    void memberTableHasFortyFourSlotsInOrder()
    {
        const auto& table = IO::memberTable();
        QCOMPARE(table.size(), 44);
        for (int i = 0; i < table.size(); ++i)
            QCOMPARE(table[i].slot, i + 1);
        QCOMPARE(table[6].name, QStringLiteral("TheCaptionOf"));
        QCOMPARE(table[6].kind, MemberKind::Put);
        QCOMPARE(table[31].name, QStringLiteral("GetBasicEstimateInfo"));
        QCOMPARE(table[31].params.size(), 8);
        QCOMPARE(table[43].name, QStringLiteral("EstimatePath"));
    }
};

QTEST_GUILESS_MAIN(TestIOProperties)
#include "tst_ioproperties.moc"
