// The "EMS Estimates" dialog over sets written at run time and a set written by an
// estimating program: which envelopes are listed and in what order, the single tick, the
// attach with its MIE check and notices, and the automatic attach question.

#include "automation/FormRegistry.h"
#include "emswriter/EmsSetBuilder.h"
#include "estimates/EMSSelectForm.h"
#include "estimates/EstimateTableModel.h"
#include "support/TestAgent.h"

#include <QDir>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;
using tarnaxe::emswriter::EmsSetBuilder;

namespace {

const QDateTime kStart(QDate(2026, 3, 2), QTime(8, 0));

// A set whose envelope was last written at kStart plus minutes.
QString writeSet(const QString& folder, const QString& base, int minutes,
                 const QList<std::pair<QByteArray, QByteArray>>& fields = {})
{
    EmsSetBuilder set(folder, base);
    for (const auto& [name, value] : fields)
        set.set(name, value);
    if (!set.write())
        return {};
    QFile envelope(set.envelopePath());
    envelope.open(QIODevice::ReadWrite);
    envelope.setFileTime(kStart.addSecs(minutes * 60), QFileDevice::FileModificationTime);
    return set.envelopePath();
}

QString text(EMSSelectForm& form, int row, int column)
{
    return form.model().index(row, column).data().toString();
}

QString baseOf(EMSSelectForm& form, int row)
{
    return QFileInfo(form.model().entry(row).FilePath).completeBaseName();
}

} // namespace

class TestEmsSelect : public QObject {
    Q_OBJECT

private:
    TestAgent* m_agent = nullptr;
    QString m_exports;
    QList<QPointer<EMSSelectForm>> m_forms; // each deletes itself when it closes

    EMSSelectForm* openForm()
    {
        auto* form =
            new EMSSelectForm({m_agent->settings, m_agent->state, m_agent->lists, m_agent->ui});
        m_forms << form;
        form->show();
        if (form->isListing())
            QSignalSpy(form, &EMSSelectForm::listed).wait(10000);
        return form;
    }

    void clickCheck(EMSSelectForm& form, int row, QPoint offset = {})
    {
        const QRect cell = form.grid()->visualRect(form.model().index(row, 0));
        QTest::mouseClick(form.grid()->viewport(), Qt::LeftButton, {}, cell.center() + offset);
    }

private slots:
    void init()
    {
        m_agent = new TestAgent;
        m_exports = m_agent->home.path() + QStringLiteral("/exports");
        QDir().mkpath(m_exports);
        m_agent->setSetting(QStringLiteral("EMSExportPath1"), m_exports);
    }
    void cleanup()
    {
        for (const auto& form : std::as_const(m_forms))
            delete form.data();
        m_forms.clear();
        delete m_agent;
    }

    // The 120 newest of the folders, newest first; a tie by path, read from the end; only
    // "E" and "S" envelopes; a row's other tables are read when it is shown.
    void listsTheNewestEnvelopes()
    {
        for (int i = 1; i <= 125; ++i)
            QVERIFY(!writeSet(m_exports, QStringLiteral("%1").arg(i, 4, 10, QLatin1Char('0')), i)
                         .isEmpty());
        writeSet(m_exports, QStringLiteral("0124"), 124, {{"TRANS_TYPE", "S"}});
        writeSet(m_exports, QStringLiteral("0125"), 125, {{"EST_SYSTEM", "m"}});
        writeSet(m_exports, QStringLiteral("0126"), 126, {{"TRANS_TYPE", "e"}});
        const QString second = m_agent->home.path() + QStringLiteral("/second exports");
        QDir().mkpath(second);
        writeSet(second, QStringLiteral("a"), 200);
        writeSet(second, QStringLiteral("B"), 200);
        QVERIFY(
            QFile::rename(second + QStringLiteral("/B.env"), second + QStringLiteral("/B.ENV")));
        QFile junk(second + QStringLiteral("/junk.ENV"));
        QVERIFY(junk.open(QIODevice::WriteOnly) && junk.write("not a table") > 0);
        junk.close();
        m_agent->setSetting(QStringLiteral("EMSExportPath2"), QStringLiteral(" %1 ").arg(second));
        m_agent->setSetting(QStringLiteral("EMSExportPath3"), junk.fileName());
        m_agent->setSetting(QStringLiteral("EMSExportPath4"), m_exports + QStringLiteral("/gone"));

        EMSSelectForm* form = openForm();
        QCOMPARE(form->model().rowCount(), 120);
        QCOMPARE(baseOf(*form, 0), QStringLiteral("B"));
        QCOMPARE(baseOf(*form, 1), QStringLiteral("a"));
        QCOMPARE(baseOf(*form, 2), QStringLiteral("0125"));
        QCOMPARE(baseOf(*form, 119), QStringLiteral("0008"));
        QCOMPARE(text(*form, 2, EstimateTableModel::EstType), QStringLiteral("Mitchell"));
        const QModelIndex supp = form->model().index(3, EstimateTableModel::SuppFlag);
        QVERIFY(!supp.data(Qt::DecorationRole).isNull());
        QCOMPARE(supp.data(Qt::AccessibleTextRole).toString(), QStringLiteral("Supplement"));
        QVERIFY(
            form->model().index(4, EstimateTableModel::SuppFlag).data(Qt::DecorationRole).isNull());

        // Read at display: a set that lost its tables since the listing shows empty facts.
        QFile::remove(m_exports + QStringLiteral("/0010a.ad1"));
        QFile::remove(m_exports + QStringLiteral("/0010.ttl"));
        const int row10 = 117;
        QCOMPARE(baseOf(*form, row10), QStringLiteral("0010"));
        QCOMPARE(text(*form, row10, EstimateTableModel::ForClaim), QString());
        QCOMPARE(text(*form, row10, EstimateTableModel::Amount), QStringLiteral("$0.00"));
        QCOMPARE(text(*form, row10, EstimateTableModel::Description),
                 QStringLiteral("07 FORD FOCUS SE"));
        const QStringList row = {text(*form, 4, 1), text(*form, 4, 2),  text(*form, 4, 3),
                                 text(*form, 4, 4), text(*form, 4, 5),  text(*form, 4, 6),
                                 text(*form, 4, 9), text(*form, 4, 10), text(*form, 4, 11)};
        QCOMPARE(row, (QStringList{"03/02/2026 10:03a", "Mitchell", "SAFE HARBOR MUTUAL",
                                   "12-345678-90", "$1,234.56", "07 FORD FOCUS SE", "SMITH, JOHN",
                                   "DOE, JANE", "ROE, RICHARD"}));
    }

    // A set exported by an estimating program, with only its envelope and vehicle tables.
    void listsARealExport()
    {
        const QString real = QFileInfo(QFINDTESTDATA("../data/dbf/ems/QYUZK0P.env")).absolutePath();
        m_agent->setSetting(QStringLiteral("EMSExportPath1"), real);
        EMSSelectForm* form = openForm();
        QCOMPARE(form->model().rowCount(), 1);
        QCOMPARE(text(*form, 0, EstimateTableModel::EstType), QStringLiteral("ADP"));
        QVERIFY(!text(*form, 0, EstimateTableModel::Description).trimmed().isEmpty());
        QCOMPARE(text(*form, 0, EstimateTableModel::ForClaim), QString());
    }

    void ticksOneRowAndAttachesIt()
    {
        writeSet(m_exports, QStringLiteral("CCC1"), 1, {{"EST_SYSTEM", "C"}});
        const QString mitchell = writeSet(m_exports, QStringLiteral("MIT1"), 2,
                                          {{"CLM_NO", "77-123456-01"}, {"TRANS_TYPE", "S"}});
        const QString mieFolder = m_agent->home.path() + QStringLiteral("/mie");
        QDir().mkpath(mieFolder);
        m_agent->setSetting(QStringLiteral("MIERetrieval"), mieFolder);
        m_agent->state.EnableMIE = true;
        EMSSelectForm* form = openForm();
        form->cmdAttach_Click();
        QCOMPARE(m_agent->ui.lastText(), QStringLiteral("You must select an estimate."));
        QCOMPARE(m_agent->ui.boxes.last().title, QStringLiteral("No estimate selected"));

        clickCheck(*form, 1, {8, 0}); // beside the box, still in its cell
        QCOMPARE(form->model().checkedRow(), 1);
        clickCheck(*form, 0);
        QCOMPARE(form->model().checkedRow(), 0);
        clickCheck(*form, 0);
        QCOMPARE(form->model().checkedRow(), -1);
        form->grid()->setFocus();
        form->grid()->setCurrentIndex(form->model().index(0, EstimateTableModel::Owner));
        QTest::keyClick(form->grid(), Qt::Key_Space);
        QCOMPARE(form->model().checkedRow(), 0);

        // A Mitchell estimate needs its MIE file while MIE is on.
        form->cmdAttach_Click();
        QCOMPARE(m_agent->ui.lastText(), QStringLiteral("A corresponding MIE file could not be "
                                                        "located. "));
        QCOMPARE(m_agent->ui.boxes.last().icon, MessageIcon::Critical);
        QVERIFY(m_agent->lists.estimates().isEmpty() && form->isVisible());
        QFile mie(mieFolder + QStringLiteral("/23456_01.mie"));
        QVERIFY(mie.open(QIODevice::WriteOnly) && mie.write("MIE") == 3);
        mie.close();
        const QPointer<EMSSelectForm> closing(form);
        QTest::keyClick(form->grid(), Qt::Key_Return); // the default button
        QTRY_VERIFY(!closing);
        QCOMPARE(m_agent->lists.estimates().size(), 1);
        QCOMPARE(m_agent->ui.lastText(), QStringLiteral("Estimate was attached!"));
        const EstimateRecord& record = m_agent->lists.estimates().first();
        const QStringList fields = {record.envelopeFile,
                                    record.estimateFileId.trimmed(),
                                    record.supplementNumber,
                                    record.creationDate,
                                    record.creationStamp,
                                    record.vehicle,
                                    record.owner,
                                    record.claimNumber,
                                    record.baseName,
                                    record.platformCode,
                                    record.mieFile};
        QCOMPARE(fields, (QStringList{mitchell, "EST-0001", "E01", "03/02/26", "20260302080200",
                                      "07 FORD FOCUS SE", "DOE, JANE", "77-123456-01",
                                      m_exports + "/MIT1", "M", mie.fileName()}));

        // "$$$" attaches without the notice; "SELECT" only renames the button.
        m_agent->state.EnableMIE = false;
        m_agent->state.CurrentPolicyClaim = QStringLiteral("$$$");
        const int boxes = int(m_agent->ui.boxes.size());
        EMSSelectForm* quiet = openForm();
        quiet->model().setChecked(0, true);
        quiet->cmdAttach_Click();
        QCOMPARE(m_agent->lists.estimates().size(), 2);
        QCOMPARE(m_agent->lists.estimates().last().mieFile, QString());
        QCOMPARE(m_agent->ui.boxes.size(), boxes);
        m_agent->state.CurrentPolicyClaim = QStringLiteral("SELECT");
        EMSSelectForm* select = openForm();
        QCOMPARE(select->findChild<QPushButton*>(QStringLiteral("cmdAttach"))->text(),
                 QStringLiteral("Select Estimate"));
    }

    // Declining leaves the dialog as it was; a match beyond the 120 newest asks nothing.
    void autoAttachQuestion()
    {
        for (int i = 1; i <= 122; ++i)
            writeSet(m_exports, QStringLiteral("%1").arg(i, 4, 10, QLatin1Char('0')), i,
                     {{"CLM_NO", i == 1 ? "OLD-1" : "C-9"}, {"V_VIN", i == 40 ? "VIN40" : "VIN"}});
        m_agent->state.AutoSelectMode = true;
        m_agent->state.AutoClaim = QStringLiteral("C-9");
        m_agent->state.AutoVIN = QStringLiteral("VIN40");
        EMSSelectForm* form = openForm();
        QDialog* confirm = nullptr;
        QTRY_VERIFY((confirm = form->findChild<QDialog*>(QStringLiteral("frmAutoAtt"))));
        QCOMPARE(confirm->windowTitle(), QStringLiteral("Attach This Estimate?"));
        const auto label = [&](const char* name) {
            return confirm->findChild<QLabel*>(QLatin1String(name))->text();
        };
        QCOMPARE((QStringList{label("lblInsCo"), label("lblClaimNumber"), label("lblEstDate"),
                              label("lblAmount"), label("lblVehicle")}),
                 (QStringList{"", "C-9", "Mar 2 2026 08:40 a", "$1234.56", "07 FORD FOCUS SE"}));
        confirm->findChild<QPushButton*>(QStringLiteral("cmdCancel"))->click();
        QVERIFY(form->isVisible() && m_agent->lists.estimates().isEmpty());
        QCOMPARE(form->model().checkedRow(), -1);

        m_agent->state.AutoClaim = QStringLiteral("OLD-1");
        m_agent->state.AutoVIN = QStringLiteral("VIN");
        EMSSelectForm* beyond = openForm();
        QTest::qWait(700);
        QVERIFY(!beyond->findChild<QDialog*>(QStringLiteral("frmAutoAtt")));
    }
};

QTEST_MAIN(TestEmsSelect)
#include "tst_emsselect.moc"
