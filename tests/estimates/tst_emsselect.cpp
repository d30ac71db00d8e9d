// The "EMS Estimates" dialog with the scripted Ui, over sets written at run time and a set
// written by an estimating program: which envelopes are listed in what order, the single
// tick, the attach with its MIE check and notices.

#include "emswriter/EmsSetBuilder.h"
#include "estimates/EMSSelectForm.h"
#include "estimates/EstimateTableModel.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"

#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;
using tarnaxe::emswriter::EmsSetBuilder;

namespace {

// A set exported at 8:00 on 2 March 2026 plus minutes.
QString writeSet(const QString& folder, const QString& base, int minutes,
                 const QList<std::pair<QByteArray, QByteArray>>& fields = {})
{
    EmsSetBuilder set(folder, base);
    for (const auto& [name, value] : fields)
        set.set(name, value);
    const QDateTime at = QDateTime(QDate(2026, 3, 2), QTime(8, 0)).addSecs(minutes * 60);
    return set.exportedAt(at).write() ? set.envelopePath() : QString();
}

} // namespace

class TestEmsSelect : public QObject {
    Q_OBJECT

    std::unique_ptr<TestAgent> m_agent;
    QString m_exports;
    QList<QPointer<EMSSelectForm>> m_forms; // each deletes itself when it closes

    EMSSelectForm& openForm()
    {
        auto* form =
            new EMSSelectForm({m_agent->settings, m_agent->state, m_agent->lists, m_agent->ui});
        m_forms << form;
        form->show();
        if (form->isListing())
            QSignalSpy(form, &EMSSelectForm::listed).wait(10000);
        return *form;
    }
    // Row cells as text, or the base name of the row's envelope for column -1.
    static QStringList row(EMSSelectForm& form, int row, const QList<int>& columns)
    {
        QStringList cells;
        for (int column : columns)
            cells << (column < 0 ? QFileInfo(form.model().entry(row).FilePath).completeBaseName()
                                 : form.model().index(row, column).data().toString());
        return cells;
    }

private slots:
    void init()
    {
        m_agent = std::make_unique<TestAgent>();
        m_exports = m_agent->home.path() + "/exports";
        QDir().mkpath(m_exports);
        m_agent->setSetting("EMSExportPath1", m_exports);
    }
    void cleanup()
    {
        for (const auto& form : std::as_const(m_forms))
            delete form.data();
        m_forms.clear();
        m_agent.reset();
    }

    // The 120 newest of the five folders, newest first; a tie by path, read from the end;
    // only "E" and "S" envelopes; a row's other tables are read when it is shown. The set
    // from an estimating program (envelope and vehicle only) is the newest.
    void listsTheNewestEnvelopes()
    {
        for (int i = 1; i <= 125; ++i)
            writeSet(m_exports, QStringLiteral("%1").arg(i, 4, 10, QLatin1Char('0')), i);
        writeSet(m_exports, "0124", 124, {{"TRANS_TYPE", "S"}});
        writeSet(m_exports, "0125", 125, {{"EST_SYSTEM", "m"}});
        writeSet(m_exports, "0126", 126, {{"TRANS_TYPE", "e"}});
        const QString second = m_agent->home.path() + "/second exports";
        QDir().mkpath(second);
        writeSet(second, "a", 200);
        writeSet(second, "B", 200);
        QVERIFY(QFile::rename(second + "/B.env", second + "/B.ENV"));
        QVERIFY(writeFileContents(second + "/junk.ENV", "not a table"));
        m_agent->setSetting("EMSExportPath2", " " + second + " ");
        m_agent->setSetting("EMSExportPath3", second + "/junk.ENV");
        m_agent->setSetting("EMSExportPath4", m_exports + "/gone");
        m_agent->setSetting(
            "EMSExportPath5",
            QFileInfo(QFINDTESTDATA("../../tests/data/dbf/ems/QYUZK0P.env")).path());

        EMSSelectForm& form = openForm();
        QCOMPARE(form.model().rowCount(), 120);
        QCOMPARE(row(form, 0, {-1, 2, 4}), (QStringList{"QYUZK0P", "ADP", ""}));
        QCOMPARE(row(form, 1, {-1}) + row(form, 2, {-1}) + row(form, 3, {-1, 2}) +
                     row(form, 119, {-1}),
                 (QStringList{"B", "a", "0125", "Mitchell", "0009"}));
        const QModelIndex supp = form.model().index(4, EstimateTableModel::SuppFlag);
        QCOMPARE(supp.data(Qt::AccessibleTextRole).toString(), "Supplement");
        QVERIFY(!supp.data(Qt::DecorationRole).isNull() &&
                supp.siblingAtRow(5).data(Qt::DecorationRole).isNull());
        QCOMPARE(row(form, 5, {1, 2, 3, 4, 5, 6, 9, 10, 11}),
                 (QStringList{"03/02/2026 10:03a", "Mitchell", "SAFE HARBOR MUTUAL", "12-345678-90",
                              "$1,234.56", "07 FORD FOCUS SE", "SMITH, JOHN", "DOE, JANE",
                              "ROE, RICHARD"}));
        // A set that lost tables between the listing and the display shows empty facts.
        QFile::remove(m_exports + "/0010a.ad1");
        QFile::remove(m_exports + "/0010.ttl");
        QCOMPARE(row(form, 118, {-1, 4, 5, 6}),
                 (QStringList{"0010", "", "$0.00", "07 FORD FOCUS SE"}));
    }

    // One row is ticked at a time, by mouse or Space; attach needs one, and a Mitchell
    // estimate its MIE file while MIE is on; "$$$" attaches without the notice.
    void ticksOneRowAndAttachesIt()
    {
        writeSet(m_exports, "CCC1", 1, {{"EST_SYSTEM", "C"}});
        const QString mitchell =
            writeSet(m_exports, "MIT1", 2, {{"CLM_NO", "77-123456-01"}, {"TRANS_TYPE", "S"}});
        const QString mie = m_agent->home.path() + "/mie/23456_01.mie";
        m_agent->setSetting("MIERetrieval", QFileInfo(mie).path());
        m_agent->state.EnableMIE = true;
        EMSSelectForm& form = openForm();
        form.cmdAttach_Click();
        QCOMPARE(m_agent->ui.lastText(), "You must select an estimate.");
        QCOMPARE(m_agent->ui.boxes.last().title, "No estimate selected");

        for (const auto& [row, checked] : {std::pair{1, 1}, {0, 0}, {0, -1}}) {
            const QRect cell = form.grid()->visualRect(form.model().index(row, 0));
            // Beside the box, still in its cell.
            QTest::mouseClick(form.grid()->viewport(), Qt::LeftButton, {},
                              cell.center() + QPoint(8, 0));
            QCOMPARE(form.model().checkedRow(), checked);
        }
        form.grid()->setFocus();
        form.grid()->setCurrentIndex(form.model().index(0, EstimateTableModel::Owner));
        QTest::keyClick(form.grid(), Qt::Key_Space);
        QCOMPARE(form.model().checkedRow(), 0);

        form.cmdAttach_Click();
        QCOMPARE(m_agent->ui.lastText(), "A corresponding MIE file could not be located. ");
        QCOMPARE(m_agent->ui.boxes.last().icon, MessageIcon::Critical);
        QVERIFY(m_agent->lists.estimates().isEmpty() && form.isVisible());
        QVERIFY(writeFileContents(mie, "MIE"));
        const QPointer<EMSSelectForm> closing(&form);
        QTest::keyClick(form.grid(), Qt::Key_Return); // the default button
        QTRY_VERIFY(!closing);
        QCOMPARE(m_agent->ui.lastText(), "Estimate was attached!");
        const EstimateRecord& record = m_agent->lists.estimates().value(0);
        QCOMPARE(
            (QStringList{record.envelopeFile, record.creationDate, record.creationStamp,
                         record.claimNumber, record.baseName, record.platformCode, record.mieFile}),
            (QStringList{mitchell, "03/02/26", "20260302080200", "77-123456-01",
                         m_exports + "/MIT1", "M", mie}));

        m_agent->state.EnableMIE = false;
        m_agent->state.CurrentPolicyClaim = "$$$";
        const qsizetype boxes = m_agent->ui.boxes.size();
        EMSSelectForm& quiet = openForm();
        quiet.model().setChecked(0, true);
        quiet.cmdAttach_Click();
        QCOMPARE(m_agent->lists.estimates().size(), 2);
        QCOMPARE(m_agent->ui.boxes.size(), boxes);
        m_agent->state.CurrentPolicyClaim = "SELECT"; // only renames the button
        QCOMPARE(openForm().findChild<QPushButton*>("cmdAttach")->text(), "Select Estimate");
    }
};

QTEST_MAIN(TestEmsSelect)
#include "tst_emsselect.moc"
