#include "automation/FormRegistry.h"

#include "platform/Ui.h"
#include "platform/Variant.h"

namespace tarnaxe {

FormRegistry::~FormRegistry()
{
    for (const auto& form : std::as_const(m_loaded))
        delete form.data();
}

void FormRegistry::registerFactory(const QString& formName, Factory factory)
{
    m_factories[formName] = std::move(factory);
}

bool FormRegistry::hasFactory(const QString& formName) const
{
    return m_factories.count(formName) > 0;
}

QObject* FormRegistry::find(const QString& formName) const
{
    for (const auto& form : m_loaded) {
        if (form && form->objectName() == formName && !form->property(kFormFinished).toBool())
            return form;
    }
    return nullptr;
}

QObject* FormRegistry::load(const QString& formName)
{
    const auto factory = m_factories.find(formName);
    if (factory == m_factories.end())
        return nullptr;
    QObject* form = factory->second();
    if (!form)
        return nullptr;
    form->setObjectName(formName);
    m_loaded.removeAll(QPointer<QObject>());
    m_loaded.append(form);
    return form;
}

QObject* FormRegistry::show(const QString& formName)
{
    if (QObject* form = find(formName)) {
        m_ui.bringToFront(form);
        return form;
    }
    QObject* form = load(formName);
    if (!form)
        throw AutomationError::actionNotSupported();
    m_ui.showWindow(form);
    m_ui.bringToFront(form);
    return form;
}

void FormRegistry::unloadAll()
{
    const auto loaded = m_loaded;
    for (const auto& form : loaded) {
        if (form)
            m_ui.closeWindow(form);
    }
}

} // namespace tarnaxe
