#include "platform/ProfileFile.h"

#include "platform/Logging.h"
#include "platform/Windows1252.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <optional>

namespace tarnaxe {

namespace {

// The file is handled as bytes throughout: lines that we do not change must come back
// exactly as they were, whatever their encoding.

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

QByteArrayView trimBlanks(QByteArrayView v)
{
    while (!v.isEmpty() && isBlank(v.front()))
        v = v.sliced(1);
    while (!v.isEmpty() && isBlank(v.back()))
        v.chop(1);
    return v;
}

QStringView trimBlanks(QStringView v)
{
    while (!v.isEmpty() && (v.front() == u' ' || v.front() == u'\t'))
        v = v.sliced(1);
    while (!v.isEmpty() && (v.back() == u' ' || v.back() == u'\t'))
        v.chop(1);
    return v;
}

char16_t asciiLower(char16_t c)
{
    return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c;
}

// Section and key names as the profile functions compare them: only ASCII letters fold.
bool namesEqual(QByteArrayView fileName, QStringView wanted)
{
    // Most names are ASCII; comparing them without decoding keeps long files cheap.
    if (fileName.size() == wanted.size()) {
        bool ascii = true;
        for (qsizetype i = 0; i < fileName.size(); ++i) {
            const auto b = static_cast<unsigned char>(fileName[i]);
            if (b >= 0x80) {
                ascii = false;
                break;
            }
            if (asciiLower(b) != asciiLower(wanted[i].unicode()))
                return false;
        }
        if (ascii)
            return true;
    } else if (fileName.size() < wanted.size() || fileName.size() > 4 * wanted.size()) {
        // A character takes one to four bytes in either encoding, so a name whose size is
        // outside that range cannot match and need not be decoded.
        return false;
    }
    const QString decoded = decodeUtf8OrWindows1252(fileName);
    if (decoded.size() != wanted.size())
        return false;
    for (qsizetype i = 0; i < decoded.size(); ++i) {
        if (asciiLower(decoded[i].unicode()) != asciiLower(wanted[i].unicode()))
            return false;
    }
    return true;
}

struct Line {
    qsizetype begin = 0;
    qsizetype end = 0;  // end of the text, before any "\r" or "\n"
    qsizetype next = 0; // start of the next line
    bool hasLineEnd() const { return next > end; }
};

enum class Kind { Blank, Comment, Section, Key, Other };

struct Parsed {
    Kind kind = Kind::Other;
    QByteArrayView name;
    QByteArrayView value;
};

Parsed parseLine(QByteArrayView text)
{
    const QByteArrayView t = trimBlanks(text);
    if (t.isEmpty())
        return {Kind::Blank, {}, {}};
    if (t.front() == ';' || t.front() == '#')
        return {Kind::Comment, {}, {}};
    if (t.front() == '[') {
        const qsizetype close = t.indexOf(']');
        if (close < 0)
            return {Kind::Other, {}, {}};
        return {Kind::Section, trimBlanks(t.sliced(1, close - 1)), {}};
    }
    const qsizetype eq = t.indexOf('=');
    if (eq <= 0)
        return {Kind::Other, {}, {}};
    const QByteArrayView name = trimBlanks(t.first(eq));
    if (name.isEmpty())
        return {Kind::Other, {}, {}};
    return {Kind::Key, name, trimBlanks(t.sliced(eq + 1))};
}

// Walks the lines of a file; "\n" ends a line and a "\r" before it belongs to the line end.
class LineReader {
public:
    explicit LineReader(const QByteArray& bytes) : m_bytes(bytes)
    {
        if (m_bytes.startsWith("\xEF\xBB\xBF"))
            m_textStart = 3;
    }

    bool next(Line& line)
    {
        if (m_pos >= m_bytes.size())
            return false;
        line.begin = m_pos;
        const qsizetype nl = m_bytes.indexOf('\n', m_pos);
        line.next = nl < 0 ? m_bytes.size() : nl + 1;
        line.end = nl < 0 ? m_bytes.size() : nl;
        if (nl >= 0 && line.end > line.begin && m_bytes[line.end - 1] == '\r')
            --line.end;
        m_pos = line.next;
        return true;
    }

    // The text of a line for parsing; a byte-order mark that opens the file is not part of it.
    QByteArrayView text(const Line& line) const
    {
        const qsizetype begin = line.begin == 0 ? std::min(m_textStart, line.end) : line.begin;
        return QByteArrayView(m_bytes).sliced(begin, line.end - begin);
    }

private:
    const QByteArray& m_bytes;
    qsizetype m_pos = 0;
    qsizetype m_textStart = 0;
};

// Where a key stands in a file: only the first section of a name counts, and within it the
// first line of a key.
struct Location {
    std::optional<Line> section;
    std::optional<Line> key;
    std::optional<Line> lastKeyInSection;
    QList<Line> allKeyLines; // every line of the key in that section, for remove
    QByteArrayView value;
};

Location locate(const QByteArray& bytes, QStringView section, QStringView key, bool collectAll)
{
    Location where;
    LineReader reader(bytes);
    Line line;
    while (reader.next(line)) {
        const Parsed p = parseLine(reader.text(line));
        if (p.kind == Kind::Section) {
            if (where.section)
                break;
            if (namesEqual(p.name, section))
                where.section = line;
            continue;
        }
        if (!where.section || p.kind != Kind::Key)
            continue;
        where.lastKeyInSection = line;
        if (namesEqual(p.name, key)) {
            if (!where.key) {
                where.key = line;
                where.value = p.value;
                if (!collectAll)
                    break;
            }
            where.allKeyLines.append(line);
        }
    }
    return where;
}

// The line end of new lines follows the file's first line; new files get "\n".
QByteArray lineEndOf(const QByteArray& bytes)
{
    const qsizetype nl = bytes.indexOf('\n');
    return (nl > 0 && bytes[nl - 1] == '\r') ? QByteArrayLiteral("\r\n") : QByteArrayLiteral("\n");
}

enum class Load { Ok, Missing, Failed };

Load loadFile(const QString& path, QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (!QFileInfo::exists(path))
            return Load::Missing;
        qCWarning(lcPlatform) << "cannot read" << path << file.errorString();
        return Load::Failed;
    }
    bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        qCWarning(lcPlatform) << "cannot read" << path << file.errorString();
        return Load::Failed;
    }
    return Load::Ok;
}

bool saveFile(const QString& path, const QByteArray& bytes)
{
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder)) {
        qCWarning(lcPlatform) << "cannot create folder" << folder;
        return false;
    }
    QSaveFile file(path);
    // QSaveFile::commit() does not notice a short write (a full disk, a file size limit) and
    // would put a cut file in place, so the write is checked here before the rename.
    const bool written = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() &&
                         file.flush() && file.size() == bytes.size();
    if (!written) {
        qCWarning(lcPlatform) << "cannot write" << path
                              << (file.error() == QFileDevice::NoError
                                      ? QStringLiteral("short write")
                                      : file.errorString());
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        qCWarning(lcPlatform) << "cannot write" << path << file.errorString();
        return false;
    }
    return true;
}

bool hasLineBreak(QStringView s)
{
    return s.contains(u'\n') || s.contains(u'\r');
}

// Names that would not read back as the same section or key are refused rather than
// written into a line that means something else.
bool isWritableSection(QStringView name)
{
    return !name.isEmpty() && !hasLineBreak(name) && !name.contains(u']');
}

bool isWritableKey(QStringView name)
{
    return !name.isEmpty() && !hasLineBreak(name) && !name.contains(u'=') && name.front() != u'[' &&
           name.front() != u';' && name.front() != u'#';
}

QString unquoteAndCut(QString value, int maxLength)
{
    if (value.size() >= 2 && value.front() == u'"' && value.back() == u'"')
        value = value.sliced(1, value.size() - 2);
    if (maxLength >= 0 && value.size() > maxLength) {
        qsizetype cut = maxLength;
        // Never leave half of a surrogate pair at the end.
        if (cut > 0 && value[cut - 1].isHighSurrogate())
            --cut;
        value.truncate(cut);
    }
    return value;
}

QString readValue(const QByteArray& bytes, const QString& section, const QString& key,
                  const QString& defaultValue, int maxLength)
{
    const Location where = locate(bytes, trimBlanks(section), trimBlanks(key), false);
    if (!where.key)
        return defaultValue;
    return unquoteAndCut(decodeUtf8OrWindows1252(where.value), maxLength);
}

bool writeValue(QByteArray& bytes, const QString& section, const QString& key, const QString& value)
{
    const QStringView sectionName = trimBlanks(section);
    const QStringView keyName = trimBlanks(key);
    const QStringView text = trimBlanks(value);
    if (!isWritableSection(sectionName) || !isWritableKey(keyName) || hasLineBreak(text))
        return false;

    const QByteArray eol = lineEndOf(bytes);
    const Location where = locate(bytes, sectionName, keyName, false);

    QByteArray out;
    out.reserve(bytes.size() + keyName.size() + text.size() + sectionName.size() + 16);
    if (where.key) {
        // The key keeps its spelling and the line its line end.
        const Parsed p = parseLine(
            QByteArrayView(bytes).sliced(where.key->begin, where.key->end - where.key->begin));
        out.append(bytes.constData(), where.key->begin);
        out.append(p.name.data(), p.name.size()).append('=').append(text.toUtf8());
        out.append(bytes.constData() + where.key->end, bytes.size() - where.key->end);
    } else if (where.section) {
        const Line after = where.lastKeyInSection.value_or(*where.section);
        out.append(bytes.constData(), after.next);
        if (!after.hasLineEnd())
            out.append(eol);
        out.append(keyName.toUtf8()).append('=').append(text.toUtf8()).append(eol);
        out.append(bytes.constData() + after.next, bytes.size() - after.next);
    } else {
        out = bytes;
        if (!out.isEmpty()) {
            if (!out.endsWith('\n'))
                out.append(eol);
            // A blank line sets the new section apart, unless the file already ends in one.
            const bool endsBlank =
                out.endsWith("\n\n") || out.endsWith("\n\r\n") || out == "\n" || out == "\r\n";
            if (!endsBlank)
                out.append(eol);
        }
        out.append('[').append(sectionName.toUtf8()).append(']').append(eol);
        out.append(keyName.toUtf8()).append('=').append(text.toUtf8()).append(eol);
    }
    bytes = std::move(out);
    return true;
}

} // namespace

QString ProfileFile::read(const QString& section, const QString& key, const QString& defaultValue,
                          int maxLength) const
{
    QByteArray bytes;
    if (loadFile(m_path, bytes) != Load::Ok)
        return defaultValue;
    return readValue(bytes, section, key, defaultValue, maxLength);
}

bool ProfileFile::contains(const QString& section, const QString& key) const
{
    QByteArray bytes;
    if (loadFile(m_path, bytes) != Load::Ok)
        return false;
    return locate(bytes, trimBlanks(section), trimBlanks(key), false).key.has_value();
}

bool ProfileFile::write(const QString& section, const QString& key, const QString& value)
{
    ProfileSnapshot profile(m_path);
    return profile.write(section, key, value) && profile.save();
}

bool ProfileFile::remove(const QString& section, const QString& key)
{
    QByteArray bytes;
    switch (loadFile(m_path, bytes)) {
    case Load::Missing:
        return true;
    case Load::Failed:
        return false;
    case Load::Ok:
        break;
    }
    // Every line of the key goes, or a later duplicate would take the place of the first.
    const Location where = locate(bytes, trimBlanks(section), trimBlanks(key), true);
    if (where.allKeyLines.isEmpty())
        return true;
    QByteArray out;
    out.reserve(bytes.size());
    qsizetype from = 0;
    for (const Line& line : where.allKeyLines) {
        out.append(bytes.constData() + from, line.begin - from);
        from = line.next;
    }
    out.append(bytes.constData() + from, bytes.size() - from);
    return saveFile(m_path, out);
}

ProfileSnapshot::ProfileSnapshot(QString path) : m_path(std::move(path))
{
    m_readable = loadFile(m_path, m_original) != Load::Failed;
    m_bytes = m_original;
}

QString ProfileSnapshot::read(const QString& section, const QString& key,
                              const QString& defaultValue, int maxLength) const
{
    return readValue(m_bytes, section, key, defaultValue, maxLength);
}

bool ProfileSnapshot::write(const QString& section, const QString& key, const QString& value)
{
    if (!m_readable)
        return false; // writing would replace a file that we could not even read
    if (!writeValue(m_bytes, section, key, value)) {
        qCWarning(lcPlatform) << "refused to write" << section << key << "to" << m_path;
        return false;
    }
    return true;
}

bool ProfileSnapshot::save(Overwrite overwrite)
{
    if (!changed())
        return true;
    if (overwrite == Overwrite::OnlyIfUnchanged) {
        QByteArray now;
        if (loadFile(m_path, now) == Load::Failed || now != m_original) {
            qCInfo(lcPlatform) << m_path << "changed since it was read; not written";
            return false;
        }
    }
    if (!saveFile(m_path, m_bytes))
        return false;
    m_original = m_bytes;
    return true;
}

} // namespace tarnaxe
