#pragma once
// For e2e tests that need the agent's real dialogs in their own process: the agent that
// main() runs, its host bridge on a free port, a page connected to it, and a clerk who
// answers the modal dialogs. Header only: the e2e tests link the app's library.

#include "Agent.h"
#include "bridge/HostBridge.h"
#include "support/BridgeClient.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <functional>

namespace tarnaxe::test {

class PageAgent {
public:
    explicit PageAgent(const QString& settingsFile)
        : agent(settingsFile), bridge(
                                   [] {
                                       HostBridgeOptions any;
                                       any.port = 0;
                                       return any;
                                   }(),
                                   [this] { return agent.newIO(); })
    {}

    // Listens and connects the page; false (with a warning) when either fails.
    bool open()
    {
        QString error;
        if (!bridge.listen(&error)) {
            qWarning("the bridge does not listen: %s", qPrintable(error));
            return false;
        }
        return page.open(QStringLiteral("ws://127.0.0.1:%1").arg(bridge.port()));
    }

    Agent agent;
    HostBridge bridge;
    BridgeClient page;
};

// Saves a picture of widget as test-output/<path>, for a person to look at.
inline bool saveShot(QWidget* widget, const QString& path)
{
    const QString file = QDir::currentPath() + QStringLiteral("/test-output/") + path;
    return QDir().mkpath(QFileInfo(file).path()) && widget->grab().save(file);
}

// Looks at the modal dialog on top every 50 ms: answer() may handle it (and returns true
// when it did); a message box it leaves is recorded in seen and answered OK.
class Clerk {
public:
    explicit Clerk(std::function<bool(QWidget*)> answer = {}) : m_answer(std::move(answer))
    {
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            QWidget* modal = QApplication::activeModalWidget();
            if (!modal || (m_answer && m_answer(modal)))
                return;
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                seen << box->text();
                box->button(QMessageBox::Ok)->click();
            }
        });
        m_timer.start(50);
    }

    QStringList seen;

private:
    std::function<bool(QWidget*)> m_answer;
    QTimer m_timer;
};

} // namespace tarnaxe::test
