#include "platform/QtUi.h"

#include "config/DirectoryChooserDialog.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QTimer>
#include <QWidget>
#include <QWindow>

namespace tarnaxe {

namespace {

QMessageBox::Icon toQtIcon(MessageIcon icon)
{
    switch (icon) {
    case MessageIcon::None:
        return QMessageBox::NoIcon;
    case MessageIcon::Information:
        return QMessageBox::Information;
    case MessageIcon::Exclamation:
        return QMessageBox::Warning;
    case MessageIcon::Critical:
        return QMessageBox::Critical;
    case MessageIcon::Question:
        return QMessageBox::Question;
    }
    return QMessageBox::NoIcon;
}

QMessageBox::StandardButtons toQtButtons(MessageButtons buttons)
{
    switch (buttons) {
    case MessageButtons::Ok:
        return QMessageBox::Ok;
    case MessageButtons::OkCancel:
        return QMessageBox::Ok | QMessageBox::Cancel;
    case MessageButtons::YesNo:
        return QMessageBox::Yes | QMessageBox::No;
    case MessageButtons::YesNoCancel:
        return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    case MessageButtons::RetryCancel:
        return QMessageBox::Retry | QMessageBox::Cancel;
    case MessageButtons::AbortRetryIgnore:
        return QMessageBox::Abort | QMessageBox::Retry | QMessageBox::Ignore;
    }
    return QMessageBox::Ok;
}

MessageAnswer fromQtButton(int button)
{
    switch (button) {
    case QMessageBox::Ok:
        return MessageAnswer::Ok;
    case QMessageBox::Yes:
        return MessageAnswer::Yes;
    case QMessageBox::No:
        return MessageAnswer::No;
    case QMessageBox::Retry:
        return MessageAnswer::Retry;
    case QMessageBox::Abort:
        return MessageAnswer::Abort;
    case QMessageBox::Ignore:
        return MessageAnswer::Ignore;
    default:
        return MessageAnswer::Cancel;
    }
}

// "All Files (*.*)|*.*" to Qt's "All Files (*)".
QString toQtFilter(const QString& filter)
{
    const QStringList parts = filter.split(QLatin1Char('|'));
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString patterns = parts[i + 1];
        patterns.replace(QLatin1Char(';'), QLatin1Char(' '));
        patterns.replace(QLatin1String("*.*"), QLatin1String("*"));
        QString description = parts[i];
        const qsizetype paren = description.indexOf(QLatin1Char('('));
        if (paren >= 0)
            description = description.left(paren).trimmed();
        filters.append(description + QStringLiteral(" (") + patterns + QLatin1Char(')'));
    }
    return filters.join(QStringLiteral(";;"));
}

} // namespace

void bringWidgetToFront(QWidget* widget)
{
    if (!widget)
        return;
    // Through the native window, not QWidget::setWindowFlags: that hides the widget, and
    // hiding a dialog in exec() ends it as if cancelled.
    if (QWindow* window = widget->windowHandle()) {
        const Qt::WindowFlags flags = window->flags();
        window->setFlags(flags | Qt::WindowStaysOnTopHint);
        window->setFlags(flags);
    }
    widget->raise();
    widget->activateWindow();
}

MessageAnswer QtUi::messageBox(const MessageBoxRequest& request)
{
    QMessageBox box(toQtIcon(request.icon), request.title, request.text,
                    toQtButtons(request.buttons));
    // Texts often carry what a server, a page or a file said: shown as written, never as
    // markup that could hold a link or an image.
    box.setTextFormat(Qt::PlainText);
    if (request.systemModal)
        box.setWindowModality(Qt::ApplicationModal);
    // Raised once the box is on screen, so that it shows in front of the browser.
    QTimer::singleShot(0, &box, [&box] { bringWidgetToFront(&box); });
    return fromQtButton(box.exec());
}

std::optional<QString> QtUi::openFile(const FileDialogRequest& request)
{
    QFileDialog dialog(nullptr, request.title, request.folder, toQtFilter(request.filter));
    dialog.setFileMode(request.multiSelect ? QFileDialog::ExistingFiles
                                           : QFileDialog::ExistingFile);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    if (!request.fileName.isEmpty())
        dialog.selectFile(request.fileName);
    QTimer::singleShot(0, &dialog, [&dialog] { bringWidgetToFront(&dialog); });
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    const QStringList files = dialog.selectedFiles();
    if (files.size() == 1)
        return files.first();
    QStringList answer{dialog.directory().absolutePath()};
    for (const QString& file : files)
        answer.append(QFileInfo(file).fileName());
    return answer.join(QChar(0));
}

std::optional<QString> QtUi::chooseFolder(const QString& title, const QString& folder)
{
    DirectoryChooserDialog dialog(folder);
    dialog.setWindowTitle(title);
    QTimer::singleShot(0, &dialog, [&dialog] { bringWidgetToFront(&dialog); });
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return dialog.chosenPath();
}

void QtUi::beep()
{
    QApplication::beep();
}

void QtUi::showWindow(QObject* window)
{
    if (auto* widget = qobject_cast<QWidget*>(window))
        widget->show();
}

void QtUi::bringToFront(QObject* window)
{
    bringWidgetToFront(qobject_cast<QWidget*>(window));
}

void QtUi::closeWindow(QObject* window)
{
    // A form may refuse (a transfer at work finishes first and then unloads itself).
    if (auto* widget = qobject_cast<QWidget*>(window)) {
        widget->setAttribute(Qt::WA_DeleteOnClose);
        widget->close();
    } else if (window) {
        window->deleteLater();
    }
}

} // namespace tarnaxe
