// How fast the "EMS Estimates" dialog opens over big export folders: 5,000 exported sets
// spread over the five folders, written at times in no particular order. Prints the time
// from SelectEstimate until the 120 newest are in the grid, until the first page is drawn
// with every visible row's facts read, and the growth of peak resident memory. The file
// cache is dropped first when the machine allows it (root), so the first figure is a cold
// one; "Refresh List" then gives a warm one. Build in Release to measure.

#include "Agent.h"
#include "PeakMemory.h"
#include "automation/IO.h"
#include "emswriter/EmsSetBuilder.h"
#include "estimates/EMSSelectForm.h"
#include "estimates/EstimateTableModel.h"
#include "platform/ProfileFile.h"
#include "support/TempHome.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTableView>
#include <cstdio>
#include <unistd.h>

using namespace tarnaxe;
using namespace tarnaxe::test;
using namespace tarnaxe::bench;

namespace {

constexpr int kFolders = 5;
constexpr int kSets = 5000;

bool writeSets(const QString& root, QStringList& folders)
{
    QRandomGenerator random(20261124);
    const QDateTime start(QDate(2019, 1, 1), QTime(8, 0));
    for (int f = 1; f <= kFolders; ++f) {
        folders << root + QStringLiteral("/export%1").arg(f);
        QDir().mkpath(folders.last());
    }
    for (int i = 0; i < kSets; ++i) {
        emswriter::EmsSetBuilder set(folders[i % kFolders],
                                     QStringLiteral("E%1").arg(i, 5, 10, QLatin1Char('0')));
        set.set("CLM_NO", QByteArray::number(100000 + i))
            .exportedAt(start.addSecs(qint64(random.bounded(7 * 365 * 24)) * 3600));
        if (!set.write())
            return false;
    }
    return true;
}

bool dropFileCache()
{
    ::sync();
    QFile drop(QStringLiteral("/proc/sys/vm/drop_caches"));
    return drop.open(QIODevice::WriteOnly) && drop.write("3") == 1;
}

EMSSelectForm* openForm()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* form = qobject_cast<EMSSelectForm*>(widget))
            return form;
    }
    return nullptr;
}

void waitForRows(EMSSelectForm* form)
{
    while (form->isListing())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
}

// The last row the grid shows, and whether every row up to it has been read.
int lastVisibleRow(EMSSelectForm* form)
{
    QTableView* grid = form->grid();
    const int row = grid->rowAt(grid->viewport()->height() - 1);
    return row < 0 ? form->model().rowCount() - 1 : row;
}

void report(const char* what, EMSSelectForm* form, QElapsedTimer& timer)
{
    waitForRows(form);
    const double listed = timer.nsecsElapsed() / 1e9;
    form->grab(); // draws the first page, reading the facts of each row it shows
    const double drawn = timer.nsecsElapsed() / 1e9;
    const int last = lastVisibleRow(form);
    std::printf("%s: %d rows in the grid after %.3f s; first page drawn (rows 1-%d, the last "
                "one's facts: %s) after %.3f s\n",
                what, form->model().rowCount(), listed, last + 1,
                form->model().index(last, EstimateTableModel::ForClaim).data().toString().isEmpty()
                    ? "missing"
                    : "read",
                drawn);
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    TempHome home;
    QStringList folders;
    std::printf("writing %d EMS sets into %d folders ...\n", kSets, kFolders);
    std::fflush(stdout);
    if (!writeSets(home.path(), folders)) {
        std::printf("could not write the sets\n");
        return 1;
    }
    const QString settingsFile = home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
    ProfileFile profile(settingsFile);
    for (int f = 1; f <= kFolders; ++f)
        profile.write(QStringLiteral("LocalSettings"), QStringLiteral("EMSExportPath%1").arg(f),
                      folders[f - 1]);
    Agent agent(settingsFile);
    const std::unique_ptr<Dispatchable> page = agent.newIO();
    auto* io = dynamic_cast<IO*>(page.get());

    const bool cold = dropFileCache();
    const qint64 before = residentKiB();
    resetPeakResident();
    QElapsedTimer timer;
    timer.start();
    io->SelectEstimate();
    std::printf("SelectEstimate returned after %.3f s\n", timer.nsecsElapsed() / 1e9);
    EMSSelectForm* form = openForm();
    if (!form) {
        std::printf("the dialog did not open\n");
        return 1;
    }
    form->show();
    report(cold ? "opening (file cache dropped)" : "opening (file cache warm: not root)", form,
           timer);
    std::printf("peak resident memory %.1f MiB above the %.1f MiB before\n",
                (peakResidentKiB() - before) / 1024.0, before / 1024.0);

    timer.restart();
    form->findChild<QPushButton*>(QStringLiteral("cmdRefresh"))->click();
    report("Refresh List (warm)", form, timer);
    return 0;
}
