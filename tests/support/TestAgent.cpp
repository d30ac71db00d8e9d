#include "support/TestAgent.h"

#include "platform/ProfileFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace tarnaxe::test {

TestAgent::TestAgent(int helperIntervalMs)
    : settings(home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini")),
      forms(ui), context{settings,
                         state,
                         lists,
                         ui,
                         forms,
                         Services{},
                         [] { QCoreApplication::processEvents(); },
                         helperIntervalMs}
{}

void TestAgent::setSetting(const QString& key, const QString& value)
{
    ProfileFile(settings.filePath()).write(QStringLiteral("LocalSettings"), key, value);
}

QString TestAgent::makeFile(const QString& relativePath, qint64 size)
{
    const QString path = home.path() + QLatin1Char('/') + relativePath;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("cannot create test file %s", qPrintable(path));
    if (size > 0) {
        file.resize(size);
    }
    file.close();
    return path;
}

} // namespace tarnaxe::test
