#include "ems/MieFiles.h"

#include "config/PathHelpers.h"
#include "ems/EstimateText.h"
#include "platform/FileMoves.h"
#include "platform/FileNames.h"

#include <QFile>
#include <QFileInfo>
#include <cmath>

namespace tarnaxe {

namespace {

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
    PendingFile pending(deliveryFolder);
    QString reason;
    if (!pending.open(reason))
        return saveFailed(path, reason, error);
    if (pending.file().write(data) != data.size())
        return saveFailed(path, pending.file().errorString(), error);
    if (!pending.finish(reason))
        return saveFailed(path, reason, error);

    for (;;) {
        const QString name = mieName(mieNumber(clock.now().time()));
        path = joinPath(deliveryFolder, name);
        // Another case of the same name is the same file where the folder is shared with
        // Windows machines.
        if (findNameIgnoringCase(deliveryFolder, name).isEmpty()) {
            switch (pending.moveWithoutReplacing(path, reason)) {
            case MoveResult::Done:
                savedPath = path;
                return true;
            case MoveResult::Failed:
                return saveFailed(path, reason, error);
            case MoveResult::Taken:
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
