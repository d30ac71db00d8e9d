// The Qt window system as the agent uses it: boxes answer with the button pressed, and
// bringing a window to the front keeps it where and as large as it was.

#include "platform/QtUi.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QWidget>
#include <QWindow>

using namespace tarnaxe;

namespace {

// Presses the given button of the next message box once it is shown.
void pressWhenShown(QMessageBox::StandardButton button, QString* seenText, QString* seenTitle)
{
    QTimer::singleShot(50, [=] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        *seenText = box->text();
        *seenTitle = box->windowTitle();
        box->button(button)->click();
    });
}

} // namespace

class TestQtUi : public QObject {
    Q_OBJECT

private slots:
    void messageBoxAnswersWithThePressedButton_data()
    {
        QTest::addColumn<int>("buttons");
        QTest::addColumn<int>("press");
        QTest::addColumn<int>("answer");
        QTest::newRow("yes") << int(MessageButtons::YesNo) << int(QMessageBox::Yes)
                             << int(MessageAnswer::Yes);
        QTest::newRow("no") << int(MessageButtons::YesNo) << int(QMessageBox::No)
                            << int(MessageAnswer::No);
        QTest::newRow("cancel") << int(MessageButtons::OkCancel) << int(QMessageBox::Cancel)
                                << int(MessageAnswer::Cancel);
        QTest::newRow("retry") << int(MessageButtons::RetryCancel) << int(QMessageBox::Retry)
                               << int(MessageAnswer::Retry);
    }
    void messageBoxAnswersWithThePressedButton()
    {
        QFETCH(int, buttons);
        QFETCH(int, press);
        QFETCH(int, answer);
        QtUi ui;
        QString text, title;
        pressWhenShown(QMessageBox::StandardButton(press), &text, &title);
        const MessageAnswer got = ui.messageBox({QStringLiteral("Do you want to resume sending?"),
                                                 QStringLiteral("Notice"), MessageIcon::Question,
                                                 MessageButtons(buttons), false});
        QCOMPARE(int(got), answer);
        QCOMPARE(text, QStringLiteral("Do you want to resume sending?"));
        QCOMPARE(title, QStringLiteral("Notice"));
    }

    void bringToFrontKeepsPlaceAndSize()
    {
        QWidget window;
        window.setObjectName(QStringLiteral("frmIO"));
        window.setGeometry(120, 140, 300, 200);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const QRect before = window.geometry();
        QtUi ui;
        ui.bringToFront(&window);
        QVERIFY(window.isVisible());
        QCOMPARE(window.geometry(), before);
        QVERIFY(!(window.windowHandle()->flags() & Qt::WindowStaysOnTopHint));
    }

    void closeWindowUnloadsAWidget()
    {
        QPointer<QWidget> window = new QWidget;
        window->show();
        QtUi ui;
        ui.closeWindow(window);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(window.isNull());
    }
};

QTEST_MAIN(TestQtUi)
#include "tst_qtui.moc"
