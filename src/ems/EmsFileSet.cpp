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
        for (const QString& name : {s + suffix.toLower(), s + suffix.toUpper(),
                                    s + letter.toUpper() + extension.toLower(),
                                    s + letter.toLower() + extension.toUpper()}) {
            if (!variants.contains(name))
                variants.append(name);
        }
    }
    return variants;
}

// The spellings in the expected case first, each alone, as one of them is found almost
// always; the other cases only when none is.
QString firstVariant(const SplitPath& at, const QStringList& suffixes, LetterCase suffixCase,
                     const std::function<bool(const QString&)>& accept)
{
    QStringList tried;
    for (const QString& suffix : suffixes) {
        const QString name =
            at.name + (suffixCase == LetterCase::Upper ? suffix.toUpper() : suffix.toLower());
        if (const QString path = joinPath(at.folder, name); accept(path))
            return path;
        tried.append(name);
    }
    for (const QString& suffix : suffixes) {
        for (const QString& name : caseVariants(at.name, suffix)) {
            if (tried.contains(name))
                continue;
            tried.append(name);
            if (const QString path = joinPath(at.folder, name); accept(path))
                return path;
        }
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

LetterCase extensionCase(const QString& path)
{
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    if (dot < 0)
        return LetterCase::Lower;
    const QString extension = path.mid(dot + 1);
    return extension != extension.toLower() && extension == extension.toUpper() ? LetterCase::Upper
                                                                                : LetterCase::Lower;
}

QString findExistingFile(const QString& path)
{
    const SplitPath at = splitPath(path);
    if (at.name.isEmpty())
        return {};
    const QString found = firstVariant(at, {QString()}, LetterCase::Lower, fileExists);
    return found.isEmpty() ? findByListing(at, QString()) : found;
}

// The folder is listed only when no usual spelling exists. So a set whose plain spelling is
// in an odd case ("0001.Ad1") and whose letter spelling also exists reads the letter one; a
// set never holds both.
QString usualSpelling(const QString& base, EmsMember member, LetterCase suffixCase,
                      const std::function<bool(const QString&)>& accept)
{
    return firstVariant(splitPath(base), emsMemberSuffixes(member), suffixCase, accept);
}

QString memberByListing(const QString& base, EmsMember member)
{
    const SplitPath at = splitPath(base);
    for (const QString& suffix : emsMemberSuffixes(member)) {
        if (const QString found = findByListing(at, suffix); !found.isEmpty())
            return found;
    }
    return {};
}

QString emsMemberPath(const QString& base, EmsMember member, LetterCase suffixCase)
{
    if (const QString found = usualSpelling(base, member, suffixCase, fileExists); !found.isEmpty())
        return found;
    if (const QString found = memberByListing(base, member); !found.isEmpty())
        return found;
    return base + emsMemberSuffixes(member).first();
}

} // namespace tarnaxe
