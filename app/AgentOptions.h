#pragma once
// What the agent takes from its command line and from the "HostBridge" section of its
// settings file.

#include <QString>
#include <QStringList>
#include <optional>

namespace tarnaxe {

struct CommandLine {
    bool help = false;
    bool version = false;
    QString error; // one line, for an unknown option
};

CommandLine parseCommandLine(const QStringList& arguments);
QString usageText();

struct BridgeSettings {
    quint16 port = 29170;
    QStringList allowedOrigins;
    QString error; // one line, when the port is not a port number
};

// Reads [HostBridge] Port and AllowedOrigins from the settings file.
BridgeSettings readBridgeSettings(const QString& settingsFile);

} // namespace tarnaxe
