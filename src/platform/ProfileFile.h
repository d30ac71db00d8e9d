#pragma once
// A private-profile (INI) file read and written the way the Windows profile functions
// do it: sections and keys matched without regard to case, every other line kept as it
// was, values trimmed, file and section created on write. Writes replace the file
// atomically, so a crash never leaves half a file.

#include <QByteArray>
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

// A profile file read once, looked up and changed in memory, and written back in one
// atomic write only when its bytes changed. Same rules as ProfileFile.
class ProfileSnapshot {
public:
    explicit ProfileSnapshot(QString path);

    QString read(const QString& section, const QString& key, const QString& defaultValue = {},
                 int maxLength = 254) const;
    // Changes the copy in memory; false when refused (or when the file could not be read).
    bool write(const QString& section, const QString& key, const QString& value);
    bool changed() const { return m_bytes != m_original; }

    enum class Overwrite { Always, OnlyIfUnchanged };
    // Writes the changes, if any. OnlyIfUnchanged leaves a file that someone changed since
    // it was read as it is (false): their edit wins over ours.
    bool save(Overwrite overwrite = Overwrite::Always);

private:
    QString m_path;
    QByteArray m_original;
    QByteArray m_bytes;
    bool m_readable = false;
};

} // namespace tarnaxe
