#pragma once
// The agent's process-wide objects, wired together once: settings, shared state, the
// attachment lists, the window system and the agent's forms. Each page connection gets
// an IO object over them.

#include "automation/AgentContext.h"
#include "automation/AttachmentLists.h"
#include "automation/FormRegistry.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "ems/EmsReader.h"
#include "photos/SessionPhotos.h"
#include "platform/QtUi.h"
#include "printcapture/PdfCapture.h"

#include <memory>

namespace tarnaxe {

class Dispatchable;

class Agent {
public:
    explicit Agent(const QString& settingsFile);

    std::unique_ptr<Dispatchable> newIO();
    AgentContext& context() { return m_context; }

private:
    LocalSettings m_settings;
    SharedState m_state;
    AttachmentLists m_lists;
    QtUi m_ui;
    FormRegistry m_forms;
    EmsReader m_estimates;
    SessionPhotos m_photos;
    PdfCapture m_printCapture;
    AgentContext m_context;
};

} // namespace tarnaxe
