#pragma once
// The per-user registry of the Windows build, kept as a profile file of our own: one
// section per root and key path ("HKEY_CURRENT_USER\Software\..."), one line per value,
// written as "sz:" + text or "dword:" + decimal.

#include "platform/ProfileFile.h"

#include <optional>

namespace tarnaxe {

enum class RegistryType { String = 1, DWord = 4 };

struct RegistryValue {
    RegistryType type = RegistryType::String;
    QString text;     // for String
    quint32 number{}; // for DWord
};

class RegistryFile {
public:
    explicit RegistryFile(QString path) : m_file(std::move(path)) {}

    const QString& path() const { return m_file.path(); }

    bool setString(const QString& root, const QString& keyPath, const QString& name,
                   const QString& value);
    bool setDWord(const QString& root, const QString& keyPath, const QString& name,
                  quint32 value);
    bool deleteValue(const QString& root, const QString& keyPath, const QString& name);
    std::optional<RegistryValue> value(const QString& root, const QString& keyPath,
                                       const QString& name) const;

private:
    ProfileFile m_file;
};

} // namespace tarnaxe
