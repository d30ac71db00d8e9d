// A whole upload through the transfer form, in 32 KiB chunks, to the reference server on
// loopback: the rate, the agent's peak resident memory growth while it runs, and for
// reference curl posting the same pieces over one reused connection. Build in Release.
//
// usage: upload [MiB, default 1024]

#include "PatternFile.h"
#include "PeakMemory.h"
#include "automation/AttachmentLists.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "http/HttpTransport.h"
#include "support/DataupServer.h"
#include "support/ScriptedUi.h"
#include "transfer/ReplyFields.h"
#include "transfer/TransferForm.h"
#include "transfer/clsComm.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QPointer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <cstdio>

using namespace tarnaxe;
using tarnaxe::test::DataupServer;
using tarnaxe::test::DataupServerOptions;

namespace {

constexpr qint64 kPiece = 32768;

double mibPerSecond(qint64 bytes, qint64 ns)
{
    return double(bytes) / (1 << 20) / (double(ns) / 1e9);
}

// curl posting the file's pieces as the agent does (WriteFile, then appends) over one
// connection; nanoseconds, or -1.
qint64 fail(int line)
{
    std::fprintf(stderr, "curl reference failed at line %d\n", line);
    return -1;
}

qint64 curlReference(DataupServer& server, const QString& file, qint64 size, const QString& folder)
{
    clsComm comm;
    comm.ServerName = server.hostPort();
    comm.PostPage = QStringLiteral("/dataup/BeginAttachmentTransaction.asp");
    QString error;
    if (!comm.SendData(QStringLiteral("Code:BEGINTRANS\t"), error))
        return fail(__LINE__);
    const QString transaction = GetFieldText(comm.ResponseData, "TransactionGUID");
    QFile input(file);
    if (!input.open(QIODevice::ReadOnly))
        return fail(__LINE__);
    QByteArray config;
    const auto url = [&](const char* page) {
        return HttpTransport::pageUrl(server.hostPort(), QString::fromLatin1(page), false)
            .toString()
            .toUtf8();
    };
    // The first piece creates the file; curl then needs its location, so the first post
    // is made here and not timed.
    const QByteArray first = input.read(kPiece);
    const QString firstPath = folder + QStringLiteral("/first");
    QFile out(firstPath);
    if (!out.open(QIODevice::WriteOnly) || out.write(first) != first.size())
        return fail(__LINE__);
    out.close();
    comm.PostPage = QStringLiteral("/dataup/WriteFile.asp");
    comm.LocalFileSpec = firstPath;
    if (!comm.SendFile(QStringLiteral("curl.bin"), error, transaction))
        return fail(__LINE__);
    const QString location = GetFieldText(comm.ResponseData, "Location");
    int n = 0;
    for (qint64 sent = first.size(); sent < size; sent += kPiece, ++n) {
        const QByteArray piece = input.read(kPiece);
        const QString body = folder + QStringLiteral("/body%1").arg(n);
        QFile bodyFile(body);
        if (!bodyFile.open(QIODevice::WriteOnly))
            return fail(__LINE__);
        bodyFile.write(clsComm::field(QStringLiteral("sLocation:"), location) +
                       clsComm::field(QStringLiteral("TransactionGUID:"), transaction) +
                       clsComm::field(QStringLiteral("CurrSize:"), QString::number(sent)) +
                       clsComm::field(QStringLiteral("BlobSize:"), QString::number(piece.size())) +
                       "Blob:" + piece);
        config += (n > 0 ? "next\n" : "") + QByteArray("url = \"") +
                  url("/dataup/AppendToFile.asp") + "\"\nrequest = \"POST\"\nupload-file = \"" +
                  body.toUtf8() + "\"\noutput = \"/dev/null\"\nfail\nsilent\nshow-error\n";
    }
    const QString configPath = folder + QStringLiteral("/appends.curl");
    QFile configFile(configPath);
    if (!configFile.open(QIODevice::WriteOnly) || configFile.write(config) != config.size())
        return fail(__LINE__);
    configFile.close();
    QProcess curl;
    QElapsedTimer timer;
    timer.start();
    curl.start(QStringLiteral("curl"), {QStringLiteral("--config"), configPath});
    if (!curl.waitForFinished(3600 * 1000) || curl.exitCode() != 0) {
        std::fprintf(stderr, "curl failed: %s\n", curl.readAllStandardError().constData());
        return fail(__LINE__);
    }
    const qint64 ns = timer.nsecsElapsed();
    // A reference that did not store the whole file measures nothing.
    const QJsonArray files =
        server.transaction(transaction).value(QLatin1String("files")).toArray();
    const qint64 stored =
        files.isEmpty() ? -1 : files.last().toObject().value(QLatin1String("size")).toInteger();
    if (stored != size) {
        std::fprintf(stderr, "curl stored %lld of %lld bytes\n", static_cast<long long>(stored),
                     static_cast<long long>(size));
        return fail(__LINE__);
    }
    // Include the untimed first piece's share, so both figures cover the same bytes.
    return qint64(double(ns) * double(size) / double(size - first.size()));
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("tarnaxe.*.debug=false"));
    const qint64 mib = argc > 1 ? QByteArray(argv[1]).toLongLong() : 1024;
    const qint64 size = mib << 20;
#ifndef NDEBUG
    std::printf("note: a debug build; build in Release for figures that mean something\n");
#endif
    QTemporaryDir dir;
    DataupServer server;
    if (!dir.isValid() || !server.start()) {
        std::fprintf(stderr, "cannot start dataup-server: %s\n", qPrintable(server.error()));
        return 1;
    }
    const QString file = dir.filePath(QStringLiteral("large.bin"));
    if (!bench::writePatternFile(file, size))
        return 1;

    SharedState state;
    state.SessionPath = dir.filePath(QStringLiteral("session"));
    QDir().mkpath(state.SessionPath);
    state.request.IOCommand = QStringLiteral("WRITE");
    state.request.AssignmentGUID = server.seed();
    state.request.RemoteServer = server.hostPort();
    AttachmentLists lists;
    lists.appendFile(file);
    test::ScriptedUi ui;

    const qint64 before = bench::residentKiB();
    qint64 peak = before;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout,
                     [&peak] { peak = qMax(peak, bench::residentKiB()); });
    sampler.start(20);
    QString outcome;
    const LocalSettings settings(dir.filePath(QStringLiteral("TarnLocal.ini")));
    QPointer<TransferForm> form = new TransferForm({state, lists, settings, ui, {}, {}});
    QObject::connect(form, &TransferForm::CurrentStatus,
                     [&outcome](const QString& status, const QString&) { outcome = status; });
    QElapsedTimer timer;
    timer.start();
    form->show();
    (void)QTest::qWaitFor(
        [&] { return outcome == QLatin1String("COMPLETE") || outcome == QLatin1String("ERROR"); },
        3600 * 1000);
    const qint64 ns = timer.nsecsElapsed();
    sampler.stop();
    if (outcome != QLatin1String("COMPLETE")) {
        std::fprintf(stderr, "the upload ended in %s: %s\n", qPrintable(outcome),
                     qPrintable(ui.lastText()));
        return 1;
    }
    (void)QTest::qWaitFor([&] { return form.isNull(); }, 5000);

    const qint64 curlNs = curlReference(server, file, size, dir.path());
    if (curlNs < 0)
        return 1;
    std::printf("one %lld MiB file through the transfer form, in %lld pieces of 32 KiB\n",
                static_cast<long long>(mib), static_cast<long long>((size + kPiece - 1) / kPiece));
    std::printf("  agent:                %8.1f MiB/s\n", mibPerSecond(size, ns));
    std::printf("  curl, same pieces:    %8.1f MiB/s\n", mibPerSecond(size, curlNs));
    std::printf("  ratio:                %8.2f (target 0.7)\n", double(curlNs) / double(ns));
    std::printf("  peak resident growth: %8.1f MiB (target below 16)\n", (peak - before) / 1024.0);
    return 0;
}
