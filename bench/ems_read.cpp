// How many EMS sets per second the estimate reader handles: the basic read that fills the
// estimate list and the preparse fill before an upload, over 2,000 sets in one folder (half
// in the letter style, half in the plain style). The same files are read with Python's
// dbfread in the same run, as a reference. Build in Release to measure.

#include "ems/EmsReader.h"
#include "emswriter/EmsSetBuilder.h"
#include "support/TableFolder.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <cstdio>
#include <functional>

using namespace tarnaxe;
using tarnaxe::emswriter::EmsSetBuilder;
using tarnaxe::emswriter::EmsStyle;
using tarnaxe::test::TableFolder;

namespace {

constexpr int kSets = 2000;
constexpr int kRounds = 7;

QStringList makeSets(const QString& folder)
{
    QStringList envelopes;
    for (int i = 0; i < kSets; ++i) {
        EmsSetBuilder set(folder, QStringLiteral("E%1").arg(i, 6, 10, QLatin1Char('0')));
        set.style(i % 2 ? EmsStyle::Plain : EmsStyle::Letter)
            .set("CLM_NO", "CLM-" + QByteArray::number(i))
            .vehicleMemo("Memo of set " + QByteArray::number(i));
        if (!set.write())
            return {};
        envelopes << set.envelopePath();
    }
    return envelopes;
}

// The best of kRounds passes, in sets per second; false when a set did not read.
bool measure(const QStringList& envelopes, const std::function<bool(const QString&)>& readOne,
             double& setsPerSecond)
{
    qint64 best = -1;
    for (int round = 0; round < kRounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        for (const QString& envelope : envelopes) {
            if (!readOne(envelope))
                return false;
        }
        const qint64 ns = timer.nsecsElapsed();
        best = best < 0 ? ns : qMin(best, ns);
    }
    setsPerSecond = envelopes.size() / (double(best) / 1e9);
    return true;
}

QString pythonWithDbfread()
{
    // Debian's interpreter, where python3-dbfread installs, before whatever else PATH has.
    for (const QString& candidate :
         {QStringLiteral("/usr/bin/python3"), QStandardPaths::findExecutable("python3")}) {
        if (!candidate.isEmpty() && QFileInfo(candidate).isExecutable())
            return candidate;
    }
    return {};
}

// dbfread's best pass in sets per second, or a reason why there is none.
bool referenceRate(const QString& folder, double& setsPerSecond, QString& version, QString& why)
{
    const QString script =
        QFileInfo(QStringLiteral(__FILE__)).absolutePath() + QStringLiteral("/ems_read_dbfread.py");
    const QString python = pythonWithDbfread();
    if (python.isEmpty()) {
        why = QStringLiteral("no python3 found");
        return false;
    }
    QProcess process;
    process.start(python, {script, folder, QString::number(kRounds)});
    if (!process.waitForFinished(600000)) {
        why = QStringLiteral("%1 did not run: %2").arg(python, process.errorString());
        return false;
    }
    const QByteArray out = process.readAllStandardOutput().trimmed();
    const QJsonObject answer = QJsonDocument::fromJson(out.split('\n').last()).object();
    if (process.exitCode() != 0 || !answer.contains(QStringLiteral("best_seconds"))) {
        why = answer.value(QStringLiteral("error"))
                  .toString(QString::fromLocal8Bit(process.readAllStandardError().trimmed()));
        if (why.isEmpty())
            why = QStringLiteral("exit code %1").arg(process.exitCode());
        return false;
    }
    setsPerSecond = answer.value(QStringLiteral("sets")).toDouble() /
                    answer.value(QStringLiteral("best_seconds")).toDouble();
    version = answer.value(QStringLiteral("dbfread")).toString();
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    TableFolder folder;
    if (!folder.isValid()) {
        std::fprintf(stderr, "no temporary folder without a dot in its path\n");
        return 1;
    }
    const QStringList envelopes = makeSets(folder.path());
    if (envelopes.size() != kSets) {
        std::fprintf(stderr, "could not write the sets into %s\n", qPrintable(folder.path()));
        return 1;
    }
#ifndef NDEBUG
    std::printf("note: a debug build; build in Release for figures that mean something\n");
#endif
    std::printf("%d EMS sets (6 tables and a memo each) in %s; best of %d passes\n", kSets,
                qPrintable(folder.path()), kRounds);

    EmsReader reader;
    const QDate noLimit(1951, 12, 31);
    EstimateRecord record;
    auto basic = [&](const QString& envelope) {
        return reader.readBasicInfo(envelope, noLimit, record);
    };
    auto preparse = [&](const QString& envelope) {
        EstimateRecord entry;
        entry.envelopeFile = envelope;
        return reader.fillPreparseInfo(entry);
    };
    double basicRate = 0;
    double preparseRate = 0;
    // "--profile": the basic read only, many passes, for a profiler to look at.
    if (app.arguments().contains(QStringLiteral("--profile"))) {
        for (int round = 0; round < 10; ++round) {
            if (!measure(envelopes, basic, basicRate))
                return 1;
        }
        std::printf("read basic estimate information: %9.0f sets/s\n", basicRate);
        return 0;
    }
    // The first pass of measure warms the page cache; the best pass is reported.
    if (!measure(envelopes, basic, basicRate) || !measure(envelopes, preparse, preparseRate)) {
        std::fprintf(stderr, "a set did not read: %s (%s)\n", qPrintable(reader.lastError()),
                     qPrintable(reader.lastErrorFile()));
        return 1;
    }
    std::printf("read basic estimate information: %9.0f sets/s\n", basicRate);
    std::printf("fill preparse information:       %9.0f sets/s\n", preparseRate);

    double referenceRateValue = 0;
    QString version;
    QString why;
    if (referenceRate(folder.path(), referenceRateValue, version, why)) {
        std::printf("dbfread %s, same tables, first record: %9.0f sets/s\n", qPrintable(version),
                    referenceRateValue);
        std::printf("ratio basic read / dbfread:  %6.1fx\n", basicRate / referenceRateValue);
        std::printf("ratio preparse / dbfread:    %6.1fx\n", preparseRate / referenceRateValue);
    } else {
        std::printf("dbfread reference: NOT AVAILABLE (%s); install python3-dbfread to compare\n",
                    qPrintable(why));
    }
    return 0;
}
