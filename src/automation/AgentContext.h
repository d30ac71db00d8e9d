#pragma once
// The process-wide objects that every IO object works on, owned by the application (or
// by a test) and handed to each IO object.

#include "automation/Services.h"

#include <functional>

namespace tarnaxe {

class AttachmentLists;
class FormRegistry;
class LocalSettings;
class Ui;
struct SharedState;

struct AgentContext {
    LocalSettings& settings;
    SharedState& state;
    AttachmentLists& lists;
    Ui& ui;
    FormRegistry& forms;
    Services services;
    // Lets pending window events run during long work.
    std::function<void()> yieldToUi;
    int helperIntervalMs = 1000;
};

} // namespace tarnaxe
