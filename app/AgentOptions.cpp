#include "AgentOptions.h"

#include "platform/ProfileFile.h"

namespace tarnaxe {

CommandLine parseCommandLine(const QStringList& arguments)
{
    CommandLine line;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& arg = arguments[i];
        if (arg == QLatin1String("--help") || arg == QLatin1String("-h"))
            line.help = true;
        else if (arg == QLatin1String("--version") || arg == QLatin1String("-v"))
            line.version = true;
        else if (line.error.isEmpty())
            line.error = QStringLiteral("unknown option '%1' (try --help)").arg(arg);
    }
    return line;
}

QString usageText()
{
    return QStringLiteral(
        "Usage: tarnaxe [--help] [--version]\n"
        "\n"
        "TarnAxe, the desktop agent of the claims web application. It listens on the\n"
        "loopback interface for the page's WebSocket and serves the IO object there.\n"
        "\n"
        "Settings: $XDG_CONFIG_HOME/TarnAxe/TarnLocal.ini (copied from\n"
        "/etc/xdg/TarnAxe/TarnLocal.ini when missing):\n"
        "  [HostBridge] Port=29170           port on 127.0.0.1 (0: any free port)\n"
        "  [HostBridge] AllowedOrigins=...   space-separated page origins allowed to\n"
        "                                    connect, besides http://localhost and\n"
        "                                    http://127.0.0.1 on any port\n"
        "  [LocalSettings] ...               the estimating platforms' folders\n"
        "A socket handed over by systemd (LISTEN_FDS) is used instead of the port.\n"
        "Log: $XDG_STATE_HOME/TarnAxe/tarnaxe.log and stderr.\n"
        "\n"
        "Options:\n"
        "  -h, --help      show this text\n"
        "  -v, --version   show the version\n");
}

BridgeSettings readBridgeSettings(const QString& settingsFile)
{
    BridgeSettings settings;
    const ProfileFile file(settingsFile);
    const QString section = QStringLiteral("HostBridge");
    const QString port = file.read(section, QStringLiteral("Port"));
    if (!port.isEmpty()) {
        bool ok = false;
        const uint value = port.toUInt(&ok);
        if (!ok || value > 65535)
            settings.error = QStringLiteral("[HostBridge] Port in %1 is not a port number: \"%2\"")
                                 .arg(settingsFile, port);
        else
            settings.port = quint16(value);
    }
    settings.allowedOrigins = file.read(section, QStringLiteral("AllowedOrigins"), {}, 32767)
                                  .split(QLatin1Char(' '), Qt::SkipEmptyParts);
    return settings;
}

} // namespace tarnaxe
