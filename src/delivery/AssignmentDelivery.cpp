#include "delivery/AssignmentDelivery.h"

#include "config/LocalSettings.h"
#include "config/PathHelpers.h"
#include "delivery/AssignmentPieces.h"
#include "delivery/DeliveryFiles.h"
#include "ems/EmsRecordTable.h"
#include "ems/EstimateText.h"
#include "platform/FileNames.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <cmath>

namespace tarnaxe {

namespace {

const QString kInvalidDestination = QStringLiteral("Invalid destination path for assignment");

bool writerFailed(const QString& title, const QString& description, QString& message)
{
    message = title + QStringLiteral("\r\n\r\nError: ") + description + QStringLiteral("\r\n");
    return false;
}

bool selected(const QString& text, int position)
{
    return text.mid(position - 1, 1) == QLatin1String("Y");
}

} // namespace

AssignmentDelivery::AssignmentDelivery(const LocalSettings& settings, QString formatSelection,
                                       QString sessionPath, DeliverySource& source)
    : m_settings(settings), m_selection(std::move(formatSelection)),
      m_sessionPath(std::move(sessionPath)), m_source(source),
      m_randomFraction([] { return QRandomGenerator::global()->generateDouble(); })
{}

QString AssignmentDelivery::platformOfSlot(int slot) const
{
    return m_settings.EMSEstPlatform[slot == kPlatformSlots ? 6 : slot];
}

QString AssignmentDelivery::sessionFile(int row) const
{
    return joinPath(m_sessionPath, assignmentPieces()[row].sessionFile);
}

bool AssignmentDelivery::DeliverAssignment(QString& message)
{
    QString slotFlags = QStringLiteral("NNNNN");
    QString pieceMask(19, QLatin1Char('N'));
    for (int slot = 1; slot <= kPlatformSlots; ++slot) {
        const QString& folder = m_settings.EMSImportPath[slot];
        if (folder.isEmpty() || !selected(m_selection, slot))
            continue;
        if (folderExists(folder))
            slotFlags[slot - 1] = QLatin1Char('Y');
        // Marked even when the folder is missing: another slot may still be delivered.
        const PieceRange pieces = piecesOfPlatform(platformOfSlot(slot));
        for (int row = pieces.first; row < pieces.end; ++row)
            pieceMask[row] = QLatin1Char('Y');
    }
    if (slotFlags == QLatin1String("NNNNN")) {
        message = QStringLiteral("There are no valid export paths defined in your setup.");
        return false;
    }
    // The pieces land in the session folder; without one there is nowhere safe for them.
    if (!folderExists(m_sessionPath)) {
        message = QStringLiteral("The session folder is not ready: call Init before delivering "
                                 "an assignment.");
        return false;
    }

    for (int row = 0; row < kAssignmentPieces; ++row) {
        if (m_source.cancelRequested()) {
            message = QStringLiteral("User cancelled the process");
            return false;
        }
        if (pieceMask[row] == QLatin1Char('Y') && !DownloadPiece(row, message))
            return false;
        m_source.setProgress(row * 4 + 7);
    }

    // Only the last writer's outcome decides, as offices have always seen it.
    bool result = false;
    for (int slot = 1; slot <= kPlatformSlots; ++slot) {
        if (!selected(slotFlags, slot) || !selected(m_selection, slot))
            continue;
        const QString platform = platformOfSlot(slot);
        const QString& folder = m_settings.EMSImportPath[slot];
        if (platform == platform_names::audatex) {
            result = WriteADPAssignment(folder, message);
        } else if (platform == platform_names::ccc) {
            result = WriteCCCAssignment(folder, message);
        } else if (platform == platform_names::mitchell) {
            result = WriteMitchellAssignment(folder, message);
        } else if (platform == platform_names::custom1) {
            result = WriteMIEAssignment(folder, message);
        } else {
            result = true; // nothing to write for this platform
            message = QStringLiteral("OK");
        }
        m_source.setProgress(slot * 5 + 75);
    }
    if (!result)
        return false;
    m_source.setProgress(100);
    return true;
}

bool AssignmentDelivery::DownloadPiece(int index, QString& message)
{
    const AssignmentPiece& piece = assignmentPieces()[index];
    const QString path = sessionFile(index);
    QFile::remove(path);
    if (QFileInfo::exists(path) || QFileInfo(path).isSymLink()) {
        message = QStringLiteral("Cannot delete temporary session file: ") + path;
        return false;
    }
    QByteArray data;
    if (!m_source.readPiece(piece.pieceName, data, message))
        return false;
    if (!data.isEmpty()) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(data) != data.size() || !file.flush()) {
            file.close();
            QFile::remove(path); // a cut piece must not be delivered
            message = QStringLiteral("Cannot save EMS Temporary File: ") +
                      emsRecordTable()[index].displayName;
            return false;
        }
    }
    return true;
}

bool AssignmentDelivery::WriteMitchellAssignment(const QString& folder, QString& message)
{
    const QString title = QStringLiteral("Writing Mitchell assignment");
    message = title;
    if (!folderExists(folder)) {
        message = kInvalidDestination;
        return false;
    }
    QString base;
    QList<FileCopy> copies;
    for (;;) {
        const auto n = qint64(std::nearbyint(m_randomFraction() * 999999.0));
        base = QLatin1Char('A') + QString::number(n);
        copies.clear();
        bool taken = !filesMatching(folder, base + QStringLiteral(".*")).isEmpty();
        for (int row = 0; row < 7; ++row) {
            const QString name = base + assignmentPieces()[row].writtenAs;
            copies.append({sessionFile(row), joinPath(folder, name)});
            // A member left by an earlier set of the same name would be mixed into this one.
            taken = taken || !findNameIgnoringCase(folder, name).isEmpty();
        }
        if (!taken)
            break;
    }
    QString error;
    if (!placeCopies(copies, true, error))
        return writerFailed(title, error, message);
    message = QStringLiteral("OK");
    return true;
}

bool AssignmentDelivery::writeNamedSet(const QString& title, const QString& folder, int firstRow,
                                       int endRow, QString& message)
{
    message = title;
    if (!folderExists(folder)) {
        message = kInvalidDestination;
        return false;
    }
    QString basename;
    if (!m_source.readBasename(message, basename))
        return false;
    const QString base = trimBlanks(basename);
    const QString problem = baseNameProblem(base);
    if (!problem.isEmpty())
        return writerFailed(title, problem, message);
    QList<FileCopy> copies;
    for (int row = firstRow; row < endRow; ++row)
        copies.append(
            {sessionFile(row), joinPath(folder, base + assignmentPieces()[row].writtenAs)});
    QString error;
    if (!placeCopies(copies, false, error))
        return writerFailed(title, error, message);
    message = QStringLiteral("OK");
    return true;
}

bool AssignmentDelivery::WriteCCCAssignment(const QString& folder, QString& message)
{
    return writeNamedSet(QStringLiteral("Writing CCC assignment"), folder, 12, 17, message);
}

bool AssignmentDelivery::WriteADPAssignment(const QString& folder, QString& message)
{
    return writeNamedSet(QStringLiteral("Writing ADP assignment"), folder, 7, 12, message);
}

bool AssignmentDelivery::WriteMIEAssignment(const QString& folder, QString& message)
{
    return writeNamedSet(QStringLiteral("Writing MIE assignment"), folder, 17, 18, message);
}

} // namespace tarnaxe
