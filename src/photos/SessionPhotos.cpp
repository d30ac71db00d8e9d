#include "photos/SessionPhotos.h"

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "photos/PhotoFile.h"
#include "photos/ShrinkImage.h"
#include "platform/FileNames.h"
#include "platform/FutureWait.h"
#include "platform/Logging.h"
#include "platform/Variant.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QtConcurrent/QtConcurrentMap>

namespace tarnaxe {

namespace {

struct ShrinkJob {
    QString source;
    QString destination;
};

// No photo that passes the size check needs more than this to be decoded at 640 wide; a
// file that would is refused instead of taking the memory.
constexpr int kDecodeMegabytes = 64;

} // namespace

SessionPhotos::SessionPhotos(SharedState& state, AttachmentLists& lists)
    : m_state(state), m_lists(lists)
{
    QImageReader::setAllocationLimit(kDecodeMegabytes);
}

QString SessionPhotos::reserveDestination()
{
    for (;;) {
        const QString name = QStringLiteral("Img%1.jpg").arg(m_state.PhotoCounter);
        ++m_state.PhotoCounter;
        const QString path = joinPath(m_state.SessionPath, name);
        // Another agent started at the same moment may share the session folder.
        if (!QFileInfo::exists(path))
            return path;
    }
}

QStringList SessionPhotos::addPhotos(const QList<PhotoToAdd>& photos)
{
    QStringList problems;
    if (!m_state.SessionReady || m_state.SessionPath.isEmpty()) {
        for (const PhotoToAdd& photo : photos)
            problems.append(photoNotAttached(
                photo.path, QStringLiteral("the agent's session folder is not ready (the page "
                                           "has not called Init)")));
        return problems;
    }
    QList<ShrinkJob> jobs;
    for (const PhotoToAdd& photo : photos)
        jobs.append({photo.path, reserveDestination()});
    const QFuture<QString> done = QtConcurrent::mapped(jobs, [](const ShrinkJob& job) {
        return ShrinkImage(job.source, job.destination, kPhotoWidthLimit);
    });
    waitResponsive(done);
    const QList<QString> outcomes = done.results();
    for (qsizetype i = 0; i < photos.size(); ++i) {
        const QString& outcome = outcomes.value(i);
        if (outcome.isEmpty()) {
            try {
                m_lists.appendPhoto(jobs[i].destination, photos[i].caption);
                problems.append(QString());
            } catch (const AutomationError&) {
                QFile::remove(jobs[i].destination);
                problems.append(
                    photoNotAttached(photos[i].path, QStringLiteral("the list of photos is full")));
            }
        } else {
            qCWarning(lcPhotos) << photos[i].path << "not attached:" << outcome;
            problems.append(photoNotAttached(photos[i].path, outcome));
        }
    }
    return problems;
}

} // namespace tarnaxe
