#include "support/ScriptedUi.h"

#include <QObject>

namespace tarnaxe::test {

MessageAnswer ScriptedUi::messageBox(const MessageBoxRequest& request)
{
    boxes.append(request);
    if (!boxAnswers.isEmpty())
        return boxAnswers.dequeue();
    switch (request.buttons) {
    case MessageButtons::YesNo:
    case MessageButtons::YesNoCancel:
        return MessageAnswer::Yes;
    case MessageButtons::RetryCancel:
        return MessageAnswer::Retry;
    case MessageButtons::AbortRetryIgnore:
        return MessageAnswer::Abort;
    default:
        return MessageAnswer::Ok;
    }
}

std::optional<QString> ScriptedUi::openFile(const FileDialogRequest& request)
{
    fileDialogs.append(request);
    if (fileAnswers.isEmpty())
        return std::nullopt;
    return fileAnswers.dequeue();
}

std::optional<QString> ScriptedUi::chooseFolder(const QString& title, const QString& folder)
{
    folderDialogs.append(title + QLatin1Char('|') + folder);
    if (folderAnswers.isEmpty())
        return std::nullopt;
    return folderAnswers.dequeue();
}

void ScriptedUi::showWindow(QObject* window)
{
    shown.append(window->objectName());
}

void ScriptedUi::bringToFront(QObject* window)
{
    raised.append(window->objectName());
}

void ScriptedUi::closeWindow(QObject* window)
{
    closed.append(window->objectName());
    window->deleteLater();
}

} // namespace tarnaxe::test
