#pragma once

#include "DataFolder.h"
#include "Records.h"
#include "Store.h"

#include <QString>

namespace tarnaxe::dataup {

// The SHA-256 of a stored file's first file.size bytes, in lower-case hex; remembered in
// the database for as long as the size stays the same. Empty when the file cannot be read.
QString storedFileSha256(Store& store, const DataFolder& folder, const FileRecord& file);

// The Content-Type of a stored file, by its first bytes, else by the recorded name.
const char* contentTypeOf(const QString& path, const QByteArray& recordedName);

} // namespace tarnaxe::dataup
