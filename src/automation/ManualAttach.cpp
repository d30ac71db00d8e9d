#include "automation/ManualAttach.h"

#include "automation/AgentContext.h"
#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "platform/FileNames.h"
#include "platform/Logging.h"
#include "platform/Ui.h"
#include "platform/Variant.h"

#include <QDir>
#include <QFileInfo>

namespace tarnaxe {

namespace {

// The file dialog's own error when the user cancels.
const QString kCancelSelected = QStringLiteral("Cancel was selected.");

class AttachError : public std::exception {
public:
    explicit AttachError(QString description) : m_description(std::move(description)) {}
    const QString& description() const { return m_description; }

private:
    QString m_description;
};

// Attaches one path; true when it counts as attached.
bool attachOne(AgentContext& context, const QString& path, qint64 limit)
{
    const QString kind = path.right(3).toUpper();
    if (kind == QLatin1String("JPG")) {
        if (!context.services.photos)
            throw AutomationError::actionNotSupported();
        const QString problem = context.services.photos->addPhotos({{path, QString()}}).value(0);
        if (problem.isEmpty())
            return true;
        context.ui.message(problem, QStringLiteral("Cannot Attach Photo"),
                           MessageIcon::Exclamation);
        return false;
    }
    if (kind == QLatin1String("PDF")) {
        if (!context.services.printCapture)
            throw AutomationError::actionNotSupported();
        return context.services.printCapture->acceptDocument(
            path, QStringLiteral("Manual Attachment"), false);
    }
    const QFileInfo info(path);
    if (!info.exists())
        throw AttachError(QStringLiteral("File not found: ") + path);
    if (info.size() <= limit) {
        context.lists.appendFile(path);
        return true;
    }
    context.ui.message(QStringLiteral("File too large (") + path + QLatin1Char(')'),
                       QStringLiteral("Cannot Attach File"));
    return false;
}

} // namespace

QStringList parseChosenFiles(const QString& chosen)
{
    const QString text = chosen.trimmed();
    if (!text.contains(QChar(0)))
        return text.isEmpty() ? QStringList() : QStringList{text};
    QStringList paths;
    const QStringList pieces = text.split(QChar(0), Qt::SkipEmptyParts);
    if (pieces.isEmpty())
        return paths;
    const QString folder = pieces.first();
    for (qsizetype i = 1; i < pieces.size(); ++i)
        paths.append(joinPath(folder, pieces[i]));
    return paths;
}

qint64 fileSizeLimit(qint32 maxKperPDF)
{
    return std::max<qint64>(qint64(maxKperPDF) * 1024, 3000000);
}

void attachFilesByHand(AgentContext& context)
{
    const qint64 limit = fileSizeLimit(context.state.MaxKperPDF);
    try {
        FileDialogRequest request;
        request.title = QStringLiteral("Select File(s) to Attach");
        request.filter = QStringLiteral("All Files (*.*)|*.*");
        // Where the user was last in this session, else the home folder: never the agent's
        // own working folder.
        QString& lastFolder = context.state.AttachFolder;
        request.folder = lastFolder.isEmpty() ? QDir::homePath() : lastFolder;
        const std::optional<QString> chosen = context.ui.openFile(request);
        if (!chosen)
            throw AttachError(kCancelSelected);
        const QStringList paths = parseChosenFiles(*chosen);
        if (!paths.isEmpty())
            lastFolder = QFileInfo(paths.first()).absolutePath();
        int attached = 0;
        for (const QString& path : paths) {
            if (attachOne(context, path, limit))
                ++attached;
        }
        if (attached < 1) {
            context.ui.message(QStringLiteral("No files were attached."),
                               QStringLiteral("No Files Attached"), MessageIcon::Information);
        } else {
            context.ui.message(QString::number(attached) + QStringLiteral(" files attached."),
                               QStringLiteral("Files Attached"), MessageIcon::Information);
        }
    } catch (const AttachError& e) {
        context.ui.message(QStringLiteral("Attachment Error: ") + e.description(),
                           QStringLiteral("Error"), MessageIcon::Critical);
    } catch (const AutomationError& e) {
        qCWarning(lcAutomation) << "manual attachment failed:" << e.description();
        context.ui.message(QStringLiteral("Attachment Error: ") + e.description(),
                           QStringLiteral("Error"), MessageIcon::Critical);
    }
}

} // namespace tarnaxe
