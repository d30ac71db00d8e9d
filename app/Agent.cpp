#include "Agent.h"

#include "automation/IO.h"

#include <QCoreApplication>

namespace tarnaxe {

Agent::Agent(const QString& settingsFile)
    : m_settings(settingsFile), m_forms(m_ui), m_context{m_settings,
                                                         m_state,
                                                         m_lists,
                                                         m_ui,
                                                         m_forms,
                                                         Services{nullptr, nullptr, &m_estimates},
                                                         [] {
                                                             QCoreApplication::processEvents();
                                                         }}
{}

std::unique_ptr<Dispatchable> Agent::newIO()
{
    return std::make_unique<IO>(m_context);
}

} // namespace tarnaxe
