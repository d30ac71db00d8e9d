#include "Agent.h"

#include "automation/IO.h"
#include "config/LocalSetupForm.h"
#include "config/RegistryHelpers.h"
#include "estimates/EMSSelectForm.h"
#include "photos/ImagePickerForm.h"
#include "platform/Logging.h"
#include "transfer/TransferForm.h"
#include "transfer/TransferOptions.h"

#include <QCoreApplication>

namespace tarnaxe {

Agent::Agent(const QString& settingsFile)
    : m_settings(settingsFile), m_forms(m_ui), m_photos(m_state, m_lists),
      m_printCapture(m_settings, m_state, m_lists, m_ui, userRegistryPath()),
      m_context{m_settings,
                m_state,
                m_lists,
                m_ui,
                m_forms,
                Services{&m_photos, &m_printCapture, &m_estimates},
                [] {
                    QCoreApplication::processEvents();
                }}
{
    m_forms.registerFactory(QStringLiteral("frmIO"), [this]() -> QObject* {
        // Read afresh for every transfer, as the other settings are.
        const TransferOptions options = readTransferOptions(m_settings.filePath());
        if (!options.error.isEmpty())
            qCWarning(lcTransfer) << options.error;
        return new TransferForm(
            {m_state, m_lists, m_settings, m_ui, options.http, m_context.yieldToUi});
    });
    m_forms.registerFactory(QStringLiteral("frmImagePicker"), [this]() -> QObject* {
        return new ImagePickerForm({m_settings, m_state, m_photos, m_ui, m_context.yieldToUi});
    });
    m_forms.registerFactory(QStringLiteral("frmLocalSetup"), [this]() -> QObject* {
        return new LocalSetupForm({m_settings, m_ui, kAgentVersion});
    });
    m_forms.registerFactory(QStringLiteral("frmEMSSelect"), [this]() -> QObject* {
        return new EMSSelectForm({m_settings, m_state, m_lists, m_ui});
    });
}

std::unique_ptr<Dispatchable> Agent::newIO()
{
    return std::make_unique<IO>(m_context);
}

} // namespace tarnaxe
