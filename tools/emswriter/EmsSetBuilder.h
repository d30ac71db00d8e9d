#pragma once
// Writes a complete EMS file set into a folder, for the reference server's seed, tests and
// benchmarks: envelope, administrative 1 and 2, vehicle (with a memo), totals and profile
// totals, one record each, with plausible values that a caller can change field by field.
//
//     EmsSetBuilder set(folder.path(), QStringLiteral("0001"));
//     set.style(EmsStyle::Plain).set("INSD_LN", "SMITH").omit(EmsMember::ProfileTotals);
//     QVERIFY(set.write());
//     reader.readBasicInfo(set.envelopePath(), ...);
//
// Fields and their defaults (C = character, N = numeric, D = date, L = logical, M = memo):
//   envelope  EST_SYSTEM C1 "M", ESTFILE_ID C38 "EST-0001", SUPP_NO C3 "E01",
//             STATUS L1 "F", CREATE_DT D8 "20070315", TRANS_TYPE C1 "E"
//   ad1       CLM_NO C30 "12-345678-90", POLICY_NO C30 "POL-778899",
//             INS_CO_NM C35 "SAFE HARBOR MUTUAL", CUST_PR C1 "C", INSD_LN C35 "SMITH",
//             INSD_FN C35 "JOHN", INSD_CO_NM C35 "", OWNR_LN C35 "DOE", OWNR_FN C35 "JANE",
//             OWNR_CO_NM C35 ""
//   ad2       CLMT_LN C35 "ROE", CLMT_FN C35 "RICHARD", CLMT_CO_NM C35 ""
//   veh       V_MODEL_YR C2 "07", V_MAKEDESC C20 "FORD", V_MODEL C50 "FOCUS SE",
//             V_VIN C25 "1FAFP34N97W123456", V_MEMO M10 (its memo: "FRONT BUMPER DAMAGE")
//   ttl       N_TTL_AMT N12.2 "1234.56" (numbers are written right-aligned)
//   pft       TAX_TYPE C2 "01"
// Values are the bytes stored, padded with blanks or cut to the field's length.

#include "ems/EmsFileSet.h"
#include "emswriter/DbfWriter.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

namespace tarnaxe::emswriter {

// Letter: 0001.env, 0001a.ad1, 0001b.ad2, 0001v.veh (+ 0001v.dbt), 0001.ttl, 0001.pft.
// Plain:  0001.env, 0001.ad1, 0001.ad2, 0001.veh (+ 0001.dbt), 0001.ttl, 0001.pft.
enum class EmsStyle { Letter, Plain };

class EmsSetBuilder {
public:
    // A set named base in folder (which must exist); nothing is written before write().
    EmsSetBuilder(QString folder, QString base);

    EmsSetBuilder& style(EmsStyle style);
    // Every file name in upper case ("0001A.AD1", "0001V.DBT").
    EmsSetBuilder& upperCaseNames(bool upper = true);
    // Sets a field of whichever member has it; a name that no member has is a test bug
    // and stops the test program.
    EmsSetBuilder& set(const QByteArray& fieldName, const QByteArray& value);
    // Adds a field of one's own to a member.
    EmsSetBuilder& addField(EmsMember member, const DbfField& field, const QByteArray& value);
    EmsSetBuilder& omit(EmsMember member);
    // Writes a member under a name of one's own (in the same folder), to mix cases.
    EmsSetBuilder& fileName(EmsMember member, const QString& name);
    EmsSetBuilder& vehicleMemo(const QByteArray& text);
    // The envelope's modification time after writing, as if exported then.
    EmsSetBuilder& exportedAt(const QDateTime& time);

    // Writes the set, replacing files of the same names; false when a file could not be
    // written.
    bool write() const;

    QString folder() const { return m_folder; }
    QString basePath() const;     // folder + "/" + base
    QString envelopePath() const; // the envelope as written
    QString memberPath(EmsMember member) const;
    QString vehicleMemoPath() const;

private:
    struct Table {
        QList<DbfField> fields;
        QList<QByteArray> values;
    };

    QString memberName(EmsMember member) const;
    QString cased(const QString& name) const;

    QString m_folder;
    QString m_base;
    EmsStyle m_style = EmsStyle::Letter;
    bool m_upper = false;
    QHash<EmsMember, Table> m_tables;
    QHash<EmsMember, QString> m_names;
    QSet<EmsMember> m_omitted;
    QByteArray m_memo = "FRONT BUMPER DAMAGE";
    QDateTime m_exportedAt;
};

} // namespace tarnaxe::emswriter
