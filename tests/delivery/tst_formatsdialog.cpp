// The format dialog as the user sees it: a ticked box per offered slot, captioned with
// the slot's platform, and the selection it leaves after OK, Cancel or Escape.

#include "config/LocalSettings.h"
#include "delivery/FormatsDialog.h"
#include "support/ScriptedUi.h"

#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <functional>

using namespace tarnaxe;

namespace {

// A point that toggles the box: its indicator or caption, not the empty width beside.
QPoint clickPoint(QCheckBox* box)
{
    QStyleOptionButton option;
    option.initFrom(box);
    option.text = box->text();
    return box->style()->subElementRect(QStyle::SE_CheckBoxClickRect, &option, box).center();
}

void click(QCheckBox* box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, clickPoint(box));
}

// The dialog's boxes from top to bottom.
QList<QCheckBox*> boxesTopDown(const QDialog& dialog)
{
    QList<QCheckBox*> boxes = dialog.findChildren<QCheckBox*>();
    std::sort(boxes.begin(), boxes.end(),
              [](QCheckBox* a, QCheckBox* b) { return a->geometry().top() < b->geometry().top(); });
    return boxes;
}

QCheckBox* boxOfSlot(const QDialog& dialog, int slot)
{
    for (QCheckBox* box : dialog.findChildren<QCheckBox*>()) {
        if (box->property("tag").toInt() == slot)
            return box;
    }
    return nullptr;
}

// Runs drive on the format dialog once FormatsDialog::choose has put it up. Gives up
// after a few seconds (failed stays true), and closes a dialog that drive left open,
// so that a fault shows as a failure rather than a hang.
class ModalDriver {
public:
    explicit ModalDriver(std::function<void(QDialog&)> drive) : m_drive(std::move(drive))
    {
        QTimer::singleShot(0, &m_guard, [this] { poll(); });
    }

    bool failed = true;
    bool leftOpen = false;

private:
    void poll()
    {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog || dialog->objectName() != QLatin1String("frmFormats") ||
            !dialog->isVisible()) {
            if (++m_polls < 500)
                QTimer::singleShot(10, &m_guard, [this] { poll(); });
            return;
        }
        failed = false;
        m_drive(*dialog);
        if (dialog->isVisible()) {
            leftOpen = true;
            dialog->done(QDialog::Rejected);
        }
    }

    std::function<void(QDialog&)> m_drive;
    int m_polls = 0;
    QObject m_guard; // takes a queued poll with it when the driver goes
};

} // namespace

class TestFormatsDialog : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LocalSettings> m_settings;

    // Shows the dialog and waits until it can take clicks.
    static bool showAndWait(FormatsDialog& dialog)
    {
        dialog.show();
        return QTest::qWaitForWindowExposed(&dialog);
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_settings = std::make_unique<LocalSettings>(m_dir->filePath(QStringLiteral("Local.ini")));
        m_settings->EMSEstPlatform = {QString(),
                                      QStringLiteral("EMS: CCC"),
                                      QStringLiteral("EMS: Audatex"),
                                      QStringLiteral("EMS: Mitchell"),
                                      QStringLiteral("Xactimate"),
                                      QStringLiteral("*not defined"),
                                      QStringLiteral("Custom #1")};
    }
    void cleanup()
    {
        m_settings.reset();
        m_dir.reset();
    }

    void boxesPerSlot_data();
    void boxesPerSlot();
    void toggling_data();
    void toggling();
    void okWithNothingTicked();
    void cancelEmptiesTheSelection_data();
    void cancelEmptiesTheSelection();
    void choose_data();
    void choose();
};

void TestFormatsDialog::boxesPerSlot_data()
{
    QTest::addColumn<QString>("selection");
    QTest::addColumn<QList<int>>("slotList");
    QTest::addColumn<QStringList>("captions");
    QTest::newRow("first and third")
        << "YNYNN" << QList<int>{1, 3} << QStringList{"EMS: CCC", "EMS: Mitchell"};
    // Slot 5 is named by the sixth platform setting.
    QTest::newRow("fifth only") << "NNNNY" << QList<int>{5} << QStringList{"Custom #1"};
    QTest::newRow("all five") << "YYYYY" << QList<int>{1, 2, 3, 4, 5}
                              << QStringList{"EMS: CCC", "EMS: Audatex", "EMS: Mitchell",
                                             "Xactimate", "Custom #1"};
}

void TestFormatsDialog::boxesPerSlot()
{
    QFETCH(QString, selection);
    QFETCH(QList<int>, slotList);
    QFETCH(QStringList, captions);
    const QString original = selection;
    FormatsDialog dialog(*m_settings, selection);
    QVERIFY(showAndWait(dialog));
    QCOMPARE(dialog.objectName(), QStringLiteral("frmFormats"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Select Assignment Format(s)"));

    const QList<QCheckBox*> boxes = boxesTopDown(dialog);
    QCOMPARE(boxes.size(), slotList.size());
    QCOMPARE(dialog.boxes(), boxes);
    QRect previous;
    for (int i = 0; i < boxes.size(); ++i) {
        QCheckBox* box = boxes[i];
        const QString where = QStringLiteral("box %1").arg(i + 1);
        QVERIFY2(box->objectName() == QLatin1String("chkFormat"), qPrintable(where));
        QVERIFY2(box->property("tag").toInt() == slotList[i], qPrintable(where));
        QVERIFY2(box->text() == captions[i],
                 qPrintable(where + QStringLiteral(": ") + box->text()));
        QVERIFY2(box->isChecked(), qPrintable(where + QStringLiteral(" is not ticked")));
        QVERIFY2(box->isVisible(), qPrintable(where + QStringLiteral(" is hidden")));
        QVERIFY2(dialog.rect().contains(box->geometry()),
                 qPrintable(where + QStringLiteral(" lies outside the dialog")));
        if (i > 0)
            QVERIFY2(box->geometry().top() > previous.bottom(),
                     qPrintable(where + QStringLiteral(" overlaps the one above")));
        previous = box->geometry();
    }

    for (const char* name : {"cmdOK", "cmdCancel"}) {
        auto* button = dialog.findChild<QPushButton*>(QLatin1String(name));
        QVERIFY2(button, name);
        QVERIFY2(button->isVisible(), name);
        QVERIFY2(button->geometry().top() > previous.bottom(),
                 qPrintable(QLatin1String(name) + QStringLiteral(" is not below the last box")));
        QVERIFY2(dialog.rect().contains(button->geometry()),
                 qPrintable(QLatin1String(name) + QStringLiteral(" lies outside the dialog")));
    }
    // Only the user's clicks change the selection.
    QCOMPARE(selection, original);
}

void TestFormatsDialog::toggling_data()
{
    QTest::addColumn<QString>("selection");
    QTest::addColumn<QList<int>>("clicks"); // slots, in click order
    QTest::addColumn<QString>("afterOK");
    QTest::newRow("untick the first") << "YNYNN" << QList<int>{1} << "NNYNN";
    QTest::newRow("untick the third") << "YNYNN" << QList<int>{3} << "YNNNN";
    QTest::newRow("untick and tick again") << "YNYNN" << QList<int>{3, 3} << "YNYNN";
    QTest::newRow("untick the fifth") << "NYNNY" << QList<int>{5} << "NYNNN";
    QTest::newRow("nothing clicked") << "YYYYY" << QList<int>{} << "YYYYY";
}

void TestFormatsDialog::toggling()
{
    QFETCH(QString, selection);
    QFETCH(QList<int>, clicks);
    QFETCH(QString, afterOK);
    FormatsDialog dialog(*m_settings, selection);
    QVERIFY(showAndWait(dialog));
    for (const int slot : clicks) {
        QCheckBox* box = boxOfSlot(dialog, slot);
        QVERIFY2(box, qPrintable(QStringLiteral("no box for slot %1").arg(slot)));
        const bool was = box->isChecked();
        click(box);
        QVERIFY2(box->isChecked() != was, "the click did not toggle the box");
        QCOMPARE(selection.mid(slot - 1, 1),
                 box->isChecked() ? QStringLiteral("Y") : QStringLiteral("N"));
    }
    QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
    QCOMPARE(selection, afterOK);
    QVERIFY(dialog.resultFlag());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QVERIFY(!dialog.isVisible());
}

void TestFormatsDialog::okWithNothingTicked()
{
    QString selection = QStringLiteral("YNYNN");
    FormatsDialog dialog(*m_settings, selection);
    QVERIFY(showAndWait(dialog));
    for (QCheckBox* box : dialog.findChildren<QCheckBox*>())
        click(box);
    QCOMPARE(selection, QStringLiteral("NNNNN"));
    QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
    QCOMPARE(selection, QString());
    QVERIFY(dialog.resultFlag());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

void TestFormatsDialog::cancelEmptiesTheSelection_data()
{
    QTest::addColumn<bool>("untickFirst");
    QTest::newRow("untouched") << false;
    QTest::newRow("after unticking a box") << true;
}

void TestFormatsDialog::cancelEmptiesTheSelection()
{
    QFETCH(bool, untickFirst);
    QString selection = QStringLiteral("YNYNN");
    FormatsDialog dialog(*m_settings, selection);
    QVERIFY(showAndWait(dialog));
    if (untickFirst)
        click(boxOfSlot(dialog, 3));
    QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdCancel")), Qt::LeftButton);
    QCOMPARE(selection, QString());
    QVERIFY(!dialog.resultFlag());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QVERIFY(!dialog.isVisible());
}

void TestFormatsDialog::choose_data()
{
    QTest::addColumn<QString>("action"); // "escape", "cancel", "untick 3", "untick all"
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("selection");
    QTest::newRow("Escape counts as Cancel") << "escape" << false << "";
    QTest::newRow("Cancel") << "cancel" << false << "";
    QTest::newRow("untick one, OK") << "untick 3" << true << "YNNNN";
    QTest::newRow("untick all, OK") << "untick all" << true << "";
}

void TestFormatsDialog::choose()
{
    QFETCH(QString, action);
    QFETCH(bool, result);
    QFETCH(QString, selection);
    ModalDriver driver([action](QDialog& dialog) {
        if (action == QLatin1String("escape")) {
            QTest::keyClick(&dialog, Qt::Key_Escape);
            return;
        }
        if (action == QLatin1String("cancel")) {
            QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdCancel")),
                              Qt::LeftButton);
            return;
        }
        for (QCheckBox* box : dialog.findChildren<QCheckBox*>()) {
            if (action == QLatin1String("untick all") || box->property("tag").toInt() == 3)
                click(box);
        }
        QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("cmdOK")), Qt::LeftButton);
    });
    QString chosen = QStringLiteral("YNYNN");
    test::ScriptedUi ui;
    const bool answer = FormatsDialog::choose(*m_settings, chosen, nullptr, ui);
    QVERIFY2(!driver.failed, "the dialog was never shown modally");
    QCOMPARE(ui.raised, QStringList{QStringLiteral("frmFormats")}); // in front of the browser
    QVERIFY2(!driver.leftOpen, "the dialog stayed open");
    QCOMPARE(answer, result);
    QCOMPARE(chosen, selection);
}

QTEST_MAIN(TestFormatsDialog)
#include "tst_formatsdialog.moc"
