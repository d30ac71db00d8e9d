#pragma once
// A Ui for tests: records every message box and window call, and answers from queues
// that the test fills before the code asks.

#include "platform/Ui.h"

#include <QList>
#include <QQueue>
#include <QStringList>

namespace tarnaxe::test {

class ScriptedUi : public Ui {
public:
    MessageAnswer messageBox(const MessageBoxRequest& request) override;
    std::optional<QString> openFile(const FileDialogRequest& request) override;
    std::optional<QString> chooseFolder(const QString& title, const QString& folder) override;
    void beep() override { ++beeps; }
    void showWindow(QObject* window) override;
    void bringToFront(QObject* window) override;
    void closeWindow(QObject* window) override;

    // Answers: an empty queue answers OK (or the first button) to boxes and Cancel to
    // file and folder dialogs.
    QQueue<MessageAnswer> boxAnswers;
    QQueue<std::optional<QString>> fileAnswers;
    QQueue<std::optional<QString>> folderAnswers;

    QList<MessageBoxRequest> boxes;
    QList<FileDialogRequest> fileDialogs;
    QStringList folderDialogs; // "<title>|<folder>"
    QStringList shown;         // object names, in order
    QStringList raised;        // object names, in order
    QStringList closed;        // object names, in order
    int beeps = 0;

    // The last box's text, or an empty string.
    QString lastText() const { return boxes.isEmpty() ? QString() : boxes.last().text; }
};

} // namespace tarnaxe::test
