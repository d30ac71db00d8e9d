// How fast the agent's HTTP client moves files to the reference server on loopback,
// against curl doing the same posts: a 100 MiB file as 3,200 appends of 32,768 bytes
// (one curl process reusing its connection for all of them), and one 1 GiB file in a
// single post; for the appends also the agent's CPU time per post. Build in Release to
// measure.
//
// usage: chunk_upload [MiB for the single post, default 1024]

#include "PatternFile.h"
#include "support/DataupServer.h"
#include "transfer/ReplyFields.h"
#include "transfer/clsComm.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cstdio>
#include <sys/resource.h>

using namespace tarnaxe;
using tarnaxe::test::DataupServer;
using tarnaxe::test::DataupServerOptions;

namespace {

constexpr qint64 kChunk = 32768;
constexpr int kChunks = 3200;

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QString beginTransaction(clsComm& comm)
{
    comm.PostPage = QStringLiteral("/dataup/BeginAttachmentTransaction.asp");
    QString error;
    if (!comm.SendData(QStringLiteral("Code:BEGINTRANS\t"), error))
        return {};
    return GetFieldText(comm.ResponseData, "TransactionGUID");
}

// Creates an empty stored file and gives its location.
QString createStoredFile(clsComm& comm, const QString& emptyFile, const QString& transaction)
{
    comm.PostPage = QStringLiteral("/dataup/WriteFile.asp");
    comm.LocalFileSpec = emptyFile;
    QString error;
    if (!comm.SendFile(QStringLiteral("bench.bin"), error, transaction) ||
        GetField(comm.ResponseData, "Status") != "SUCCESS")
        return {};
    return GetFieldText(comm.ResponseData, "Location");
}

// CPU time of this process, every thread of it, in microseconds.
qint64 processCpuMicroseconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto micro = [](const timeval& t) {
        return qint64(t.tv_sec) * 1000000 + t.tv_usec;
    };
    return micro(usage.ru_utime) + micro(usage.ru_stime);
}

double mibPerSecond(qint64 bytes, qint64 ns)
{
    return double(bytes) / (1 << 20) / (double(ns) / 1e9);
}

// curl with a config file; the elapsed time, or -1.
qint64 runCurl(const QString& config)
{
    QProcess curl;
    QElapsedTimer timer;
    timer.start();
    curl.start(QStringLiteral("curl"), {QStringLiteral("--config"), config});
    if (!curl.waitForFinished(3600 * 1000) || curl.exitCode() != 0) {
        std::fprintf(stderr, "curl failed: %s\n", curl.readAllStandardError().constData());
        return -1;
    }
    return timer.nsecsElapsed();
}

// One POST of a body file; "upload-file" with the method set streams it from disk, where
// "data-binary" would read it whole into memory first.
QByteArray curlEntry(const QString& url, const QString& bodyFile)
{
    return "url = \"" + url.toUtf8() + "\"\nrequest = \"POST\"\nupload-file = \"" +
           bodyFile.toUtf8() +
           "\"\noutput = \"/dev/null\"\nheader = \"Content-Type: application/octet-stream\"\n"
           "fail\nsilent\nshow-error\n";
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    // One log line per post would measure the terminal.
    QLoggingCategory::setFilterRules(QStringLiteral("tarnaxe.*.debug=false"));
    const qint64 singleMiB = argc > 1 ? QByteArray(argv[1]).toLongLong() : 1024;
#ifndef NDEBUG
    std::printf("note: a debug build; build in Release for figures that mean something\n");
#endif
    if (QStandardPaths::findExecutable(QStringLiteral("curl")).isEmpty()) {
        std::fprintf(stderr, "curl is needed for the reference figures (apt-get install curl)\n");
        return 1;
    }
    QTemporaryDir dir;
    DataupServerOptions options;
    options.maxBody = (singleMiB + 16) << 20;
    DataupServer server(options);
    if (!dir.isValid() || !server.start()) {
        std::fprintf(stderr, "cannot start dataup-server: %s\n", qPrintable(server.error()));
        return 1;
    }
    clsComm comm;
    comm.ServerName = server.hostPort();
    const QString transaction = beginTransaction(comm);
    const QString empty = dir.filePath(QStringLiteral("empty"));
    if (transaction.isEmpty() || !writeFile(empty, {})) {
        std::fprintf(stderr, "cannot begin a transaction\n");
        return 1;
    }

    // The pieces, written before the clock starts for both clients alike.
    QByteArray piece(kChunk, '\0');
    QStringList chunkFiles;
    for (int i = 0; i < kChunks; ++i) {
        for (qsizetype b = 0; b < piece.size(); b += 64)
            piece[b] = char(i + b);
        chunkFiles << dir.filePath(QStringLiteral("chunk%1").arg(i));
        if (!writeFile(chunkFiles.last(), piece))
            return 1;
    }

    const QString ours = createStoredFile(comm, empty, transaction);
    comm.PostPage = QStringLiteral("/dataup/AppendToFile.asp");
    QElapsedTimer timer;
    timer.start();
    const qint64 cpuBefore = processCpuMicroseconds();
    for (int i = 0; i < kChunks; ++i) {
        QString error;
        if (!comm.AppendFileOnServer(ours, chunkFiles[i], i * kChunk, error, transaction) ||
            GetField(comm.ResponseData, "Status") != "SUCCESS") {
            std::fprintf(stderr, "append %d failed: %s %s\n", i, qPrintable(error),
                         comm.ResponseData.constData());
            return 1;
        }
    }
    const qint64 oursNs = timer.nsecsElapsed();
    const qint64 oursCpu = processCpuMicroseconds() - cpuBefore;

    const QString theirs = createStoredFile(comm, empty, transaction);
    const QString url =
        HttpTransport::pageUrl(server.hostPort(), QStringLiteral("/dataup/AppendToFile.asp"), false)
            .toString();
    QByteArray config;
    for (int i = 0; i < kChunks; ++i) {
        const QString body = dir.filePath(QStringLiteral("body%1").arg(i));
        QFile chunk(chunkFiles[i]);
        if (!chunk.open(QIODevice::ReadOnly) ||
            !writeFile(
                body, clsComm::field(QStringLiteral("sLocation:"), theirs) +
                          clsComm::field(QStringLiteral("TransactionGUID:"), transaction) +
                          clsComm::field(QStringLiteral("CurrSize:"), QString::number(i * kChunk)) +
                          clsComm::field(QStringLiteral("BlobSize:"), QString::number(kChunk)) +
                          "Blob:" + chunk.readAll()))
            return 1;
        config += (i > 0 ? "next\n" : "") + curlEntry(url, body);
    }
    const QString configPath = dir.filePath(QStringLiteral("appends.curl"));
    if (!writeFile(configPath, config))
        return 1;
    const qint64 curlNs = runCurl(configPath);
    if (curlNs < 0)
        return 1;
    const qint64 total = kChunk * kChunks;
    const double oursRate = mibPerSecond(total, oursNs);
    const double curlRate = mibPerSecond(total, curlNs);
    std::printf("%d appends of %lld bytes (100 MiB) to dataup-server on loopback\n", kChunks,
                static_cast<long long>(kChunk));
    std::printf("  AppendFileOnServer: %8.1f MiB/s (%.0f posts/s)\n", oursRate,
                kChunks / (double(oursNs) / 1e9));
    std::printf("  curl, one process:  %8.1f MiB/s (%.0f posts/s)\n", curlRate,
                kChunks / (double(curlNs) / 1e9));
    std::printf("  ratio:              %8.2f (target 0.8)\n", oursRate / curlRate);
    // The agent's own cost, apart from the server's: what a slower machine would feel.
    std::printf("  agent CPU per post: %8.0f us\n", double(oursCpu) / kChunks);
    for (const QString& file : chunkFiles)
        QFile::remove(file);

    // One large file in one post.
    const qint64 size = singleMiB << 20;
    const QString large = dir.filePath(QStringLiteral("large.bin"));
    if (!bench::writePatternFile(large, size))
        return 1;
    comm.PostPage = QStringLiteral("/dataup/WriteFile.asp");
    comm.LocalFileSpec = large;
    timer.restart();
    QString error;
    if (!comm.SendFile(QStringLiteral("large.bin"), error, transaction) ||
        GetField(comm.ResponseData, "Status") != "SUCCESS") {
        std::fprintf(stderr, "SendFile failed: %s %s\n", qPrintable(error),
                     comm.ResponseData.constData());
        return 1;
    }
    const qint64 sendNs = timer.nsecsElapsed();
    // curl posts the same body: the fields, then the file.
    const QString body = dir.filePath(QStringLiteral("large.body"));
    {
        QFile out(body);
        QFile in(large);
        if (!out.open(QIODevice::WriteOnly) || !in.open(QIODevice::ReadOnly))
            return 1;
        out.write(clsComm::field(QStringLiteral("FileName:"), QStringLiteral("large.bin")) +
                  clsComm::field(QStringLiteral("TransactionGUID:"), transaction) +
                  clsComm::field(QStringLiteral("FileSize:"), QString::number(size)) + "File:");
        while (!in.atEnd())
            out.write(in.read(1 << 20));
    }
    QFile::remove(large);
    if (!writeFile(configPath,
                   curlEntry(HttpTransport::pageUrl(server.hostPort(),
                                                    QStringLiteral("/dataup/WriteFile.asp"), false)
                                 .toString(),
                             body)))
        return 1;
    const qint64 curlSendNs = runCurl(configPath);
    if (curlSendNs < 0)
        return 1;
    std::printf("one %lld MiB file in one post\n", static_cast<long long>(singleMiB));
    std::printf("  SendFile:           %8.1f MiB/s\n", mibPerSecond(size, sendNs));
    std::printf("  curl, streamed:     %8.1f MiB/s\n", mibPerSecond(size, curlSendNs));
    std::printf("  ratio:              %8.2f (target 0.7)\n",
                mibPerSecond(size, sendNs) / mibPerSecond(size, curlSendNs));
    return 0;
}
