// dataup-server: a stand-in for the web application's /dataup/ pages, for the agent's
// tests and benchmarks and for developers of the web application.

#include "Options.h"
#include "Seed.h"
#include "Server.h"

#include <QStringList>
#include <cstdio>

using namespace tarnaxe::dataup;

int main(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const CommandLine line = parseCommandLine(arguments);
    switch (line.command) {
    case CommandLine::Command::Help:
        std::fputs(kUsage, stdout);
        return 0;
    case CommandLine::Command::Invalid:
        std::fprintf(stderr, "dataup-server: %s\n\n%s", line.error.toLocal8Bit().constData(),
                     kUsage);
        return 2;
    case CommandLine::Command::Seed:
        return runSeed(line.options.dataDir);
    case CommandLine::Command::SampleEstimate:
        return runSampleEstimate(line.options.outDir);
    case CommandLine::Command::Serve:
        break;
    }
    return runServer(line.options);
}
