#pragma once
// A private-profile (INI) file read and written the way the Windows profile functions
// do it: sections and keys matched without regard to case, every other line kept as it
// was, values trimmed, file and section created on write. Writes replace the file
// atomically, so a crash never leaves half a file.

#include <QString>

namespace tarnaxe {

class ProfileFile {
public:
    explicit ProfileFile(QString path) : m_path(std::move(path)) {}

    const QString& path() const { return m_path; }

    // The value of key in section, trimmed of blanks (and of one pair of surrounding
    // quotes), cut to maxLength characters; defaultValue when the file, section or key
    // is missing or the file cannot be read. The first of duplicate sections or keys wins.
    QString read(const QString& section, const QString& key, const QString& defaultValue = {},
                 int maxLength = 254) const;
    // Whether key exists in section (with any value, empty included).
    bool contains(const QString& section, const QString& key) const;
    // Sets key in section to value (trimmed), creating the file, its folder and the
    // section as needed; false when the file cannot be written.
    bool write(const QString& section, const QString& key, const QString& value);
    // Removes key from section; true when the file no longer holds it.
    bool remove(const QString& section, const QString& key);

private:
    QString m_path;
};

} // namespace tarnaxe
