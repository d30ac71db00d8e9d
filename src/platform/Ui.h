#pragma once
// Everything that logic asks of the window system: message boxes, the file and folder
// dialogs,
// a beep, and showing, raising and closing the agent's own windows. The widget build
// implements it with Qt (QtUi); tests use a scripted implementation.

#include <QObject>
#include <QString>
#include <optional>

namespace tarnaxe {

enum class MessageIcon { None, Information, Exclamation, Critical, Question };
enum class MessageButtons { Ok, OkCancel, YesNo, YesNoCancel, RetryCancel, AbortRetryIgnore };
enum class MessageAnswer { Ok, Cancel, Yes, No, Retry, Abort, Ignore };

struct MessageBoxRequest {
    QString text;
    QString title;
    MessageIcon icon = MessageIcon::None;
    MessageButtons buttons = MessageButtons::Ok;
    bool systemModal = false;
};

struct FileDialogRequest {
    QString title;
    QString filter;   // "All Files (*.*)|*.*": description and pattern pairs joined by "|"
    QString fileName; // initial name
    QString folder;   // initial folder; empty for the dialog's own choice
    bool multiSelect = false;
};

class Ui {
public:
    virtual ~Ui() = default;

    virtual MessageAnswer messageBox(const MessageBoxRequest& request) = 0;
    // The chosen file's path, or the folder and names separated by NUL characters when
    // several were chosen; nothing when the user cancelled.
    virtual std::optional<QString> openFile(const FileDialogRequest& request) = 0;
    // A folder chosen by the user, the dialog opening at folder; nothing when cancelled.
    virtual std::optional<QString> chooseFolder(const QString& title, const QString& folder) = 0;
    virtual void beep() = 0;

    // The agent's windows are QObjects (widgets in the real build), found by objectName.
    virtual void showWindow(QObject* window) = 0;
    // Topmost and at once not topmost, keeping position and size: in front of the browser.
    virtual void bringToFront(QObject* window) = 0;
    virtual void closeWindow(QObject* window) = 0;

    // Convenience for the common OK-only box.
    void message(const QString& text, const QString& title, MessageIcon icon = MessageIcon::None)
    {
        messageBox({text, title, icon, MessageButtons::Ok, false});
    }
};

} // namespace tarnaxe
