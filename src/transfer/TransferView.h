#pragma once
// What the transfer work needs of the window that shows it: the running message, the
// assignment's header labels, the bar, the cancel button and its flag, and a chance for
// the user interface to process events. The transfer form implements it; tests use a
// recording one.

#include <QString>

namespace tarnaxe {

class TransferView {
public:
    virtual ~TransferView() = default;

    virtual void setMessage(const QString& text) = 0; // lblMessage
    // "Claim #: ...", "Policy #: ...", "Insurance Co: ..." shown, with the bar cleared.
    virtual void showAssignmentHeader(const QString& claim, const QString& policy,
                                      const QString& company) = 0;
    virtual void drawStatus(int percent) = 0; // the bar only grows until it is cleared
    virtual void setCancelVisible(bool visible) = 0;
    virtual bool abortRequested() const = 0;
    virtual void clearAbortRequest() = 0;
    virtual void processEvents() = 0;
};

} // namespace tarnaxe
