#pragma once
// The agent's loaded windows, found by form name ("frmIO", "frmEMSSelect", ...) the way
// the page and the agent itself look them up, and the factories that load them. A form
// is any QObject whose objectName is its form name; it counts as loaded until destroyed,
// or until it marks itself finished (kFormFinished): a form that has done its work and is
// only about to unload must not take the place of the next one.

#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>
#include <map>

namespace tarnaxe {

class Ui;

// A form sets this dynamic property to true once its work is over.
inline constexpr char kFormFinished[] = "tarnaxeFormFinished";

class FormRegistry {
public:
    using Factory = std::function<QObject*()>;

    explicit FormRegistry(Ui& ui) : m_ui(ui) {}
    // Forms still loaded when the agent ends are deleted with the registry.
    ~FormRegistry();
    FormRegistry(const FormRegistry&) = delete;
    FormRegistry& operator=(const FormRegistry&) = delete;

    void registerFactory(const QString& formName, Factory factory);
    bool hasFactory(const QString& formName) const;

    QObject* find(const QString& formName) const;
    bool isLoaded(const QString& formName) const { return find(formName) != nullptr; }

    // Brings a loaded form to the front; otherwise loads it, shows it modeless and brings
    // it to the front. Throws 445 when the agent has no such form.
    QObject* show(const QString& formName);
    // Loads a new form even when one of that name is loaded; null without a factory.
    QObject* load(const QString& formName);
    void unloadAll();

private:
    Ui& m_ui;
    std::map<QString, Factory> m_factories;
    QList<QPointer<QObject>> m_loaded;
};

} // namespace tarnaxe
