#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace tarnaxe::test {

namespace {
const char* const kVariables[] = {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME",
                                  "XDG_DATA_HOME"};
const char* const kFolders[] = {"", "/.config", "/.cache", "/.local/state", "/.local/share"};
} // namespace

TempHome::TempHome()
{
    for (int i = 0; i < 5; ++i) {
        m_saved.append({kVariables[i], qgetenv(kVariables[i])});
        QDir().mkpath(path() + kFolders[i]);
        qputenv(kVariables[i], QString(path() + kFolders[i]).toLocal8Bit());
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
    for (int i = 0; i < 5; ++i)
        env.insert(QLatin1String(kVariables[i]), path() + kFolders[i]);
    const QString runtime = path() + QStringLiteral("/run");
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    return env;
}

} // namespace tarnaxe::test
