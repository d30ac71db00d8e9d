// Round trip of one host bridge call against the real agent: the Version get, answered
// one call after another over one loopback WebSocket, as a page that awaits each call.
// Usage: bridge_roundtrip [agent-binary]

#include "support/AgentProcess.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <QWebSocket>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kWarmUpCalls = 500;
constexpr int kMeasuredCalls = 10000;
constexpr double kTargetP50Ms = 0.3;
constexpr double kTargetCallsPerSecond = 10000;

void fail(const QString& message)
{
    std::fprintf(stderr, "bridge_roundtrip: %s\n", qPrintable(message));
}

double percentile(const std::vector<qint64>& sortedNs, double fraction)
{
    const auto index = static_cast<size_t>(fraction * static_cast<double>(sortedNs.size() - 1));
    return static_cast<double>(sortedNs[index]) / 1e6;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    tarnaxe::test::AgentProcess agent; // its own home, settings with [HostBridge] Port=0
    if (argc > 1)
        agent.process().setProgram(QString::fromLocal8Bit(argv[1]));
    if (!agent.start()) {
        fail(QStringLiteral("%1: %2").arg(agent.process().program(), agent.error()));
        return 1;
    }
    const quint16 port = agent.port();

    QWebSocket socket;
    std::vector<qint64> latencies;
    latencies.reserve(kMeasuredCalls);
    int sent = 0;
    bool failed = false;
    QElapsedTimer callClock;
    QElapsedTimer runClock;
    qint64 runNs = 0;

    auto sendNext = [&] {
        ++sent;
        if (sent == kWarmUpCalls + 1)
            runClock.start();
        callClock.start();
        socket.sendTextMessage(
            QStringLiteral("{\"id\":%1,\"member\":\"Version\",\"kind\":\"get\"}").arg(sent));
        // Out now, as a browser would send it, not on the client's next event loop turn.
        socket.flush();
    };
    QObject::connect(&socket, &QWebSocket::textMessageReceived, &app, [&](const QString& answer) {
        const qint64 ns = callClock.nsecsElapsed();
        if (!answer.startsWith(QStringLiteral("{\"id\":%1,\"result\":").arg(sent))) {
            fail(
                QStringLiteral("unexpected answer to call %1: %2").arg(sent).arg(answer.left(200)));
            failed = true;
            app.quit();
            return;
        }
        if (sent > kWarmUpCalls)
            latencies.push_back(ns);
        if (sent == kWarmUpCalls + kMeasuredCalls) {
            runNs = runClock.nsecsElapsed();
            app.quit();
            return;
        }
        sendNext();
    });
    QObject::connect(&socket, &QWebSocket::connected, &app, sendNext);
    QObject::connect(&socket, &QWebSocket::disconnected, &app, [&] {
        if (runNs == 0) {
            fail(QStringLiteral("connection closed: %1").arg(socket.errorString()));
            failed = true;
            app.quit();
        }
    });
    QTimer::singleShot(120000, &app, [&] {
        fail(QStringLiteral("gave up after two minutes, %1 calls answered").arg(sent - 1));
        failed = true;
        app.quit();
    });
    socket.open(QUrl(QStringLiteral("ws://127.0.0.1:%1/").arg(port)));
    app.exec();
    socket.close();

    agent.stop();
    if (failed)
        return 1;

    std::sort(latencies.begin(), latencies.end());
    const double p50 = percentile(latencies, 0.50);
    const double p99 = percentile(latencies, 0.99);
    const double rate = kMeasuredCalls / (static_cast<double>(runNs) / 1e9);
    std::printf(
        "bridge_roundtrip: %d calls of Version (get), one at a time, after %d warm-up calls\n",
        kMeasuredCalls, kWarmUpCalls);
    std::printf("  p50   %8.3f ms       target below %.1f ms: %s\n", p50, kTargetP50Ms,
                p50 < kTargetP50Ms ? "met" : "MISSED");
    std::printf("  p99   %8.3f ms\n", p99);
    std::printf("  rate  %8.0f calls/s  target %.0f calls/s: %s\n", rate, kTargetCallsPerSecond,
                rate >= kTargetCallsPerSecond ? "met" : "MISSED");
    return 0;
}
