// tarnaxe-ems: looks inside EMS file sets and xBASE tables, for the people who support
// offices. Reads only; never changes a file.

#include "DumpCommand.h"
#include "InfoCommand.h"
#include "ToolOutput.h"

#include <QCoreApplication>
#include <QStringList>
#include <cstdio>

using namespace tarnaxe::tool;

namespace {

const char* const kUsage =
    "Usage:\n"
    "  tarnaxe-ems dump TABLE.DBF [--json]     header, fields and every record of a table,\n"
    "                                         with deletion flags and memo texts\n"
    "  tarnaxe-ems info ENVELOPE.ENV [--json]  the estimate's basic information, preparse\n"
    "                                         values and member files of its EMS set\n"
    "  tarnaxe-ems field ENVELOPE.ENV NAME     one field, looked up in the envelope, then\n"
    "                                         the administrative and vehicle members\n"
    "  tarnaxe-ems --help\n"
    "\n"
    "Errors go to stderr with the reader's error text; the exit status is then 1\n"
    "(2 for a wrong command line).\n";

int usageError(const QString& message)
{
    std::fprintf(stderr, "tarnaxe-ems: %s\n\n%s", message.toUtf8().constData(), kUsage);
    return 2;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QStringList args = QCoreApplication::arguments().mid(1);
    if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    const bool json = args.removeAll(QStringLiteral("--json")) > 0;
    if (args.isEmpty())
        return usageError(QStringLiteral("no command given"));
    const QString command = args.takeFirst();
    for (const QString& arg : std::as_const(args)) {
        if (arg.startsWith(QLatin1String("--")))
            return usageError(QStringLiteral("unknown option '%1'").arg(arg));
    }
    if (command == QLatin1String("dump") && args.size() == 1)
        return dumpTable(args[0], json);
    if (command == QLatin1String("info") && args.size() == 1)
        return showEstimate(args[0], json);
    if (command == QLatin1String("field") && args.size() == 2 && !json)
        return showField(args[0], args[1]);
    if (command == QLatin1String("dump") || command == QLatin1String("info") ||
        command == QLatin1String("field"))
        return usageError(QStringLiteral("wrong arguments for '%1'").arg(command));
    return usageError(QStringLiteral("unknown command '%1'").arg(command));
}
