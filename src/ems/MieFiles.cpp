#include "ems/MieFiles.h"

#include "config/PathHelpers.h"
#include "ems/EstimateText.h"
#include "platform/FileNames.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace tarnaxe {

namespace {

enum class Move { Done, Taken, Failed };

// Renames from to to unless to exists, in one step, so that a file another process saved
// under the same name a moment ago is never replaced.
Move moveWithoutReplacing(const QString& from, const QString& to, QString& reason)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) ==
        0)
        return Move::Done;
    int error = errno;
    if (error == EINVAL || error == ENOSYS || error == EOPNOTSUPP) {
        // The file system lacks the flag; a hard link cannot replace a file either.
        if (::link(source.constData(), target.constData()) == 0) {
            ::unlink(source.constData());
            return Move::Done;
        }
        error = errno;
        if (error == EPERM || error == EOPNOTSUPP) {
            // No links either (FAT, some shares): check, then rename, as well as we can.
            if (QFileInfo::exists(to))
                return Move::Taken;
            if (::rename(source.constData(), target.constData()) == 0)
                return Move::Done;
            error = errno;
        }
    }
    if (error == EEXIST)
        return Move::Taken;
    reason = qt_error_string(error);
    return Move::Failed;
}

QString mieName(qint64 number)
{
    return QString::number(number) + QStringLiteral(".mie");
}

bool saveFailed(const QString& path, const QString& reason, QString& error)
{
    error = QStringLiteral("Cannot save MIE (") + path + QStringLiteral("): ") + reason;
    return false;
}

} // namespace

qint64 mieNumber(const QTime& time)
{
    return static_cast<qint64>(std::nearbyint(time.msecsSinceStartOfDay() / 10.0));
}

bool saveMieData(const QString& deliveryFolder, const QByteArray& data, Clock& clock,
                 QString& savedPath, QString& error)
{
    savedPath.clear();
    error.clear();
    QString path = joinPath(deliveryFolder, mieName(mieNumber(clock.now().time())));
    // Hidden and without the .mie extension, so that no search for MIE files sees it.
    QTemporaryFile temporary(joinPath(deliveryFolder, QStringLiteral(".mie-XXXXXX.part")));
    if (!temporary.open())
        return saveFailed(path, temporary.errorString(), error);
    if (temporary.write(data) != data.size() || !temporary.flush())
        return saveFailed(path, temporary.errorString(), error);
    if (::fsync(temporary.handle()) != 0)
        return saveFailed(path, qt_error_string(errno), error);
    temporary.close();

    for (;;) {
        const QString name = mieName(mieNumber(clock.now().time()));
        path = joinPath(deliveryFolder, name);
        // Another case of the same name is the same file where the folder is shared with
        // Windows machines.
        if (findNameIgnoringCase(deliveryFolder, name).isEmpty()) {
            QString reason;
            switch (moveWithoutReplacing(temporary.fileName(), path, reason)) {
            case Move::Done:
                temporary.setAutoRemove(false);
                savedPath = path;
                return true;
            case Move::Failed:
                return saveFailed(path, reason, error);
            case Move::Taken:
                break;
            }
        }
        clock.sleep(1);
    }
}

bool locateMieFile(const QString& retrievalFolder, const QString& claimNumber, QString& foundPath)
{
    foundPath.clear();
    if (!folderExists(retrievalFolder) || trimBlanks(claimNumber).isEmpty())
        return false;
    QString shortName = trimBlanks(claimNumber.right(8));
    shortName.replace(QLatin1Char('-'), QLatin1Char('_'));
    const QString found = findNameIgnoringCase(retrievalFolder, shortName + QStringLiteral(".mie"));
    if (!found.isEmpty() && fileExists(joinPath(retrievalFolder, found))) {
        foundPath = joinPath(retrievalFolder, found);
        return true;
    }
    QString pattern = claimNumber;
    pattern.replace(QLatin1Char('-'), QLatin1Char('_')).replace(QLatin1Char(' '), QLatin1Char('_'));
    const QStringList matches = filesMatching(retrievalFolder, pattern + QStringLiteral("*.mie"));
    for (const QString& name : matches) {
        const QString path = joinPath(retrievalFolder, name);
        if (fileExists(path)) {
            foundPath = path;
            return true;
        }
    }
    return false;
}

} // namespace tarnaxe
