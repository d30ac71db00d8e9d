#include "platform/FileMoves.h"

#include "platform/FileNames.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cerrno>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace tarnaxe {

MoveResult moveWithoutReplacing(const QString& from, const QString& to, QString& reason)
{
    const QByteArray source = QFile::encodeName(from);
    const QByteArray target = QFile::encodeName(to);
    if (::renameat2(AT_FDCWD, source.constData(), AT_FDCWD, target.constData(), RENAME_NOREPLACE) ==
        0)
        return MoveResult::Done;
    int error = errno;
    if (error == EINVAL || error == ENOSYS || error == EOPNOTSUPP) {
        // The file system lacks the flag; a hard link cannot replace a file either.
        if (::link(source.constData(), target.constData()) == 0) {
            ::unlink(source.constData());
            return MoveResult::Done;
        }
        error = errno;
        if (error == EPERM || error == EOPNOTSUPP) {
            // No links either (FAT, some shares): check, then rename, as well as we can.
            if (QFileInfo::exists(to))
                return MoveResult::Taken;
            if (::rename(source.constData(), target.constData()) == 0)
                return MoveResult::Done;
            error = errno;
        }
    }
    if (error == EEXIST)
        return MoveResult::Taken;
    reason = qt_error_string(error);
    return MoveResult::Failed;
}

bool moveReplacing(const QString& from, const QString& to, QString& reason)
{
    if (::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0)
        return true;
    reason = qt_error_string(errno);
    return false;
}

PendingFile::~PendingFile()
{
    if (m_file.fileName().isEmpty() || m_moved)
        return;
    m_file.close();
    QFile::remove(m_file.fileName());
}

bool PendingFile::open(QString& reason)
{
    for (int attempt = 0; attempt < 16; ++attempt) {
        const QString name =
            QStringLiteral(".tarnaxe-%1.part")
                .arg(QRandomGenerator::global()->generate64(), 16, 16, QLatin1Char('0'));
        m_file.setFileName(joinPath(m_folder, name));
        // NewOnly: created here and now (O_EXCL), with 0666 less the umask.
        if (m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return true;
        if (m_file.error() != QFileDevice::OpenError || !QFileInfo::exists(m_file.fileName()))
            break;
    }
    reason = m_file.errorString();
    m_file.setFileName(QString());
    return false;
}

bool PendingFile::finish(QString& reason)
{
    if (!m_file.flush() || ::fsync(m_file.handle()) != 0) {
        reason =
            m_file.error() != QFileDevice::NoError ? m_file.errorString() : qt_error_string(errno);
        return false;
    }
    m_file.close();
    return true;
}

MoveResult PendingFile::moveWithoutReplacing(const QString& to, QString& reason)
{
    const MoveResult result = tarnaxe::moveWithoutReplacing(m_file.fileName(), to, reason);
    m_moved = result == MoveResult::Done;
    return result;
}

bool PendingFile::moveReplacing(const QString& to, QString& reason)
{
    m_moved = tarnaxe::moveReplacing(m_file.fileName(), to, reason);
    return m_moved;
}

} // namespace tarnaxe
