#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace tarnaxe::test {

namespace {
const char* const kVariables[] = {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME",
                                  "XDG_DATA_HOME"};
}

TempHome::TempHome()
{
    for (const char* name : kVariables)
        m_saved.append({name, qgetenv(name)});
    const QString values[] = {path(), configHome(), cacheHome(), stateHome(), dataHome()};
    for (int i = 0; i < 5; ++i) {
        QDir().mkpath(values[i]);
        qputenv(kVariables[i], values[i].toLocal8Bit());
    }
}

TempHome::~TempHome()
{
    for (const auto& [name, value] : m_saved) {
        if (value.isEmpty())
            qunsetenv(name.constData());
        else
            qputenv(name.constData(), value);
    }
}

QProcessEnvironment TempHome::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    const QString values[] = {path(), configHome(), cacheHome(), stateHome(), dataHome()};
    for (int i = 0; i < 5; ++i)
        env.insert(QLatin1String(kVariables[i]), values[i]);
    const QString runtime = path() + QStringLiteral("/run");
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    return env;
}

} // namespace tarnaxe::test
