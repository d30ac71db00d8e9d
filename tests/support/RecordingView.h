#pragma once
// A transfer view that records what the work showed: messages, the header, every bar
// value; the test sets the abort flag and what happens on each turn of the event loop.

#include "transfer/TransferView.h"

#include <QList>
#include <QStringList>
#include <functional>

namespace tarnaxe::test {

class RecordingView : public TransferView {
public:
    void setMessage(const QString& text) override { messages << text; }
    void showAssignmentHeader(const QString& claim, const QString& policy,
                              const QString& company) override
    {
        header = {claim, policy, company};
    }
    void drawStatus(int percent) override { bars << percent; }
    void setCancelVisible(bool) override {}
    bool abortRequested() const override { return abort; }
    void clearAbortRequest() override { abort = false; }
    void processEvents() override
    {
        if (onEvents)
            onEvents();
    }

    QStringList messages;
    QStringList header;
    QList<int> bars;
    bool abort = false;
    std::function<void()> onEvents;
};

} // namespace tarnaxe::test
