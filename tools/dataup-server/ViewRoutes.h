#pragma once
// Everything besides the pages: the HTML overview, the JSON views, the files of committed
// attachments, and the fault rules (which only this machine may change).

#include "DataFolder.h"
#include "Faults.h"
#include "Store.h"

#include <httplib.h>

namespace tarnaxe::dataup {

void installViewRoutes(httplib::Server& server, Store& store, const DataFolder& folder);
void installFaultRoutes(httplib::Server& server, FaultInjector& faults);

} // namespace tarnaxe::dataup
