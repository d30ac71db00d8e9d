// How fast photos come into the agent. (1) 100 camera photos of 12 MP through the add-photo
// operation (reduced to 640 wide into the session folder), photos per second and the
// growth of peak resident memory, with vipsthumbnail -s 640x on the same files as the
// reference. (2) The picker over a folder of 500 such photos: the time from SelectPhotos
// until the first page shows, and until every thumbnail of it is drawn. Build in Release
// to measure; vipsthumbnail comes from Debian's libvips-tools.

#include "Agent.h"
#include "PeakMemory.h"
#include "automation/AttachmentLists.h"
#include "automation/IO.h"
#include "automation/SharedState.h"
#include "photos/ImagePickerForm.h"
#include "photos/SessionPhotos.h"
#include "platform/ProfileFile.h"
#include "support/TempHome.h"
#include "support/TestPhotos.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <cstdio>
#include <unistd.h>

using namespace tarnaxe;
using namespace tarnaxe::test;
using namespace tarnaxe::bench;

namespace {

constexpr int kPhotos = 100;
constexpr int kFolderPhotos = 500;
constexpr int kDistinct = 10;
const QSize kCameraSize(4000, 3000);

// kPhotos files made of kDistinct different photos; the others are hard links, which
// cost no disk space and read like any file.
QStringList makeCameraFolder(const QString& folder, int count)
{
    QDir().mkpath(folder);
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        const QString path = folder + QStringLiteral("/DSC%1.jpg").arg(i, 5, 10, QLatin1Char('0'));
        if (i < kDistinct) {
            if (!writePhoto(path, kCameraSize, 1, quint32(i + 1)))
                return {};
        } else if (::link(QFile::encodeName(paths[i % kDistinct]).constData(),
                          QFile::encodeName(path).constData()) != 0) {
            return {};
        }
        paths << path;
    }
    return paths;
}

void scaleBenchmark(const QStringList& photos, const QString& work)
{
    SharedState state;
    state.SessionReady = true;
    state.SessionPath = work + QStringLiteral("/session");
    QDir().mkpath(state.SessionPath);
    AttachmentLists lists;
    SessionPhotos intake(state, lists);
    QList<PhotoToAdd> batch;
    for (const QString& photo : photos)
        batch.append({photo, QString()});

    const qint64 before = residentKiB();
    resetPeakResident();
    QElapsedTimer timer;
    timer.start();
    const QStringList problems = intake.addPhotos(batch);
    const double seconds = timer.nsecsElapsed() / 1e9;
    const qint64 peak = peakResidentKiB();
    if (lists.countOf(QStringLiteral("Photos")) != photos.size()) {
        std::printf("add-photo: only %d of %lld attached: %s\n",
                    lists.countOf(QStringLiteral("Photos")), qlonglong(photos.size()),
                    qPrintable(problems.join(QLatin1Char(' '))));
        return;
    }
    std::printf("add-photo operation: %d photos of %dx%d in %.2f s: %.1f photos/s; peak "
                "resident memory %.1f MiB above the %.1f MiB before\n",
                int(photos.size()), kCameraSize.width(), kCameraSize.height(), seconds,
                photos.size() / seconds, (peak - before) / 1024.0, before / 1024.0);

    const QString vips = QStandardPaths::findExecutable(QStringLiteral("vipsthumbnail"));
    if (vips.isEmpty()) {
        std::printf("vipsthumbnail: not installed (apt-get install libvips-tools)\n");
        return;
    }
    const QString out = work + QStringLiteral("/vips");
    QDir().mkpath(out);
    QProcess process;
    timer.restart();
    process.start(vips, QStringList{QStringLiteral("-s"), QStringLiteral("640x"),
                                    QStringLiteral("-o"), out + QStringLiteral("/%s.jpg")} +
                            photos);
    process.waitForFinished(-1);
    const double vipsSeconds = timer.nsecsElapsed() / 1e9;
    std::printf("vipsthumbnail -s 640x (reference): %.2f s: %.1f photos/s%s\n", vipsSeconds,
                photos.size() / vipsSeconds, process.exitCode() == 0 ? "" : " (it failed)");
}

void pickerBenchmark(const QString& folder)
{
    TempHome home;
    const QString settingsFile = home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
    ProfileFile(settingsFile)
        .write(QStringLiteral("LocalSettings"), QStringLiteral("ImageDirectory"), folder);
    Agent agent(settingsFile);
    const std::unique_ptr<Dispatchable> page = agent.newIO();
    auto* io = dynamic_cast<IO*>(page.get());

    QElapsedTimer timer;
    timer.start();
    io->SelectPhotos();
    const qint64 returned = timer.nsecsElapsed();
    ImagePickerForm* picker = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* form = qobject_cast<ImagePickerForm*>(widget))
            picker = form;
    }
    if (!picker || picker->PhotoCount() != kFolderPhotos) {
        std::printf("picker: did not open on %d photos\n", kFolderPhotos);
        return;
    }
    QCoreApplication::processEvents(); // the first paint
    picker->grab();
    const qint64 shown = timer.nsecsElapsed();
    int drawn = 0;
    while (drawn < ImagePickerForm::kCells && timer.elapsed() < 10000) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
        drawn = 0;
        for (int i = 0; i < ImagePickerForm::kCells; ++i)
            drawn += picker->cell(i)->picture().isNull() ? 0 : 1;
    }
    const qint64 complete = timer.nsecsElapsed();
    std::printf("picker over %d photos: SelectPhotos returned in %.3f s, first page shown in "
                "%.3f s, its %d thumbnails in %.3f s\n",
                kFolderPhotos, returned / 1e9, shown / 1e9, drawn, complete / 1e9);
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QTemporaryDir work;
    std::printf("making %d photos of %dx%d ...\n", kFolderPhotos, kCameraSize.width(),
                kCameraSize.height());
    std::fflush(stdout);
    const QStringList photos =
        makeCameraFolder(work.filePath(QStringLiteral("camera")), kFolderPhotos);
    if (photos.isEmpty()) {
        std::printf("could not write the photos\n");
        return 1;
    }
    std::printf("photo file size: %.1f MiB\n", QFileInfo(photos.first()).size() / 1048576.0);
    scaleBenchmark(photos.mid(0, kPhotos), work.path());
    pickerBenchmark(work.filePath(QStringLiteral("camera")));
    return 0;
}
