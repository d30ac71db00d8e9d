#include "platform/LogSink.h"

#include "platform/FileNames.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <cstdio>

namespace tarnaxe {

namespace {

struct LogState {
    QFile file;
    qint64 rotateAt = 0;
    int keep = 0;
};

LogState& state()
{
    static LogState s;
    return s;
}

void rotate(LogState& s)
{
    const QString path = s.file.fileName();
    s.file.close();
    QFile::remove(path + QLatin1Char('.') + QString::number(s.keep));
    for (int i = s.keep - 1; i >= 1; --i)
        QFile::rename(path + QLatin1Char('.') + QString::number(i),
                      path + QLatin1Char('.') + QString::number(i + 1));
    QFile::rename(path, path + QStringLiteral(".1"));
    s.file.setFileName(path);
    s.file.open(QIODevice::WriteOnly | QIODevice::Append);
}

const char* levelName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return "debug";
    case QtInfoMsg:
        return "info";
    case QtWarningMsg:
        return "warning";
    case QtCriticalMsg:
        return "critical";
    case QtFatalMsg:
        return "fatal";
    }
    return "?";
}

void handler(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QByteArray line =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")).toUtf8() +
        ' ' + levelName(type) + ' ' + (context.category ? context.category : "default") + ": " +
        message.toUtf8() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    LogState& s = state();
    if (s.file.isOpen()) {
        s.file.write(line);
        s.file.flush();
        if (s.file.size() >= s.rotateAt)
            rotate(s);
    }
}

} // namespace

QString installLogSink(qint64 rotateAtBytes, int keepFiles)
{
    LogState& s = state();
    s.rotateAt = rotateAtBytes;
    s.keep = keepFiles;
    // Qt 6.4 has no state location yet; read the XDG variable as its rules say.
    QString stateHome = qEnvironmentVariable("XDG_STATE_HOME");
    if (!QDir::isAbsolutePath(stateHome))
        stateHome = joinPath(QDir::homePath(), QStringLiteral(".local/state"));
    const QString folder = joinPath(stateHome, QStringLiteral("TarnAxe"));
    QDir().mkpath(folder);
    s.file.setFileName(joinPath(folder, QStringLiteral("tarnaxe.log")));
    const bool open = s.file.open(QIODevice::WriteOnly | QIODevice::Append);
    qInstallMessageHandler(handler);
    return open ? s.file.fileName() : QString();
}

} // namespace tarnaxe
