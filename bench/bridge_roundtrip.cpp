// Round trip of one host bridge call against the real agent: the Version get, answered
// one call after another over one loopback WebSocket, as a page that awaits each call.
// Measured twice: with the agent and this client on one CPU, and where the scheduler puts
// them. On a virtual machine a wake-up across CPUs costs an inter-processor interrupt
// that dominates a loopback round trip; the first figure shows the agent's own cost.
// Usage: bridge_roundtrip [agent-binary]

#include "support/AgentProcess.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <QWebSocket>
#include <algorithm>
#include <cstdio>
#include <sched.h>
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

struct Result {
    bool ok = false;
    double p50Ms = 0;
    double p99Ms = 0;
    double callsPerSecond = 0;
};

Result measure(QCoreApplication& app, const QString& program)
{
    tarnaxe::test::AgentProcess agent; // its own home, settings with [HostBridge] Port=0
    if (!program.isEmpty())
        agent.process().setProgram(program);
    if (!agent.start()) {
        fail(QStringLiteral("%1: %2").arg(agent.process().program(), agent.error()));
        return {};
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
        return {};
    std::sort(latencies.begin(), latencies.end());
    return {true, percentile(latencies, 0.50), percentile(latencies, 0.99),
            kMeasuredCalls / (static_cast<double>(runNs) / 1e9)};
}

// Both this process and the agent it starts (which inherits the mask) run on cpus.
void runOn(const std::vector<int>& cpus)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int cpu : cpus)
        CPU_SET(cpu, &set);
    sched_setaffinity(0, sizeof set, &set);
}

void print(const char* title, const Result& r)
{
    std::printf("  %s\n", title);
    std::printf("    p50   %8.3f ms       target below %.1f ms: %s\n", r.p50Ms, kTargetP50Ms,
                r.p50Ms < kTargetP50Ms ? "met" : "MISSED");
    std::printf("    p99   %8.3f ms\n", r.p99Ms);
    std::printf("    rate  %8.0f calls/s  target %.0f calls/s: %s\n", r.callsPerSecond,
                kTargetCallsPerSecond,
                r.callsPerSecond >= kTargetCallsPerSecond ? "met" : "MISSED");
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QString program = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    cpu_set_t all;
    sched_getaffinity(0, sizeof all, &all);
    std::vector<int> cpus;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &all))
            cpus.push_back(cpu);
    }

    runOn({cpus.front()});
    const Result oneCpu = measure(app, program);
    runOn(cpus);
    const Result anyCpu = measure(app, program);
    if (!oneCpu.ok || !anyCpu.ok)
        return 1;
    std::printf(
        "bridge_roundtrip: %d calls of Version (get), one at a time, after %d warm-up calls\n",
        kMeasuredCalls, kWarmUpCalls);
    print("agent and client on one CPU", oneCpu);
    print("agent and client where the scheduler puts them", anyCpu);
    return 0;
}
