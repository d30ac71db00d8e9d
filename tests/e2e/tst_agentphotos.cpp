// Photos from the page's side, through the agent that main() runs (its real dialogs, in
// process, answered the way a clerk would): a camera photo picked with SelectFile, then
// the picker opened with SelectPhotos over a folder of ten (a second call only brings it
// to the front), two marked with the mouse, paged, and attached.

#include "Agent.h"
#include "bridge/HostBridge.h"
#include "photos/ImagePickerForm.h"
#include "platform/ProfileFile.h"
#include "support/BridgeClient.h"
#include "support/TempHome.h"
#include "support/TestPhotos.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTimer>

using namespace tarnaxe;
using namespace tarnaxe::test;

namespace {

QJsonValue resultOf(const QJsonObject& answer)
{
    return answer.value(QLatin1String("result"));
}

QList<ImagePickerForm*> openPickers()
{
    QList<ImagePickerForm*> pickers;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* picker = qobject_cast<ImagePickerForm*>(widget); picker && picker->isVisible())
            pickers << picker;
    }
    return pickers;
}

} // namespace

class TestAgentPhotos : public QObject {
    Q_OBJECT

private slots:
    void photosFromThePage()
    {
        TempHome home;
        const QString camera = home.path() + QStringLiteral("/camera");
        QVERIFY(QDir().mkpath(camera));
        const QString big = camera + QStringLiteral("/crash.jpg");
        QVERIFY(writePhoto(big, QSize(4000, 3000)));
        for (int i = 1; i <= 9; ++i)
            QVERIFY(
                writePhoto(camera + QStringLiteral("/IMG_%1.jpg").arg(i, 4, 10, QLatin1Char('0')),
                           i % 3 ? QSize(800, 600) : QSize(600, 800), 1, quint32(i)));
        Agent agent(home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini"));
        HostBridgeOptions options;
        options.port = 0;
        HostBridge bridge(options, [&agent] { return agent.newIO(); });
        QString error;
        QVERIFY2(bridge.listen(&error), qPrintable(error));
        BridgeClient page;
        QVERIFY(page.open(QStringLiteral("ws://127.0.0.1:%1").arg(bridge.port())));
        page.call(QStringLiteral("Init"));

        // The clerk picks the photo in the file dialog and confirms the count.
        QStringList seen;
        QTimer clerk;
        connect(&clerk, &QTimer::timeout, this, [&] {
            QWidget* modal = QApplication::activeModalWidget();
            if (auto* files = qobject_cast<QFileDialog*>(modal)) {
                seen << files->windowTitle();
                auto* name = files->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
                QTest::keyClicks(name, big);
                QTest::keyClick(name, Qt::Key_Return);
            } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                seen << box->text();
                box->button(QMessageBox::Ok)->click();
            }
        });
        clerk.start(50);
        QCOMPARE(
            resultOf(page.call(QStringLiteral("SelectFile"), QStringLiteral("method"), {}, 60000)),
            QJsonValue(true));
        QCOMPARE(seen, (QStringList{"Select File(s) to Attach", "1 files attached."}));
        const QString img1 =
            resultOf(page.call(QStringLiteral("TheNameOf"), QStringLiteral("get"), {"Photos", 1}))
                .toString();
        QVERIFY2(img1.endsWith(QStringLiteral("/FerroClient/IEUser1/Img1.jpg")), qPrintable(img1));
        QCOMPARE(QImageReader(img1).size(), QSize(640, 480));

        // The picker: the call returns while the window stays open.
        ProfileFile(home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini"))
            .write(QStringLiteral("LocalSettings"), QStringLiteral("ImageDirectory"), camera);
        QCOMPARE(resultOf(page.call(QStringLiteral("SelectPhotos"))), QJsonValue(QString()));
        QCOMPARE(resultOf(page.call(QStringLiteral("GetFormStatus"), QStringLiteral("method"),
                                    {"IMAGEPICKER"})),
                 QJsonValue(QStringLiteral("LOADED")));
        QCOMPARE(resultOf(page.call(QStringLiteral("SelectPhotos"))), QJsonValue(QString()));
        QCOMPARE(openPickers().size(), 1);
        ImagePickerForm* picker = openPickers().first();
        QCOMPARE(picker->findChild<QLabel*>(QStringLiteral("lblStatus"))->text(),
                 QStringLiteral("Displaying: 1-8 of 10 images"));
        for (int i = 0; i < ImagePickerForm::kCells; ++i)
            QTRY_VERIFY(!picker->cell(i)->picture().isNull());
        QTest::mouseClick(picker->cell(1), Qt::LeftButton);
        QTest::mouseClick(picker->cell(6), Qt::LeftButton);
        const auto borders = picker->findChildren<QWidget*>(QStringLiteral("RedBorder"));
        QVERIFY(borders[1]->isVisible() && borders[6]->isVisible() && !borders[0]->isVisible());
        const QString shots = QDir::currentPath() + QStringLiteral("/test-output/photos");
        QDir().mkpath(shots);
        QVERIFY(picker->grab().save(shots + QStringLiteral("/picker.png")));
        picker->findChild<QScrollBar*>(QStringLiteral("VScroll1"))->setValue(2);
        QCOMPARE(picker->findChild<QLabel*>(QStringLiteral("lblStatus"))->text(),
                 QStringLiteral("Displaying: 5-10 of 10 images"));
        QTest::mouseClick(picker->findChild<QPushButton*>(QStringLiteral("Command1")),
                          Qt::LeftButton);
        QTRY_VERIFY(openPickers().isEmpty());
        QCOMPARE(
            resultOf(page.call(QStringLiteral("TheCountOf"), QStringLiteral("get"), {"Photos"})),
            QJsonValue(3));
        QCOMPARE(resultOf(page.call(QStringLiteral("GetFormStatus"), QStringLiteral("method"),
                                    {"IMAGEPICKER"})),
                 QJsonValue(QStringLiteral("UNLOADED")));
    }
};

QTEST_MAIN(TestAgentPhotos)
#include "tst_agentphotos.moc"
