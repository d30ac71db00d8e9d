#pragma once
// A throw-away home for one test: HOME and the XDG folders point into a temporary
// folder for the life of the object, so that nothing touches the developer's own files.

#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

namespace tarnaxe::test {

class TempHome {
public:
    TempHome();
    ~TempHome();
    TempHome(const TempHome&) = delete;
    TempHome& operator=(const TempHome&) = delete;

    QString path() const { return m_dir.path(); }
    QString configHome() const { return m_dir.path() + QStringLiteral("/.config"); }
    QString cacheHome() const { return m_dir.path() + QStringLiteral("/.cache"); }
    // The environment for a child process that should live in this home.
    QProcessEnvironment environment() const;

private:
    QTemporaryDir m_dir;
    QList<QPair<QByteArray, QByteArray>> m_saved;
};

} // namespace tarnaxe::test
