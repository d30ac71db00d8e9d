// The format dialog as the user meets it: a ticked box per offered slot, captioned with the
// slot's platform, and the selection it leaves after OK, Cancel or Escape.

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
        QTest::addColumn<QList<int>>("clicks"); // slots, in click order
        QTest::addColumn<QString>("button");    // "cmdOK", "cmdCancel" or "" for Escape
        QTest::addColumn<QStringList>("captions");
        QTest::addColumn<QString>("chosen");
        const QStringList cccMitchell{"EMS: CCC", "EMS: Mitchell"};
        QTest::newRow("untick the third")
            << "YNYNN" << QList<int>{3} << "cmdOK" << cccMitchell << "YNNNN";
        QTest::newRow("untick and tick again")
            << "YNYNN" << QList<int>{3, 3} << "cmdOK" << cccMitchell << "YNYNN";
        // Slot 5 is named by the sixth platform setting.
        QTest::newRow("untick the fifth") << "NYNNY" << QList<int>{5} << "cmdOK"
                                          << QStringList{"EMS: Audatex", "Custom #1"} << "NYNNN";
        QTest::newRow("OK with nothing ticked")
            << "YNYNN" << QList<int>{1, 3} << "cmdOK" << cccMitchell << "";
        QTest::newRow("Cancel") << "YNYNN" << QList<int>{3} << "cmdCancel" << cccMitchell << "";
        QTest::newRow("Escape") << "YNYNN" << QList<int>{} << "" << cccMitchell << "";
    }
    void choose()
    {
        QFETCH(QString, selection);
        QFETCH(QList<int>, clicks);
        QFETCH(QString, button);
        QFETCH(QStringList, captions);
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
            for (const int slot : clicks) {
                for (QCheckBox* box : dialog->boxes()) {
                    if (box->property("tag").toInt() == slot)
                        box->click();
                }
            }
            if (button.isEmpty())
                QTest::keyClick(dialog, Qt::Key_Escape);
            else
                dialog->findChild<QPushButton*>(button)->click();
        });
        clerk.start(0);
        test::ScriptedUi ui;
        QCOMPARE(FormatsDialog::choose(settings, selection, nullptr, ui), button == "cmdOK");
        QCOMPARE(seen, captions);
        QCOMPARE(selection, chosen);
        QCOMPARE(ui.raised, QStringList{"frmFormats"}); // in front of the browser
    }
};

QTEST_MAIN(TestFormatsDialog)
#include "tst_formatsdialog.moc"
