#include "platform/RegistryFile.h"

#include "platform/Logging.h"

#include <limits>

namespace tarnaxe {

namespace {

const QString kStringPrefix = QStringLiteral("sz:");
const QString kDWordPrefix = QStringLiteral("dword:");
// Never a value that the file can give back, since no value holds a line end.
const QString kMissing = QStringLiteral("\n");

QString sectionName(const QString& root, const QString& keyPath)
{
    QString path = keyPath;
    while (path.startsWith(QLatin1Char('\\')))
        path.remove(0, 1);
    while (path.endsWith(QLatin1Char('\\')))
        path.chop(1);
    return path.isEmpty() ? root : root + QLatin1Char('\\') + path;
}

// The unnamed (default) value of a key is "@", as in exported registry files.
QString valueName(const QString& name)
{
    return name.isEmpty() ? QStringLiteral("@") : name;
}

bool endsInBlank(const QString& s)
{
    return !s.isEmpty() && (s.back() == QLatin1Char(' ') || s.back() == QLatin1Char('\t'));
}

} // namespace

bool RegistryFile::setString(const QString& root, const QString& keyPath, const QString& name,
                             const QString& value)
{
    // The profile file trims values; quotes keep the blanks that end a string.
    QString line = kStringPrefix + value;
    if (endsInBlank(value))
        line = QLatin1Char('"') + line + QLatin1Char('"');
    return m_file.write(sectionName(root, keyPath), valueName(name), line);
}

bool RegistryFile::setDWord(const QString& root, const QString& keyPath, const QString& name,
                            quint32 value)
{
    return m_file.write(sectionName(root, keyPath), valueName(name),
                        kDWordPrefix + QString::number(value));
}

bool RegistryFile::deleteValue(const QString& root, const QString& keyPath, const QString& name)
{
    return m_file.remove(sectionName(root, keyPath), valueName(name));
}

std::optional<RegistryValue> RegistryFile::value(const QString& root, const QString& keyPath,
                                                 const QString& name) const
{
    const QString text = m_file.read(sectionName(root, keyPath), valueName(name), kMissing,
                                     std::numeric_limits<int>::max());
    if (text == kMissing)
        return std::nullopt;
    if (text.startsWith(kStringPrefix, Qt::CaseInsensitive))
        return RegistryValue{RegistryType::String, text.sliced(kStringPrefix.size()), 0};
    if (text.startsWith(kDWordPrefix, Qt::CaseInsensitive)) {
        bool ok = false;
        const quint32 number = text.sliced(kDWordPrefix.size()).trimmed().toUInt(&ok, 10);
        if (ok)
            return RegistryValue{RegistryType::DWord, {}, number};
    }
    qCWarning(lcPlatform) << "unreadable registry value" << name << "in" << path();
    return std::nullopt;
}

} // namespace tarnaxe
