#pragma once
// Windows-1252 text, the one-byte-per-character encoding of the Windows build's files and
// fields, converted here by our own table so that it does not depend on how Qt was built.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

namespace tarnaxe {

// One character per byte; 0x80-0x9F follow the Windows-1252 table, and its five unused
// bytes (0x81, 0x8D, 0x8F, 0x90, 0x9D) become the control characters of the same number.
QString fromWindows1252(QByteArrayView bytes);

// One byte per character; characters outside Windows-1252 become '?'.
QByteArray toWindows1252(QStringView text);

// UTF-8 when the bytes are valid UTF-8, else Windows-1252: the files that the Windows build
// wrote are 1252, the ones we write are UTF-8, and both must read back.
QString decodeUtf8OrWindows1252(QByteArrayView bytes);

} // namespace tarnaxe
