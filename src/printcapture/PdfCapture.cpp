#include "printcapture/PdfCapture.h"

#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "config/PathHelpers.h"
#include "config/RegistryHelpers.h"
#include "platform/FileNames.h"
#include "platform/Logging.h"
#include "platform/OpenForWriting.h"
#include "platform/Ui.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

namespace tarnaxe {

namespace {

const QString kDocumentCaption = QStringLiteral("Document");
const QString kNotice = QStringLiteral("Notice");
constexpr int kNoDriver = 99;
constexpr int kRedirectedDriver = 1;

// Where the search for the newest PDF of a watched folder starts.
QDateTime searchStart()
{
    return QDateTime(QDate(2001, 1, 1), QTime(1, 0));
}

// The regular files of folder that match pattern in any case, oldest first. Links are left
// out: what they point at is not ours to move.
QFileInfoList documentsIn(const QString& folder, const QString& pattern)
{
    QDir dir(folder);
    return dir.entryInfoList({pattern}, QDir::Files | QDir::NoSymLinks | QDir::Hidden,
                             QDir::Time | QDir::Reversed);
}

QFileInfoList pdfsOf(const QString& folder)
{
    const QString path = folder.trimmed();
    if (path.isEmpty() || !folderExists(path))
        return {};
    return documentsIn(path, QStringLiteral("*.pdf"));
}

QDateTime newestPdfTime(const QString& folder)
{
    QDateTime newest = searchStart();
    for (const QFileInfo& info : pdfsOf(folder))
        newest = std::max(newest, info.lastModified());
    return newest;
}

} // namespace

PdfCapture::PdfCapture(LocalSettings& settings, SharedState& state, AttachmentLists& lists, Ui& ui,
                       QString registryPath)
    : m_settings(settings), m_state(state), m_lists(lists), m_ui(ui),
      m_registryPath(std::move(registryPath))
{}

bool PdfCapture::enable(const QString&)
{
    if (m_state.PrintCaptureActive || !m_state.SessionReady)
        return false;
    if (m_settings.MonitorPDFPath == 1) {
        m_lastSeen[0] = newestPdfTime(m_settings.PDFSourcePath1);
        m_lastSeen[1] = newestPdfTime(m_settings.PDFSourcePath2);
        m_monitorOn = true;
    }
    if (m_settings.PDFDriver == kNoDriver)
        return true;
    if (m_settings.PDFDriver == kRedirectedDriver) {
        RegistryFile registry(m_registryPath);
        registryDeleteValue(registry, kRedirectRoot, kRedirectKey, kRedirectValue);
        registrySetValue(registry, kRedirectRoot, kRedirectKey, kRedirectValue,
                         Variant(joinPath(m_state.SessionPath, QStringLiteral("File%.xdf"))));
    } else {
        const qint64 hundredths = qRound64(QTime::currentTime().msecsSinceStartOfDay() / 10.0);
        QFile::remove(joinPath(m_state.SessionPath, QStringLiteral("File%1.pdf").arg(hundredths)));
    }
    m_state.PrintCaptureActive = true;
    qCInfo(lcPrintCapture) << "capture on, driver" << m_settings.PDFDriver << "into"
                           << m_state.SessionPath;
    return true;
}

void PdfCapture::disable()
{
    RegistryFile registry(m_registryPath);
    registryDeleteValue(registry, kRedirectRoot, kRedirectKey, kRedirectValue);
    m_state.PrintCaptureActive = false;
}

void PdfCapture::poll()
{
    // Another page's pulse can come while this poll's question is on screen.
    if (m_polling)
        return;
    m_polling = true;
    try {
        if (m_monitorOn && m_settings.MonitorPDFPath == 1) {
            scanWatchedFolder(m_settings.PDFSourcePath1, m_lastSeen[0]);
            scanWatchedFolder(m_settings.PDFSourcePath2, m_lastSeen[1]);
        }
        if (m_state.PrintCaptureActive && m_settings.PDFDriver != kNoDriver) {
            if (const QString found = nextDriverDocument(); !found.isEmpty())
                takeIn(found);
        }
    } catch (const AutomationError& error) {
        qCWarning(lcPrintCapture).noquote()
            << "a document was not attached:" << error.description();
    }
    m_polling = false;
}

void PdfCapture::scanWatchedFolder(const QString& folder, QDateTime& lastSeen)
{
    for (const QFileInfo& info : pdfsOf(folder)) {
        if (info.lastModified() <= lastSeen)
            continue;
        // Oldest first; one still being written holds back the newer ones, so that
        // lastSeen never passes a document that has not been taken in.
        if (!finished(info.filePath()))
            return;
        takeIn(info.filePath());
        lastSeen = std::max(lastSeen, info.lastModified());
    }
}

QString PdfCapture::nextDriverDocument()
{
    const QString pattern = m_settings.PDFDriver == kRedirectedDriver ? QStringLiteral("File*.xdf")
                                                                      : QStringLiteral("File*.pdf");
    for (const QFileInfo& info : documentsIn(m_state.SessionPath, pattern)) {
        if (m_refused.contains(info.filePath()))
            continue;
        // The oldest is the one printed first; the others wait for later polls.
        return finished(info.filePath()) ? info.filePath() : QString();
    }
    return {};
}

bool PdfCapture::finished(const QString& path)
{
    const QFileInfo info(path);
    const Seen now{info.size(), info.lastModified()};
    switch (writerState(path)) {
    case WriterState::None:
        m_pending.remove(path);
        return true;
    case WriterState::Writing:
        m_pending.insert(path, now);
        return false;
    case WriterState::Unknown:
        break;
    }
    const auto before = m_pending.constFind(path);
    if (before != m_pending.constEnd() && before->size == now.size &&
        before->modified == now.modified) {
        m_pending.remove(path);
        return true;
    }
    m_pending.insert(path, now);
    return false;
}

bool PdfCapture::takeIn(const QString& found)
{
    const QString copy = joinPath(m_state.SessionPath, QString::number(m_state.DocumentCounter) +
                                                           QStringLiteral(".pdf"));
    QFile::remove(copy);
    // QFile::copy writes under a temporary name and renames: the copy is whole or absent.
    if (!QFile::copy(found, copy)) {
        qCWarning(lcPrintCapture) << "could not take in" << found << "(gone, or unreadable)";
        return false;
    }
    if (!QFile::remove(found)) {
        // Left where it is, it would be offered again at every poll.
        qCWarning(lcPrintCapture) << "could not remove" << found << "after taking it in";
        m_refused.insert(found);
    }
    if (!fileExists(copy)) {
        qCWarning(lcPrintCapture) << "an empty document was dropped:" << found;
        return false;
    }
    return acceptDocument(copy, kDocumentCaption, true);
}

bool PdfCapture::acceptDocument(const QString& path, const QString& caption, bool ask)
{
    const qint64 limit = qint64(m_state.MaxKperPDF) * 1024;
    if (QFileInfo(path).size() > limit) {
        m_ui.messageBox({QStringLiteral("The printed document you selected to attach\r\nis larger "
                                        "than %1K.  This file is too\r\nlarge to be transmitted.")
                             .arg(m_state.MaxKperPDF),
                         kNotice, MessageIcon::None, MessageButtons::Ok, true});
        return false;
    }
    if (ask && m_ui.messageBox({QStringLiteral("Printed document was received, attach to claim? "),
                                kNotice, MessageIcon::None, MessageButtons::OkCancel, true}) !=
                   MessageAnswer::Ok)
        return false;
    m_lists.appendPrintDoc(path, caption);
    ++m_state.DocumentCounter;
    return true;
}

} // namespace tarnaxe
