#pragma once
// Shows a new transfer form and waits until it has unloaded itself; the statuses it sent,
// each as {status, message, window title at the time}.

#include "transfer/TransferForm.h"

#include <QList>
#include <QStringList>
#include <functional>

namespace tarnaxe::test {

// during runs once, when "BUSY" goes out.
QList<QStringList> runTransferForm(TransferFormContext context,
                                   std::function<void(TransferForm&)> during = {},
                                   int timeoutMs = 60000);

} // namespace tarnaxe::test
