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

QString SessionPhotos::appendReduced(const QString& reduced, const QString& caption)
{
    QString destination;
    do {
        destination =
            joinPath(m_state.SessionPath, QStringLiteral("Img%1.jpg").arg(m_state.PhotoCounter++));
        // Another agent started at the same moment may share the session folder.
    } while (QFileInfo::exists(destination));
    if (!QFile::rename(reduced, destination))
        return QStringLiteral("its copy cannot be written in the session folder");
    try {
        m_lists.appendPhoto(destination, caption);
    } catch (const AutomationError&) {
        QFile::remove(destination);
        return QStringLiteral("the list of photos is full");
    }
    return {};
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
    // Reduced under names of their own, then numbered in the order given as each is
    // appended, so that a photo that fails leaves no gap in the numbers.
    QList<ShrinkJob> jobs;
    for (const PhotoToAdd& photo : photos)
        jobs.append({photo.path, joinPath(m_state.SessionPath,
                                          QStringLiteral(".adding-%1.jpg").arg(++m_adding))});
    const QFuture<QString> done = QtConcurrent::mapped(jobs, [](const ShrinkJob& job) {
        return ShrinkImage(job.source, job.destination, kPhotoWidthLimit);
    });
    waitResponsive(done);
    const QList<QString> outcomes = done.results();
    for (qsizetype i = 0; i < photos.size(); ++i) {
        QString outcome = outcomes.value(i);
        if (outcome.isEmpty())
            outcome = appendReduced(jobs[i].destination, photos[i].caption);
        if (outcome.isEmpty()) {
            problems.append(QString());
        } else {
            QFile::remove(jobs[i].destination);
            qCWarning(lcPhotos) << photos[i].path << "not attached:" << outcome;
            problems.append(photoNotAttached(photos[i].path, outcome));
        }
    }
    return problems;
}

} // namespace tarnaxe
