#include "ems/EmsFileSet.h"

#include "config/PathHelpers.h"
#include "platform/FileNames.h"

namespace tarnaxe {

namespace {

struct SplitPath {
    QString folder;
    QString name;
};

SplitPath splitPath(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return {QString(), path};
    // The root keeps its slash, so that "/0001.env" is looked for in "/".
    return {slash == 0 ? QStringLiteral("/") : path.left(slash), path.mid(slash + 1)};
}

void appendOnce(QStringList& list, const QString& name)
{
    if (!list.contains(name))
        list.append(name);
}

// The spellings that programs actually write: the whole name in one case, or the base in
// one case and the suffix in another, with the member letter ("V" of "QYUZK0PV.veh") in
// either. Each costs one stat, much less than listing a folder of a few thousand sets.
QStringList caseVariants(const QString& stem, const QString& suffix)
{
    const qsizetype dot = suffix.indexOf(QLatin1Char('.'));
    const QString letter = dot < 0 ? QString() : suffix.left(dot);
    const QString extension = dot < 0 ? suffix : suffix.mid(dot);
    QStringList variants;
    for (const QString& s : {stem, stem.toLower(), stem.toUpper()}) {
        appendOnce(variants, s + suffix);
        appendOnce(variants, s + suffix.toUpper());
        appendOnce(variants, s + letter.toUpper() + extension.toLower());
        appendOnce(variants, s + letter.toLower() + extension.toUpper());
    }
    return variants;
}

QString firstExistingVariant(const SplitPath& at, const QString& suffix)
{
    for (const QString& name : caseVariants(at.name, suffix)) {
        const QString path = joinPath(at.folder, name);
        if (fileExists(path))
            return path;
    }
    return {};
}

QString findByListing(const SplitPath& at, const QString& suffix)
{
    const QString found = findNameIgnoringCase(at.folder, at.name + suffix);
    if (found.isEmpty())
        return {};
    const QString path = joinPath(at.folder, found);
    return fileExists(path) ? path : QString();
}

} // namespace

QString emsBaseName(const QString& envelopePath)
{
    const qsizetype at = envelopePath.indexOf(QLatin1String(".env"), 0, Qt::CaseInsensitive);
    return at < 0 ? envelopePath : envelopePath.left(at);
}

QStringList emsMemberSuffixes(EmsMember member)
{
    switch (member) {
    case EmsMember::Envelope:
        return {QStringLiteral(".env")};
    case EmsMember::Administrative1:
        return {QStringLiteral(".ad1"), QStringLiteral("a.ad1")};
    case EmsMember::Administrative2:
        return {QStringLiteral(".ad2"), QStringLiteral("b.ad2")};
    case EmsMember::Vehicle:
        return {QStringLiteral(".veh"), QStringLiteral("v.veh")};
    case EmsMember::Totals:
        return {QStringLiteral(".ttl")};
    case EmsMember::ProfileTotals:
        return {QStringLiteral(".pft")};
    }
    return {};
}

QString findExistingFile(const QString& path)
{
    const SplitPath at = splitPath(path);
    if (at.name.isEmpty())
        return {};
    const QString found = firstExistingVariant(at, QString());
    return found.isEmpty() ? findByListing(at, QString()) : found;
}

QString emsMemberPath(const QString& base, EmsMember member)
{
    const SplitPath at = splitPath(base);
    const QStringList suffixes = emsMemberSuffixes(member);
    // The folder is listed only when no usual spelling exists. So a set whose plain
    // spelling is in an odd mixed case ("0001.Ad1") and whose letter spelling also exists
    // reads the letter one; a set never holds both.
    for (const QString& suffix : suffixes) {
        if (const QString found = firstExistingVariant(at, suffix); !found.isEmpty())
            return found;
    }
    for (const QString& suffix : suffixes) {
        if (const QString found = findByListing(at, suffix); !found.isEmpty())
            return found;
    }
    return base + suffixes.first();
}

} // namespace tarnaxe
