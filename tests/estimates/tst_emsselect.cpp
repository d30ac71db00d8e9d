// The "EMS Estimates" dialog over sets written at run time and a set written by an
// estimating program: which envelopes are listed and in what order, the single tick, the
// attach with its MIE check and notices.

#include "automation/FormRegistry.h"
#include "emswriter/EmsSetBuilder.h"
#include "estimates/EMSSelectForm.h"
#include "estimates/EstimateTableModel.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"

#include <QDir>
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

// A set exported at kStart plus minutes.
QString writeSet(const QString& folder, const QString& base, int minutes,
                 const QList<std::pair<QByteArray, QByteArray>>& fields = {})
{
    EmsSetBuilder set(folder, base);
    for (const auto& [name, value] : fields)
        set.set(name, value);
    return set.exportedAt(kStart.addSecs(minutes * 60)).write() ? set.envelopePath() : QString();
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

    void clickCheck(EMSSelectForm& form, int row, QPoint offset)
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
    // "E" and "S" envelopes; a row's other tables are read when it is shown. The set from
    // an estimating program (envelope and vehicle only) is the newest: checked out today.
    void listsTheNewestEnvelopes()
    {
        for (int i = 1; i <= 125; ++i)
            writeSet(m_exports, QStringLiteral("%1").arg(i, 4, 10, QLatin1Char('0')), i);
        writeSet(m_exports, QStringLiteral("0124"), 124, {{"TRANS_TYPE", "S"}});
        writeSet(m_exports, QStringLiteral("0125"), 125, {{"EST_SYSTEM", "m"}});
        writeSet(m_exports, QStringLiteral("0126"), 126, {{"TRANS_TYPE", "e"}});
        const QString second = m_agent->home.path() + QStringLiteral("/second exports");
        QDir().mkpath(second);
        writeSet(second, QStringLiteral("a"), 200);
        writeSet(second, QStringLiteral("B"), 200);
        QVERIFY(QFile::rename(second + "/B.env", second + "/B.ENV"));
        const QString junk = second + QStringLiteral("/junk.ENV");
        QVERIFY(writeFileContents(junk, "not a table"));
        m_agent->setSetting(QStringLiteral("EMSExportPath2"), QStringLiteral(" %1 ").arg(second));
        m_agent->setSetting(QStringLiteral("EMSExportPath3"), junk);
        m_agent->setSetting(QStringLiteral("EMSExportPath4"), m_exports + QStringLiteral("/gone"));
        m_agent->setSetting(QStringLiteral("EMSExportPath5"),
                            QFileInfo(QFINDTESTDATA("../data/dbf/ems/QYUZK0P.env")).path());

        EMSSelectForm* form = openForm();
        QCOMPARE(form->model().rowCount(), 120);
        QCOMPARE((QStringList{baseOf(*form, 0), baseOf(*form, 1), baseOf(*form, 2),
                              baseOf(*form, 3), baseOf(*form, 119)}),
                 (QStringList{"QYUZK0P", "B", "a", "0125", "0009"}));
        QCOMPARE((QStringList{text(*form, 0, 2), text(*form, 0, 4), text(*form, 3, 2)}),
                 (QStringList{"ADP", "", "Mitchell"}));
        const QModelIndex supp = form->model().index(4, EstimateTableModel::SuppFlag);
        QCOMPARE(supp.data(Qt::AccessibleTextRole).toString(), QStringLiteral("Supplement"));
        QVERIFY(!supp.data(Qt::DecorationRole).isNull() &&
                supp.siblingAtRow(5).data(Qt::DecorationRole).isNull());
        const QStringList row = {text(*form, 5, 1), text(*form, 5, 2),  text(*form, 5, 3),
                                 text(*form, 5, 4), text(*form, 5, 5),  text(*form, 5, 6),
                                 text(*form, 5, 9), text(*form, 5, 10), text(*form, 5, 11)};
        QCOMPARE(row, (QStringList{"03/02/2026 10:03a", "Mitchell", "SAFE HARBOR MUTUAL",
                                   "12-345678-90", "$1,234.56", "07 FORD FOCUS SE", "SMITH, JOHN",
                                   "DOE, JANE", "ROE, RICHARD"}));

        // A set that lost tables between the listing and the display shows empty facts.
        QFile::remove(m_exports + QStringLiteral("/0010a.ad1"));
        QFile::remove(m_exports + QStringLiteral("/0010.ttl"));
        QCOMPARE(baseOf(*form, 118), QStringLiteral("0010"));
        QCOMPARE((QStringList{text(*form, 118, 4), text(*form, 118, 5), text(*form, 118, 6)}),
                 (QStringList{"", "$0.00", "07 FORD FOCUS SE"}));
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

        for (const auto& [row, checked] : {std::pair{1, 1}, {0, 0}, {0, -1}}) {
            clickCheck(*form, row, {8, 0}); // beside the box, still in its cell
            QCOMPARE(form->model().checkedRow(), checked);
        }
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
        const QString mie = mieFolder + QStringLiteral("/23456_01.mie");
        QVERIFY(writeFileContents(mie, "MIE"));
        const QPointer<EMSSelectForm> closing(form);
        QTest::keyClick(form->grid(), Qt::Key_Return); // the default button
        QTRY_VERIFY(!closing);
        QCOMPARE(m_agent->lists.estimates().size(), 1);
        QCOMPARE(m_agent->ui.lastText(), QStringLiteral("Estimate was attached!"));
        const EstimateRecord& record = m_agent->lists.estimates().first();
        QCOMPARE(
            (QStringList{record.envelopeFile, record.creationDate, record.creationStamp,
                         record.claimNumber, record.baseName, record.platformCode, record.mieFile}),
            (QStringList{mitchell, "03/02/26", "20260302080200", "77-123456-01",
                         m_exports + "/MIT1", "M", mie}));

        // "$$$" attaches without the notice; "SELECT" only renames the button.
        m_agent->state.EnableMIE = false;
        m_agent->state.CurrentPolicyClaim = QStringLiteral("$$$");
        const int boxes = int(m_agent->ui.boxes.size());
        EMSSelectForm* quiet = openForm();
        quiet->model().setChecked(0, true);
        quiet->cmdAttach_Click();
        QCOMPARE(m_agent->lists.estimates().size(), 2);
        QCOMPARE(m_agent->ui.boxes.size(), boxes);
        m_agent->state.CurrentPolicyClaim = QStringLiteral("SELECT");
        QCOMPARE(openForm()->findChild<QPushButton*>("cmdAttach")->text(), "Select Estimate");
    }
};

QTEST_MAIN(TestEmsSelect)
#include "tst_emsselect.moc"
