// tarnaxe: the desktop agent. Wires the process-wide objects, opens the host bridge on
// the loopback interface and runs the one user-interface thread.

#include "Agent.h"
#include "AgentOptions.h"
#include "automation/IO.h"
#include "bridge/HostBridge.h"
#include "platform/LogSink.h"
#include "platform/Logging.h"

#include <QApplication>
#include <QSocketNotifier>
#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

using namespace tarnaxe;

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

// SIGINT and SIGTERM end the event loop, so that every IO object is destroyed and undoes
// what it changed, instead of the process dying mid-way.
void quitOnSignals(QCoreApplication& app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char byte;
        [[maybe_unused]] const auto got = ::read(signalPipe[0], &byte, 1);
        qCInfo(lcAutomation) << "stopping on a signal";
        app.quit();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void printLine(const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fputc('\n', stdout);
}

void printReady(quint16 port)
{
    const QString address = QStringLiteral("ws://127.0.0.1:%1").arg(port);
    printLine(QStringLiteral("TarnAxe listening on ") + address);
    printLine(QStringLiteral("Call IO.Version from a page's console (http://localhost or an "
                             "allowed origin):"));
    printLine(QStringLiteral("  const ws = new WebSocket(\"%1\"); ws.onmessage = e => "
                             "console.log(e.data); ws.onopen = () => ws.send(JSON.stringify("
                             "{id: 1, member: \"Version\", kind: \"get\"}));")
                  .arg(address));
    printLine(QStringLiteral("or from a shell:"));
    printLine(QStringLiteral("  echo '{\"id\":1,\"member\":\"Version\",\"kind\":\"get\"}' | "
                             "websocat %1")
                  .arg(address));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const CommandLine line = parseCommandLine(arguments);
    if (!line.error.isEmpty()) {
        std::fprintf(stderr, "tarnaxe: %s\n", qPrintable(line.error));
        return 2;
    }
    if (line.help) {
        std::fputs(qPrintable(usageText()), stdout);
        return 0;
    }
    if (line.version) {
        std::printf("tarnaxe %s\n", qPrintable(kAgentVersion));
        return 0;
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("TarnAxe"));
    QApplication::setApplicationVersion(kAgentVersion);
    // The agent lives behind the page: closing its last dialog must not end it.
    QApplication::setQuitOnLastWindowClosed(false);
    const QString logFile = installLogSink();

    const QString settingsFile = LocalSettings::userFilePath();
    const BridgeSettings bridgeSettings = readBridgeSettings(settingsFile);
    if (!bridgeSettings.error.isEmpty()) {
        std::fprintf(stderr, "tarnaxe: %s\n", qPrintable(bridgeSettings.error));
        return 1;
    }

    Agent agent(settingsFile);
    HostBridgeOptions options;
    options.port = bridgeSettings.port;
    options.allowedOrigins = bridgeSettings.allowedOrigins;
    options.listenFd = systemdListenFd();
    options.version = kAgentVersion;
    HostBridge bridge(options, [&agent] { return agent.newIO(); });
    QString error;
    if (!bridge.listen(&error)) {
        std::fprintf(stderr, "tarnaxe: cannot listen: %s\n", qPrintable(error));
        return 1;
    }
    qCInfo(lcBridge) << "settings" << settingsFile << "log" << logFile;
    printReady(bridge.port());
    quitOnSignals(app);
    return app.exec();
}
