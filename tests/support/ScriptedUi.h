#pragma once
// A Ui for tests: records every message box and window call, and answers from queues
// that the test fills before the code asks.

#include "platform/Ui.h"

#include <QList>
#include <QObject>
#include <QQueue>
#include <QStringList>

namespace tarnaxe::test {

class ScriptedUi : public Ui {
public:
    // An empty queue answers OK (or the first button) to boxes, Cancel to file dialogs.
    MessageAnswer messageBox(const MessageBoxRequest& request) override
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
    std::optional<QString> openFile(const FileDialogRequest& request) override
    {
        fileDialogs.append(request);
        return fileAnswers.isEmpty() ? std::nullopt : fileAnswers.dequeue();
    }
    std::optional<QString> chooseFolder(const QString&, const QString&) override
    {
        return std::nullopt; // cancelled
    }
    void beep() override { ++beeps; }
    void showWindow(QObject* window) override { shown.append(window->objectName()); }
    void bringToFront(QObject*) override {}
    void closeWindow(QObject* window) override
    {
        closed.append(window->objectName());
        window->deleteLater();
    }

    QQueue<MessageAnswer> boxAnswers;
    QQueue<std::optional<QString>> fileAnswers;

    QList<MessageBoxRequest> boxes;
    QList<FileDialogRequest> fileDialogs;
    QStringList shown, closed; // object names, in order
    int beeps = 0;

    // The last box's text, or an empty string.
    QString lastText() const { return boxes.isEmpty() ? QString() : boxes.last().text; }
    // The last box as "title: text", or an empty string.
    QString lastBox() const
    {
        return boxes.isEmpty() ? QString() : boxes.last().title + ": " + boxes.last().text;
    }
};

} // namespace tarnaxe::test
