// The format dialog as the user meets it: a ticked box per offered slot, captioned with the
// slot's platform, and the selection it leaves after OK or Cancel.

#include "config/LocalSettings.h"
#include "delivery/FormatsDialog.h"
#include "support/ScriptedUi.h"

#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;

class TestFormatsDialog : public QObject {
    Q_OBJECT

private slots:
    void choose_data()
    {
        QTest::addColumn<QString>("selection");
        QTest::addColumn<int>("click");      // the slot whose box is clicked
        QTest::addColumn<QString>("button"); // "cmdOK" or "cmdCancel"
        QTest::addColumn<QString>("chosen");
        QTest::newRow("untick the third") << "YNYNN" << 3 << "cmdOK"
                                          << "YNNNN";
        // Slot 5 is named by the sixth platform setting.
        QTest::newRow("untick the fifth") << "NYNNY" << 5 << "cmdOK"
                                          << "NYNNN";
        QTest::newRow("Cancel") << "NYNNY" << 5 << "cmdCancel"
                                << "";
    }
    void choose()
    {
        QFETCH(QString, selection);
        QFETCH(int, click);
        QFETCH(QString, button);
        QFETCH(QString, chosen);
        QTemporaryDir dir;
        LocalSettings settings(dir.filePath(QStringLiteral("Local.ini")));
        settings.EMSEstPlatform = {QString(),   "EMS: CCC",     "EMS: Audatex", "EMS: Mitchell",
                                   "Xactimate", "*not defined", "Custom #1"};
        QStringList seen;
        QTimer clerk; // acts once the dialog is up
        connect(&clerk, &QTimer::timeout, this, [&] {
            auto* dialog = qobject_cast<FormatsDialog*>(QApplication::activeModalWidget());
            if (!dialog)
                return;
            clerk.stop();
            for (QCheckBox* box : dialog->boxes())
                seen << box->text() + (box->isChecked() ? "" : " (unticked)");
            for (QCheckBox* box : dialog->boxes()) {
                if (box->property("tag").toInt() == click)
                    box->click();
            }
            dialog->findChild<QPushButton*>(button)->click();
        });
        clerk.start(0);
        test::ScriptedUi ui;
        const QStringList captions = selection[0] == 'Y' ? QStringList{"EMS: CCC", "EMS: Mitchell"}
                                                         : QStringList{"EMS: Audatex", "Custom #1"};
        QCOMPARE(FormatsDialog::choose(settings, selection, nullptr, ui), button == "cmdOK");
        QCOMPARE(seen, captions);
        QCOMPARE(selection, chosen);
        QCOMPARE(ui.raised, QStringList{"frmFormats"}); // in front of the browser
    }
};

QTEST_MAIN(TestFormatsDialog)
#include "tst_formatsdialog.moc"
