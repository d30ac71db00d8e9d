#include "emswriter/EmsSetBuilder.h"

#include "platform/FileNames.h"

#include <QFile>
#include <QtGlobal>

namespace tarnaxe::emswriter {

namespace {

const EmsMember kMembers[] = {EmsMember::Envelope,        EmsMember::Administrative1,
                              EmsMember::Administrative2, EmsMember::Vehicle,
                              EmsMember::Totals,          EmsMember::ProfileTotals};

const char kMemoField[] = "V_MEMO";

struct Default {
    EmsMember member;
    DbfField field;
    QByteArray value;
};

QList<Default> defaults()
{
    using M = EmsMember;
    return {
        {M::Envelope, {"EST_SYSTEM", 'C', 1}, "M"},
        {M::Envelope, {"ESTFILE_ID", 'C', 38}, "EST-0001"},
        {M::Envelope, {"SUPP_NO", 'C', 3}, "E01"},
        {M::Envelope, {"STATUS", 'L', 1}, "F"},
        {M::Envelope, {"CREATE_DT", 'D', 8}, "20070315"},
        {M::Envelope, {"TRANS_TYPE", 'C', 1}, "E"},
        {M::Administrative1, {"CLM_NO", 'C', 30}, "12-345678-90"},
        {M::Administrative1, {"POLICY_NO", 'C', 30}, "POL-778899"},
        {M::Administrative1, {"INS_CO_NM", 'C', 35}, "SAFE HARBOR MUTUAL"},
        {M::Administrative1, {"CUST_PR", 'C', 1}, "C"},
        {M::Administrative1, {"INSD_LN", 'C', 35}, "SMITH"},
        {M::Administrative1, {"INSD_FN", 'C', 35}, "JOHN"},
        {M::Administrative1, {"INSD_CO_NM", 'C', 35}, ""},
        {M::Administrative1, {"OWNR_LN", 'C', 35}, "DOE"},
        {M::Administrative1, {"OWNR_FN", 'C', 35}, "JANE"},
        {M::Administrative1, {"OWNR_CO_NM", 'C', 35}, ""},
        {M::Administrative2, {"CLMT_LN", 'C', 35}, "ROE"},
        {M::Administrative2, {"CLMT_FN", 'C', 35}, "RICHARD"},
        {M::Administrative2, {"CLMT_CO_NM", 'C', 35}, ""},
        {M::Vehicle, {"V_MODEL_YR", 'C', 2}, "07"},
        {M::Vehicle, {"V_MAKEDESC", 'C', 20}, "FORD"},
        {M::Vehicle, {"V_MODEL", 'C', 50}, "FOCUS SE"},
        {M::Vehicle, {"V_VIN", 'C', 25}, "1FAFP34N97W123456"},
        {M::Vehicle, {kMemoField, 'M', 10}, ""},
        {M::Totals, {"N_TTL_AMT", 'N', 12, 2}, "1234.56"},
        {M::ProfileTotals, {"TAX_TYPE", 'C', 2}, "01"},
    };
}

QString suffixOf(EmsMember member, EmsStyle style)
{
    const QStringList spellings = emsMemberSuffixes(member);
    return style == EmsStyle::Letter ? spellings.last() : spellings.first();
}

// Numbers stand at the right of their field, as xBASE programs write them.
QByteArray stored(const DbfField& field, const QByteArray& value)
{
    if (field.type == 'N' && value.size() < field.length)
        return QByteArray(field.length - value.size(), ' ') + value;
    return value;
}

} // namespace

EmsSetBuilder::EmsSetBuilder(QString folder, QString base)
    : m_folder(std::move(folder)), m_base(std::move(base))
{
    for (const Default& d : defaults()) {
        Table& table = m_tables[d.member];
        table.fields.append(d.field);
        table.values.append(d.value);
    }
}

EmsSetBuilder& EmsSetBuilder::style(EmsStyle style)
{
    m_style = style;
    return *this;
}

EmsSetBuilder& EmsSetBuilder::upperCaseNames(bool upper)
{
    m_upper = upper;
    return *this;
}

EmsSetBuilder& EmsSetBuilder::set(const QByteArray& fieldName, const QByteArray& value)
{
    for (Table& table : m_tables) {
        for (qsizetype i = 0; i < table.fields.size(); ++i) {
            if (table.fields.at(i).name == fieldName) {
                table.values[i] = value;
                return *this;
            }
        }
    }
    qFatal("EmsSetBuilder: no member has the field %s", fieldName.constData());
}

EmsSetBuilder& EmsSetBuilder::addField(EmsMember member, const DbfField& field,
                                       const QByteArray& value)
{
    Table& table = m_tables[member];
    table.fields.append(field);
    table.values.append(value);
    return *this;
}

EmsSetBuilder& EmsSetBuilder::omit(EmsMember member)
{
    m_omitted.insert(member);
    return *this;
}

EmsSetBuilder& EmsSetBuilder::fileName(EmsMember member, const QString& name)
{
    m_names.insert(member, name);
    return *this;
}

EmsSetBuilder& EmsSetBuilder::vehicleMemo(const QByteArray& text)
{
    m_memo = text;
    return *this;
}

QString EmsSetBuilder::cased(const QString& name) const
{
    return m_upper ? name.toUpper() : name;
}

QString EmsSetBuilder::memberName(EmsMember member) const
{
    if (const auto it = m_names.constFind(member); it != m_names.constEnd())
        return *it;
    return cased(m_base + suffixOf(member, m_style));
}

QString EmsSetBuilder::basePath() const
{
    return joinPath(m_folder, m_base);
}

QString EmsSetBuilder::envelopePath() const
{
    return memberPath(EmsMember::Envelope);
}

QString EmsSetBuilder::memberPath(EmsMember member) const
{
    return joinPath(m_folder, memberName(member));
}

QString EmsSetBuilder::vehicleMemoPath() const
{
    // The reader finds a memo file by the table's name up to its first dot.
    const QString table = memberName(EmsMember::Vehicle);
    const qsizetype dot = table.indexOf(QLatin1Char('.'));
    return joinPath(m_folder, (dot < 0 ? table : table.left(dot)) + cased(QStringLiteral(".dbt")));
}

EmsSetBuilder& EmsSetBuilder::exportedAt(const QDateTime& time)
{
    m_exportedAt = time;
    return *this;
}

bool EmsSetBuilder::write() const
{
    for (EmsMember member : kMembers) {
        if (m_omitted.contains(member))
            continue;
        const Table& table = m_tables[member];
        QList<QByteArray> values;
        for (qsizetype i = 0; i < table.fields.size(); ++i)
            values.append(stored(table.fields.at(i), table.values.at(i)));
        if (member == EmsMember::Vehicle) {
            DbtWriter memo;
            const int block = memo.addMemo(m_memo);
            for (qsizetype i = 0; i < table.fields.size(); ++i) {
                if (table.fields.at(i).name == kMemoField)
                    values[i] = QByteArray::number(block).rightJustified(10, ' ');
            }
            if (!memo.write(vehicleMemoPath()))
                return false;
        }
        // 0x83: dBase III with a memo file, as the vehicle table is written.
        DbfWriter writer(table.fields, member == EmsMember::Vehicle ? 0x83 : 0x03);
        writer.addRecord(values);
        if (!writer.write(memberPath(member)))
            return false;
    }
    if (m_exportedAt.isValid()) {
        QFile envelope(envelopePath());
        return envelope.open(QIODevice::ReadWrite) &&
               envelope.setFileTime(m_exportedAt, QFileDevice::FileModificationTime);
    }
    return true;
}

} // namespace tarnaxe::emswriter
