#include "ems/EmsRecordTable.h"

#include "config/PathHelpers.h"
#include "ems/EmsFileSet.h"
#include "ems/EstimateText.h"
#include "platform/FileNames.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

namespace tarnaxe {

namespace {

std::array<EmsRecordRow, kEmsRecordRows> buildTable()
{
    auto row = [](const char* display, const char* field, const char* letter, const char* plain) {
        return EmsRecordRow{QString::fromLatin1(display), QString::fromLatin1(field),
                            QString::fromLatin1(letter), QString::fromLatin1(plain)};
    };
    // Rows 14 and 15 keep their letter names in the plain style, whose one memo file is
    // row 16; ".XXXXX" names no file.
    return {
        row("Envelope", "EMSEnvelope", ".env", ".env"),
        row("Administrative-1", "EMSAdministration1", "a.ad1", ".ad1"),
        row("Administrative-2", "EMSAdministration2", "b.ad2", ".ad2"),
        row("Vehicle", "EMSVehicle", "v.veh", ".veh"),
        row("Detail", "EMSDetail", ".lin", ".lin"),
        row("Profile 1 (Header,Tax,Adjustments)", "EMSHeaderProfile", ".pfh", ".pfh"),
        row("Profile 2 (Parts)", "EMSPartsRates", ".pfp", ".pfp"),
        row("Profile 3 (Labor)", "EMSLaborRates", ".pfl", ".pfl"),
        row("Profile 4 (Materials)", "EMSMaterialsRates", ".pfm", ".pfm"),
        row("Profile 5 (Tax Tier)", "EMSTaxTierProfile", ".pft", ".pft"),
        row("Profile 6 (Other Charges)", "EMSAdditionalProfile", ".pfo", ".pfo"),
        row("Totals 1 (SubTotals)", "EMSSubtotals", ".stl", ".stl"),
        row("Totals 2 (Gross and Net)", "EMSTotals", ".ttl", ".ttl"),
        row("Non-OEM Supplier", "EMSNonOEMSupplier", ".ven", ".ven"),
        row("Admin-1 Memo", "EMSAdministration1Memos", "a.dbt", "a.dbt"),
        row("Admin-2 Memo", "EMSAdministration2Memos", "b.dbt", "b.dbt"),
        row("Vehicle Memo", "EMSVehicleMemos", "v.dbt", ".dbt"),
        row("MIE File", "MIELocation", ".XXXXX", ".XXXXX"),
    };
}

// The files of one folder by lower-case name: the set's 17 candidates are looked up in
// one listing instead of one listing per missing member.
class FolderFiles {
public:
    explicit FolderFiles(const QString& folder) : m_folder(folder)
    {
        const QStringList names = QDir(folder.isEmpty() ? QStringLiteral(".") : folder)
                                      .entryList(QDir::Files | QDir::Hidden, QDir::Name);
        for (const QString& name : names) {
            // Sorted by name, so of names equal without regard to case the first stays.
            const QString key = name.toLower();
            if (!m_names.contains(key))
                m_names.insert(key, name);
        }
    }

    // The existing, non-empty file of that name, the exact spelling first; empty if none.
    QString find(const QString& name) const
    {
        const QString exact = joinPath(m_folder, name);
        if (fileExists(exact))
            return exact;
        const auto it = m_names.constFind(name.toLower());
        if (it == m_names.constEnd())
            return {};
        const QString path = joinPath(m_folder, *it);
        return fileExists(path) ? path : QString();
    }

private:
    QString m_folder;
    QHash<QString, QString> m_names;
};

struct SplitBase {
    QString folder;
    QString stem;
};

SplitBase splitBase(const QString& base)
{
    const qsizetype slash = base.lastIndexOf(QLatin1Char('/'));
    // The root keeps its slash.
    return {slash < 0 ? QString() : base.left(qMax<qsizetype>(slash, 1)), base.mid(slash + 1)};
}

enum class EmsNamingStyle { Letter, Plain };

// How the set is named. What is on disk decides first: stem + "a.ad1" means the letter
// style, else stem + ".ad1" the plain style. A set with neither follows its platform code:
// "A" and "M" write the letter style, every other code the plain style.
EmsNamingStyle namingStyle(const FolderFiles& files, const QString& stem,
                           const QString& platformCode)
{
    if (!files.find(stem + QStringLiteral("a.ad1")).isEmpty())
        return EmsNamingStyle::Letter;
    if (!files.find(stem + QStringLiteral(".ad1")).isEmpty())
        return EmsNamingStyle::Plain;
    const QString code = trimBlanks(platformCode).toUpper();
    return code == QLatin1String("A") || code == QLatin1String("M") ? EmsNamingStyle::Letter
                                                                    : EmsNamingStyle::Plain;
}

} // namespace

const std::array<EmsRecordRow, kEmsRecordRows>& emsRecordTable()
{
    static const std::array<EmsRecordRow, kEmsRecordRows> table = buildTable();
    return table;
}

int collectEstimateFiles(EstimateRecord& entry)
{
    entry.files.clear();
    entry.totalSize = 0;
    const SplitBase at =
        splitBase(entry.baseName.isEmpty() ? emsBaseName(entry.envelopeFile) : entry.baseName);
    const QString& stem = at.stem;
    const FolderFiles files(at.folder);
    const bool letter = namingStyle(files, stem, entry.platformCode) == EmsNamingStyle::Letter;

    const auto& table = emsRecordTable();
    for (int k = 0; k < kEmsRecordRows; ++k) {
        QString path;
        if (k == kMieRecordRow) {
            if (fileExists(entry.mieFile))
                path = entry.mieFile;
        } else {
            path = files.find(stem + (letter ? table[k].letterSuffix : table[k].plainSuffix));
        }
        if (path.isEmpty())
            continue;
        const qint64 size = QFileInfo(path).size();
        entry.files.append({path, size, k});
        entry.totalSize += size;
    }
    return static_cast<int>(entry.files.size());
}

} // namespace tarnaxe
