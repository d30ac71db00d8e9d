#pragma once
// The state of the store as JSON, for tests and for developers of clients. Text that came
// from requests is Windows-1252 and shown converted to Unicode.

#include "DataFolder.h"
#include "Store.h"

#include <QJsonArray>
#include <QJsonObject>
#include <optional>

namespace tarnaxe::dataup {

// Each takes the database lock itself.
std::optional<QJsonObject> assignmentJson(Store& store, const DataFolder& folder,
                                          const QByteArray& guid);
std::optional<QJsonObject> transactionJson(Store& store, const DataFolder& folder,
                                           const QByteArray& guid);
QJsonArray transactionsJson(Store& store);
// Every assignment's header, oldest first.
QJsonArray assignmentsJson(Store& store);

// Parts shared with the HTML view; the caller holds the lock.
QJsonObject fileJson(Store& store, const DataFolder& folder, const FileRecord& file);
QJsonObject insertJson(Store& store, const DataFolder& folder, const InsertRecord& insert);

} // namespace tarnaxe::dataup
