#pragma once
// A fresh set of the agent's process-wide objects in a throw-away home, with a scripted
// Ui, for tests that drive IO without a socket.

#include "automation/AgentContext.h"
#include "automation/AttachmentLists.h"
#include "automation/FormRegistry.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "platform/ProfileFile.h"
#include "support/FileContents.h"
#include "support/ScriptedUi.h"
#include "support/TempHome.h"

#include <QCoreApplication>

namespace tarnaxe::test {

class TestAgent {
public:
    explicit TestAgent(int helperIntervalMs = 1000)
        : settings(settingsFile()), forms(ui), context{settings,
                                                       state,
                                                       lists,
                                                       ui,
                                                       forms,
                                                       Services{},
                                                       [] { QCoreApplication::processEvents(); },
                                                       helperIntervalMs}
    {}

    QString settingsFile() const
    {
        return home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
    }
    // Writes one key of "LocalSettings" straight into the file.
    void setSetting(const QString& key, const QString& value)
    {
        ProfileFile(settings.filePath()).write(QStringLiteral("LocalSettings"), key, value);
    }
    // A file of the given size under the home; returns its path.
    QString makeFile(const QString& relativePath, qint64 size)
    {
        const QString path = home.path() + QLatin1Char('/') + relativePath;
        if (!writeFileContents(path, QByteArray(size, 'x')))
            qFatal("cannot create test file %s", qPrintable(path));
        return path;
    }

    TempHome home;
    LocalSettings settings;
    SharedState state;
    AttachmentLists lists;
    ScriptedUi ui;
    FormRegistry forms;
    AgentContext context;
};

} // namespace tarnaxe::test
