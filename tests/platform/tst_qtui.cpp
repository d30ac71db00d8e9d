// The Qt window system as the agent uses it: boxes answer with the button pressed, and
// bringing a window to the front keeps it where and as large as it was.

#include "platform/QtUi.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QWindow>

using namespace tarnaxe;

Q_DECLARE_METATYPE(tarnaxe::MessageButtons)
Q_DECLARE_METATYPE(tarnaxe::MessageAnswer)

class TestQtUi : public QObject {
    Q_OBJECT

private slots:
    void messageBoxAnswersWithThePressedButton_data()
    {
        QTest::addColumn<MessageButtons>("buttons");
        QTest::addColumn<QMessageBox::StandardButton>("press");
        QTest::addColumn<MessageAnswer>("answer");
        QTest::newRow("yes") << MessageButtons::YesNo << QMessageBox::Yes << MessageAnswer::Yes;
        QTest::newRow("no") << MessageButtons::YesNo << QMessageBox::No << MessageAnswer::No;
        QTest::newRow("cancel") << MessageButtons::OkCancel << QMessageBox::Cancel
                                << MessageAnswer::Cancel;
        QTest::newRow("retry") << MessageButtons::RetryCancel << QMessageBox::Retry
                               << MessageAnswer::Retry;
    }
    void messageBoxAnswersWithThePressedButton()
    {
        QFETCH(MessageButtons, buttons);
        QFETCH(QMessageBox::StandardButton, press);
        QFETCH(MessageAnswer, answer);
        QString seen;
        QTimer::singleShot(0, [&seen, press] { // runs once the box is up
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            seen = box->windowTitle() + '|' + box->text();
            box->button(press)->click();
        });
        QCOMPARE(QtUi().messageBox({"Do you want to resume sending?", "Notice",
                                    MessageIcon::Question, buttons, false}),
                 answer);
        QCOMPARE(seen, QStringLiteral("Notice|Do you want to resume sending?"));
    }

    void bringToFrontKeepsPlaceAndSize()
    {
        QWidget window;
        window.setGeometry(120, 140, 300, 200);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const QRect before = window.geometry();
        QtUi().bringToFront(&window);
        QVERIFY(window.isVisible());
        QCOMPARE(window.geometry(), before);
        QVERIFY(!(window.windowHandle()->flags() & Qt::WindowStaysOnTopHint));
    }

    void closeWindowUnloadsAWidget()
    {
        QPointer<QWidget> window = new QWidget;
        window->show();
        QtUi().closeWindow(window);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(window.isNull());
    }
};

QTEST_MAIN(TestQtUi)
#include "tst_qtui.moc"
