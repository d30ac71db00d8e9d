#include "delivery/DeliveryFiles.h"

#include "platform/FileMoves.h"
#include "platform/FileNames.h"

#include <QFile>
#include <QFileInfo>
#include <memory>

namespace tarnaxe {

namespace {

QString folderOf(const QString& path)
{
    return QFileInfo(path).path();
}

bool isEnvelope(const QString& path)
{
    return path.endsWith(QLatin1String(".env"), Qt::CaseInsensitive);
}

bool copyInto(QFile& source, QFile& target)
{
    QByteArray buffer(64 * 1024, Qt::Uninitialized);
    for (;;) {
        const qint64 n = source.read(buffer.data(), buffer.size());
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        if (target.write(buffer.constData(), n) != n)
            return false;
    }
}

} // namespace

QString baseNameProblem(const QString& base)
{
    if (base.isEmpty())
        return QStringLiteral("The server sent an empty base name");
    const QString quoted =
        QLatin1Char('"') + base.left(kMaxDeliveryBaseName) +
        (base.size() > kMaxDeliveryBaseName ? QStringLiteral("...\"") : QStringLiteral("\""));
    if (base.size() > kMaxDeliveryBaseName)
        return QStringLiteral("The server's base name is longer than %1 characters: %2")
            .arg(kMaxDeliveryBaseName)
            .arg(quoted);
    for (const QChar c : base) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return QStringLiteral("The server's base name holds a control character");
    }
    if (base.contains(QLatin1Char('/')) || base.contains(QLatin1Char('\\')))
        return QStringLiteral("The server's base name holds a path separator: ") + quoted;
    if (base.contains(QLatin1String("..")))
        return QStringLiteral("The server's base name holds \"..\": ") + quoted;
    if (base.startsWith(QLatin1Char('.')))
        return QStringLiteral("The server's base name starts with \".\": ") + quoted;
    return {};
}

bool placeCopies(const QList<FileCopy>& copies, bool replaceExisting, QString& error)
{
    if (!replaceExisting) {
        for (const FileCopy& copy : copies) {
            const QFileInfo target(copy.target);
            if (!findNameIgnoringCase(target.path(), target.fileName()).isEmpty()) {
                error = QStringLiteral("File already exists: ") + copy.target;
                return false;
            }
        }
    }

    std::vector<std::unique_ptr<PendingFile>> pending;
    for (const FileCopy& copy : copies) {
        QFile source(copy.source);
        if (!QFileInfo(copy.source).isFile() || !source.open(QIODevice::ReadOnly)) {
            error = QStringLiteral("File not found: ") + copy.source;
            return false;
        }
        auto file = std::make_unique<PendingFile>(folderOf(copy.target));
        QString reason;
        if (!file->open(reason)) {
            error = QStringLiteral("Cannot write ") + copy.target + QStringLiteral(": ") + reason;
            return false;
        }
        if (!copyInto(source, file->file())) {
            error = QStringLiteral("Cannot copy ") + copy.source + QStringLiteral(" to ") +
                    copy.target + QStringLiteral(": ") +
                    (source.error() != QFileDevice::NoError ? source.errorString()
                                                            : file->file().errorString());
            return false;
        }
        if (!file->finish(reason)) {
            error = QStringLiteral("Cannot write ") + copy.target + QStringLiteral(": ") + reason;
            return false;
        }
        pending.push_back(std::move(file));
    }

    // The envelope is what the programs look for, so it comes when its members are there.
    std::vector<int> order;
    for (int pass = 0; pass < 2; ++pass) {
        for (int i = 0; i < int(copies.size()); ++i) {
            if (isEnvelope(copies[i].target) == (pass == 1))
                order.push_back(i);
        }
    }
    QStringList placed;
    for (const int i : order) {
        const QString& target = copies[i].target;
        QString reason;
        bool moved = false;
        if (replaceExisting) {
            moved = pending[i]->moveReplacing(target, reason);
        } else {
            const MoveResult result = pending[i]->moveWithoutReplacing(target, reason);
            moved = result == MoveResult::Done;
            if (result == MoveResult::Taken)
                reason = QStringLiteral("another program created it a moment ago");
        }
        if (!moved) {
            error = QStringLiteral("Cannot write ") + target + QStringLiteral(": ") + reason;
            // A partial set would be imported as a broken assignment.
            for (const QString& path : placed)
                QFile::remove(path);
            return false;
        }
        placed << target;
    }
    return true;
}

} // namespace tarnaxe
