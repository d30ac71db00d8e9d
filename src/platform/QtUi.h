#pragma once
// The window system for the real agent: Qt message boxes and file dialogs, each brought
// in front of the browser when shown.

#include "platform/Ui.h"

class QWidget;

namespace tarnaxe {

// Topmost and at once not topmost, keeping position and size, then raised and activated:
// how every window of the agent comes in front of the browser.
void bringWidgetToFront(QWidget* widget);

class QtUi : public Ui {
public:
    MessageAnswer messageBox(const MessageBoxRequest& request) override;
    std::optional<QString> openFile(const FileDialogRequest& request) override;
    std::optional<QString> chooseFolder(const QString& title, const QString& folder) override;
    void beep() override;
    void showWindow(QObject* window) override;
    void bringToFront(QObject* window) override;
    void closeWindow(QObject* window) override;
};

} // namespace tarnaxe
