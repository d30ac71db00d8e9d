#include "platform/FileNames.h"

#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>

namespace tarnaxe {

namespace {

// Names that are equal without regard to case still need one order, so case decides last.
bool nameLess(const QString& a, const QString& b)
{
    const int folded = a.compare(b, Qt::CaseInsensitive);
    return folded != 0 ? folded < 0 : a < b;
}

// The Windows wildcards only: "*" and "?"; every other character, "[" included, is itself.
QRegularExpression wildcardExpression(const QString& pattern)
{
    // "*.*" is every name there, with or without an extension.
    const QString p = pattern == QLatin1String("*.*") ? QStringLiteral("*") : pattern;
    QString expression;
    expression.reserve(p.size() * 2);
    for (const QChar c : p) {
        if (c == QLatin1Char('*'))
            expression += QLatin1String(".*");
        else if (c == QLatin1Char('?'))
            expression += QLatin1Char('.');
        else
            expression += QRegularExpression::escape(QString(c));
    }
    return QRegularExpression(QRegularExpression::anchoredPattern(expression),
                              QRegularExpression::CaseInsensitiveOption |
                                  QRegularExpression::DotMatchesEverythingOption);
}

} // namespace

QString joinPath(const QString& folder, const QString& name)
{
    // An empty folder would otherwise turn a relative name into one at the root.
    if (folder.isEmpty())
        return name;
    QString path = folder;
    if (path.endsWith(QLatin1Char('\\')))
        path.back() = QLatin1Char('/');
    if (name.isEmpty())
        return path;
    const bool folderEnds = path.endsWith(QLatin1Char('/'));
    const bool nameStarts = name.startsWith(QLatin1Char('/'));
    if (folderEnds && nameStarts)
        return path + name.sliced(1);
    if (folderEnds || nameStarts)
        return path + name;
    return path + QLatin1Char('/') + name;
}

QString findNameIgnoringCase(const QString& folder, const QString& name)
{
    // Only a name of an entry of folder itself can be looked up.
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..") ||
        std::any_of(name.begin(), name.end(), [](QChar c) { return c == QLatin1Char('/'); }))
        return {};
    const QString exact = joinPath(folder, name);
    if (QFileInfo::exists(exact) || QFileInfo(exact).isSymLink())
        return name;
    QString best;
    QDirIterator it(folder.isEmpty() ? QStringLiteral(".") : folder,
                    QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        it.next();
        const QString candidate = it.fileName();
        if (candidate.compare(name, Qt::CaseInsensitive) == 0 &&
            (best.isEmpty() || nameLess(candidate, best)))
            best = candidate;
    }
    return best;
}

QString resolvePathIgnoringCase(const QString& folder, const QString& name)
{
    const QString found = findNameIgnoringCase(folder, name);
    return joinPath(folder, found.isEmpty() ? name : found);
}

QStringList filesMatching(const QString& folder, const QString& pattern)
{
    const QRegularExpression expression = wildcardExpression(pattern);
    QStringList names;
    // Windows knows no hidden dot files, so a pattern finds them as well.
    QDirIterator it(folder.isEmpty() ? QStringLiteral(".") : folder, QDir::Files | QDir::Hidden);
    while (it.hasNext()) {
        it.next();
        if (expression.match(it.fileName()).hasMatch())
            names.append(it.fileName());
    }
    std::sort(names.begin(), names.end(), nameLess);
    return names;
}

} // namespace tarnaxe
