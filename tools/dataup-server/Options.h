#pragma once
// The command line.

#include <QList>
#include <QString>
#include <QStringList>

namespace tarnaxe::dataup {

struct ServeOptions {
    QString dataDir;
    QString outDir; // sample-estimate
    QString host = QStringLiteral("127.0.0.1");
    int port = 8080;
    QString tlsCert;
    QString tlsKey;
    qint64 maxBody = 64 * 1024 * 1024;
    // Folders served as they are, each under its URL prefix ("/portal/").
    struct StaticMount {
        QString prefix;
        QString folder;
    };
    QList<StaticMount> staticMounts;
};

struct CommandLine {
    enum class Command { Serve, Seed, SampleEstimate, Help, Invalid };
    Command command = Command::Invalid;
    ServeOptions options;
    QString error; // for Invalid
};

CommandLine parseCommandLine(const QStringList& arguments);

extern const char kUsage[];

} // namespace tarnaxe::dataup
