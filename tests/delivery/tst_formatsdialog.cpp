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
    // Slots 2 and 5 are offered (slot 5 is named by the sixth platform setting); the clerk
    // unticks the fifth.
    void choose_data()
    {
        QTest::addColumn<QString>("button"); // "cmdOK" or "cmdCancel"
        QTest::addColumn<QString>("chosen");
        QTest::newRow("OK") << "cmdOK"
                            << "NYNNN";
        QTest::newRow("Cancel") << "cmdCancel"
                                << "";
    }
    void choose()
    {
        QFETCH(QString, button);
        QFETCH(QString, chosen);
        QString selection = QStringLiteral("NYNNY");
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
                if (box->property("tag").toInt() == 5)
                    box->click();
            }
            dialog->findChild<QPushButton*>(button)->click();
        });
        clerk.start(0);
        test::ScriptedUi ui;
        QCOMPARE(FormatsDialog::choose(settings, selection, nullptr, ui), button == "cmdOK");
        QCOMPARE(seen, (QStringList{"EMS: Audatex", "Custom #1"}));
        QCOMPARE(selection, chosen);
        QCOMPARE(ui.raised, QStringList{"frmFormats"}); // in front of the browser
    }
};

QTEST_MAIN(TestFormatsDialog)
#include "tst_formatsdialog.moc"
