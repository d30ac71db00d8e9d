#include "config/SessionWorkspace.h"

#include "config/LocalSettings.h"
#include "config/PathHelpers.h"
#include "platform/FileNames.h"
#include "platform/Logging.h"
#include "platform/ShellFolders.h"
#include "platform/Variant.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QUuid>
#include <QtEndian>

namespace tarnaxe {

namespace {

const QString kCannotCreateSessionPath = QStringLiteral("Cannot create session path");
const QString kCannotCreateMasterFile = QStringLiteral("Cannot create master file");

bool ensureFolder(const QString& path)
{
    if (!folderExists(path))
        QDir().mkdir(path);
    return folderExists(path);
}

void writeCounter(QFile& file, qint16 value)
{
    char bytes[2];
    qToLittleEndian(value, bytes);
    file.write(bytes, 2);
}

// Reads the counter at the start of the master file and writes its successor in its
// place. A file shorter than two bytes reads as if padded with zero bytes.
std::optional<qint16> advanceCounter(const QString& masterPath)
{
    QFile file(masterPath);
    if (!file.open(QIODevice::ReadWrite))
        return std::nullopt;
    char bytes[2] = {0, 0};
    file.read(bytes, 2);
    const qint16 n = qFromLittleEndian<qint16>(bytes);
    file.seek(0);
    writeCounter(file, n >= 8 ? qint16(1) : qint16(n + 1));
    if (!file.flush())
        qCWarning(lcConfig) << "could not advance the session counter in" << masterPath;
    return n;
}

void emptyFolder(const QString& path)
{
    QDirIterator it(path, QDir::Files | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        const QString file = it.next();
        if (!QFile::remove(file))
            qCWarning(lcConfig) << "could not delete" << file << "from the session folder";
    }
}

} // namespace

SessionSetupResult setUpSession(int shellFolderId)
{
    SessionSetupResult result;
    const std::optional<QString> shellFolder =
        shellFolderPath(shellFolderId < 0 ? 32 : shellFolderId);
    if (!shellFolder) {
        qCWarning(lcConfig) << "no folder is known for shell folder number" << shellFolderId;
        result.commandStatus = kCannotCreateSessionPath;
        return result;
    }
    // The shell folder itself may be missing on a new account (~/.cache, say).
    QDir().mkpath(*shellFolder);
    const QString root = joinPath(*shellFolder, QStringLiteral("FerroClient"));
    if (!ensureFolder(root)) {
        qCWarning(lcConfig) << "cannot create the session root" << root;
        result.commandStatus = kCannotCreateSessionPath;
        return result;
    }
    const QString master = joinPath(root, QStringLiteral("Master.dat"));
    if (!fileExists(master)) {
        QFile file(master);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            writeCounter(file, 1);
    }
    if (!fileExists(master)) {
        qCWarning(lcConfig) << "cannot create the session counter" << master;
        result.commandStatus = kCannotCreateMasterFile;
        return result;
    }
    const std::optional<qint16> n = advanceCounter(master);
    if (!n) {
        result.commandStatus = kCannotCreateMasterFile;
        return result;
    }
    const QString sessionPath = joinPath(root, QStringLiteral("IEUser") + QString::number(*n));
    if (!ensureFolder(sessionPath)) {
        qCWarning(lcConfig) << "cannot create the session folder" << sessionPath;
        result.commandStatus = kCannotCreateSessionPath;
        return result;
    }
    emptyFolder(sessionPath);
    qCInfo(lcConfig) << "session folder" << sessionPath;
    result.ok = true;
    result.sessionPath = sessionPath;
    return result;
}

void cleanUpEms(const QString& sDate, const LocalSettings& settings,
                const std::function<void()>& yieldToUi)
{
    const QDateTime cutOff = Variant::parseDate(sDate);
    if (!cutOff.isValid())
        return;
    for (int n = 1; n <= kPlatformSlots; ++n) {
        const QString folder = settings.EMSExportPath[n].trimmed();
        if (folder.isEmpty() || !folderExists(folder))
            continue;
        // Plain files only: hidden and system files belong to the estimating programs.
        QDirIterator it(folder, QDir::Files);
        while (it.hasNext()) {
            it.next();
            if (it.fileInfo().lastModified() < cutOff && !QFile::remove(it.filePath()))
                qCWarning(lcConfig) << "could not delete old export" << it.filePath();
            if (yieldToUi)
                yieldToUi();
        }
    }
}

QString newGuidText()
{
    const QUuid id = QUuid::createUuid();
    if (id.isNull())
        return {};
    return id.toString(QUuid::WithBraces).toUpper();
}

} // namespace tarnaxe
