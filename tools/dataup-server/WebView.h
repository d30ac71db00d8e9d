#pragma once
// GET /: one HTML page with everything the server holds, for people looking at what a
// client sent. Plain HTML; every text from the store is escaped.

#include "DataFolder.h"
#include "Store.h"

#include <QByteArray>

namespace tarnaxe::dataup {

QByteArray overviewPage(Store& store, const DataFolder& folder);

} // namespace tarnaxe::dataup
