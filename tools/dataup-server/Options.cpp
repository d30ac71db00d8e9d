#include "Options.h"

#include "Fields.h"

#include <QDir>
#include <QFileInfo>

namespace tarnaxe::dataup {

const char kUsage[] =
    "Usage:\n"
    "  dataup-server --data DIR [--listen HOST:PORT] [--tls-cert FILE --tls-key FILE]\n"
    "                [--max-body BYTES] [--static [/PREFIX/=]DIR ...]\n"
    "      Serves the /dataup/ pages, an HTML overview at /, JSON at /api/... and fault\n"
    "      rules at /_faults. State lives in DIR (created when missing). --listen defaults\n"
    "      to 127.0.0.1:8080; port 0 takes a free port. With a certificate and its key the\n"
    "      server speaks HTTPS. --max-body defaults to 67108864 (64 MiB). --static serves\n"
    "      the files of DIR under /PREFIX/ (by default /NAME/, NAME being DIR's own name),\n"
    "      for a sample page; it may be given several times.\n"
    "  dataup-server seed --data DIR\n"
    "      Adds a sample assignment to DIR and prints its GUID.\n"
    "  dataup-server sample-estimate --out DIR\n"
    "      Writes an estimate of the sample claim (an EMS set with totals, as an estimating\n"
    "      program exports it) into DIR and prints its envelope's path.\n"
    "  dataup-server --help\n";

namespace {

bool parseListen(const QString& text, ServeOptions& options)
{
    const qsizetype colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon <= 0)
        return false;
    QString host = text.left(colon);
    if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
        host = host.mid(1, host.size() - 2);
    bool ok = false;
    const int port = text.mid(colon + 1).toInt(&ok);
    if (!ok || port < 0 || port > 65535 || host.isEmpty())
        return false;
    options.host = host;
    options.port = port;
    return true;
}

bool parseStatic(const QString& text, ServeOptions& options)
{
    ServeOptions::StaticMount mount;
    const qsizetype equals = text.indexOf(QLatin1Char('='));
    if (text.startsWith(QLatin1Char('/')) && equals > 0) {
        mount.prefix = text.left(equals);
        mount.folder = text.mid(equals + 1);
    } else {
        mount.folder = text;
        mount.prefix = QLatin1Char('/') + QFileInfo(QDir::cleanPath(text)).fileName();
    }
    if (!mount.prefix.endsWith(QLatin1Char('/')))
        mount.prefix += QLatin1Char('/');
    // "/" would hide the overview and the JSON views.
    if (mount.prefix == QLatin1String("/") || mount.prefix.contains(QLatin1String("..")) ||
        !QFileInfo(mount.folder).isDir())
        return false;
    options.staticMounts.append(mount);
    return true;
}

CommandLine invalid(const QString& error)
{
    CommandLine line;
    line.error = error;
    return line;
}

} // namespace

CommandLine parseCommandLine(const QStringList& arguments)
{
    CommandLine line;
    line.command = CommandLine::Command::Serve;
    QStringList args = arguments;
    if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        line.command = CommandLine::Command::Help;
        return line;
    }
    if (!args.isEmpty() && args.first() == QLatin1String("seed")) {
        line.command = CommandLine::Command::Seed;
        args.removeFirst();
    } else if (!args.isEmpty() && args.first() == QLatin1String("sample-estimate")) {
        line.command = CommandLine::Command::SampleEstimate;
        args.removeFirst();
    }
    for (qsizetype i = 0; i < args.size(); ++i) {
        QString name = args[i];
        QString value;
        if (const qsizetype equals = name.indexOf(QLatin1Char('=')); equals > 0) {
            value = name.mid(equals + 1);
            name = name.left(equals);
        } else if (name.startsWith(QLatin1String("--")) && i + 1 < args.size()) {
            value = args[++i];
        } else {
            return invalid(QStringLiteral("unexpected argument: ") + name);
        }
        ServeOptions& o = line.options;
        const bool serving = line.command == CommandLine::Command::Serve;
        const bool sampling = line.command == CommandLine::Command::SampleEstimate;
        if (name == QLatin1String("--out") && sampling) {
            o.outDir = value;
        } else if (name == QLatin1String("--data") && !sampling) {
            o.dataDir = value;
        } else if (name == QLatin1String("--listen") && serving) {
            if (!parseListen(value, o))
                return invalid(QStringLiteral("--listen wants HOST:PORT, not ") + value);
        } else if (name == QLatin1String("--tls-cert") && serving) {
            o.tlsCert = value;
        } else if (name == QLatin1String("--tls-key") && serving) {
            o.tlsKey = value;
        } else if (name == QLatin1String("--static") && serving) {
            if (!parseStatic(value, o))
                return invalid(QStringLiteral("--static wants an existing folder, as DIR or "
                                              "/PREFIX/=DIR (not /), not ") +
                               value);
        } else if (name == QLatin1String("--max-body") && serving) {
            const auto size = parseSize(value.toLatin1());
            if (!size || *size == 0)
                return invalid(QStringLiteral("--max-body wants a number of bytes, not ") + value);
            o.maxBody = *size;
        } else {
            return invalid(QStringLiteral("unknown option: ") + name);
        }
    }
    if (line.command == CommandLine::Command::SampleEstimate) {
        if (line.options.outDir.isEmpty())
            return invalid(QStringLiteral("--out DIR is required"));
        return line;
    }
    if (line.options.dataDir.isEmpty())
        return invalid(QStringLiteral("--data DIR is required"));
    if (line.options.tlsCert.isEmpty() != line.options.tlsKey.isEmpty())
        return invalid(QStringLiteral("--tls-cert and --tls-key go together"));
    return line;
}

} // namespace tarnaxe::dataup
