#pragma once
// The busy cursor over the agent's windows for as long as the object lives.

#include <QGuiApplication>

namespace tarnaxe {

class WaitCursor {
public:
    WaitCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
    ~WaitCursor() { QGuiApplication::restoreOverrideCursor(); }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;
};

} // namespace tarnaxe
