// The "EMS Estimates" dialog with the scripted Ui: what is listed in which order, the single
// tick, the attach with its MIE check. Picking from the page: e2e.tst_agentestimatepicker.

#include "emswriter/EmsSetBuilder.h"
#include "estimates/EMSSelectForm.h"
#include "estimates/EstimateTableModel.h"
#include "support/FileContents.h"
#include "support/TestAgent.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

using namespace tarnaxe;
using namespace tarnaxe::test;

class TestEmsSelect : public QObject {
    Q_OBJECT

    std::unique_ptr<TestAgent> m_agent;
    QString m_exports;

    // A set exported at 8:00 on 2 March 2026 plus minutes, in the first export folder.
    QString writeSet(const QString& base, int minutes, const QByteArray& field = {},
                     const QByteArray& value = {})
    {
        emswriter::EmsSetBuilder set(m_exports, base);
        if (!field.isEmpty())
            set.set(field, value);
        const QDateTime at = QDateTime(QDate(2026, 3, 2), QTime(8, 0)).addSecs(minutes * 60);
        return set.exportedAt(at).write() ? set.envelopePath() : QString();
    }
    EMSSelectForm& openForm()
    {
        m_form =
            new EMSSelectForm({m_agent->settings, m_agent->state, m_agent->lists, m_agent->ui});
        m_form->show(); // it deletes itself when it closes
        if (m_form->isListing())
            QSignalSpy(m_form, &EMSSelectForm::listed).wait(10000);
        return *m_form;
    }
    QPointer<EMSSelectForm> m_form;

private slots:
    void init()
    {
        m_agent = std::make_unique<TestAgent>();
        m_exports = m_agent->home.path() + "/exports";
        QDir().mkpath(m_exports);
        m_agent->setSetting("EMSExportPath1", m_exports);
    }
    void cleanup() { delete m_form.data(); }

    // The 120 newest of the five folders, newest first, supplements too.
    // The set from an estimating program (in the fifth folder) is the newest.
    void listsTheNewestEnvelopes()
    {
        for (int i = 1; i <= 121; ++i)
            writeSet(QStringLiteral("%1").arg(i, 4, 10, QLatin1Char('0')), i);
        writeSet("0121", 121, "TRANS_TYPE", "S");
        m_agent->setSetting(
            "EMSExportPath5",
            QFileInfo(QFINDTESTDATA("../../tests/data/dbf/ems/QYUZK0P.env")).path());
        EMSSelectForm& form = openForm();
        const auto base = [&form](int row) {
            return QFileInfo(form.model().entry(row).FilePath).completeBaseName();
        };
        QCOMPARE(form.model().rowCount(), 120);
        QCOMPARE((QStringList{base(0), base(1), base(2), base(3), base(119)}),
                 (QStringList{"QYUZK0P", "0121", "0120", "0119", "0003"}));
        const QModelIndex supp = form.model().index(1, EstimateTableModel::SuppFlag);
        QCOMPARE(supp.data(Qt::AccessibleTextRole).toString(), "Supplement");
        QCOMPARE(form.model().index(2, 1).data().toString() +
                     form.model().index(2, 5).data().toString(),
                 "03/02/2026 10:00a$1,234.56");
    }

    // One row is ticked at a time, by mouse; attach needs one, and a Mitchell
    // estimate its MIE file while MIE is on.
    void ticksOneRowAndAttachesIt()
    {
        writeSet("CCC1", 1, "EST_SYSTEM", "C");
        const QString mitchell = writeSet("MIT1", 2, "CLM_NO", "77-123456-01");
        const QString mie = m_agent->home.path() + "/mie/23456_01.mie";
        m_agent->setSetting("MIERetrieval", QFileInfo(mie).path());
        m_agent->state.EnableMIE = true;
        QVERIFY(writeFileContents(QFileInfo(mie).path() + "/77_123456_02.mie", "another claim"));
        EMSSelectForm& form = openForm();
        form.cmdAttach_Click();
        QCOMPARE(m_agent->ui.lastText(), "You must select an estimate.");
        for (const auto& [row, checked] : {std::pair{1, 1}, {0, 0}, {0, -1}, {0, 0}}) {
            const QRect cell = form.grid()->visualRect(form.model().index(row, 0));
            QTest::mouseClick(form.grid()->viewport(), Qt::LeftButton, {},
                              cell.center() + QPoint(8, 0)); // beside the box, in its cell
            QCOMPARE(form.model().checkedRow(), checked);
        }
        form.cmdAttach_Click();
        QCOMPARE(m_agent->ui.lastText(), "A corresponding MIE file could not be located. ");
        QVERIFY(m_agent->lists.estimates().isEmpty() && form.isVisible());
        QVERIFY(writeFileContents(mie, "MIE"));
        const QPointer<EMSSelectForm> closing(&form);
        QTest::keyClick(form.grid(), Qt::Key_Return); // the default button
        QTRY_VERIFY(!closing);
        const EstimateRecord& record = m_agent->lists.estimates().value(0);
        QCOMPARE((QStringList{record.envelopeFile, record.creationDate, record.creationStamp,
                              record.claimNumber, record.platformCode, record.mieFile}),
                 (QStringList{mitchell, "03/02/26", "20260302080200", "77-123456-01", "M", mie}));
    }
};

QTEST_MAIN(TestEmsSelect)
#include "tst_emsselect.moc"
