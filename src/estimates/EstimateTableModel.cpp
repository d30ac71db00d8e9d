#include "estimates/EstimateTableModel.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>

namespace tarnaxe {

namespace {

// The "Supp" mark: a small amber badge with an "S".
QIcon supplementIcon()
{
    QImage image(16, 16, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(QColor(0xd9, 0x77, 0x06));
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(QRectF(1, 1, 14, 14), 3, 3);
    QFont font = painter.font();
    font.setBold(true);
    font.setPixelSize(11);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRect(0, 0, 16, 16), Qt::AlignCenter, QStringLiteral("S"));
    painter.end();
    return QIcon(QPixmap::fromImage(image));
}

const char* const kCaptions[EstimateTableModel::ColumnCount] = {
    "",         "Date Created", "Type",    "For Company", "For Claim", "Amount", "Description",
    "Filename", "Supp",         "Insured", "Owner",       "Claimant"};

} // namespace

EstimateTableModel::EstimateTableModel(QObject* parent)
    : QAbstractTableModel(parent), m_suppIcon(supplementIcon())
{}

void EstimateTableModel::setRows(QList<EstimateEntry> rows)
{
    beginResetModel();
    m_rows = std::move(rows);
    m_checked = QList<bool>(m_rows.size(), false);
    endResetModel();
}

const EstimateEntry& EstimateTableModel::entry(int row)
{
    EstimateEntry& e = m_rows[row];
    if (!e.DetailsLoaded)
        loadDetails(m_reader, e);
    return e;
}

int EstimateTableModel::checkedRow() const
{
    return int(m_checked.indexOf(true));
}

void EstimateTableModel::setChecked(int row, bool checked)
{
    if (row < 0 || row >= m_checked.size())
        return;
    m_checked.fill(false);
    m_checked[row] = checked;
    if (!m_rows.isEmpty())
        emit dataChanged(index(0, RowSelect), index(int(m_rows.size()) - 1, RowSelect),
                         {Qt::CheckStateRole});
}

int EstimateTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int EstimateTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant EstimateTableModel::display(const EstimateEntry& e, int column) const
{
    switch (column) {
    case DateCreated:
        return dateCreatedText(e.FileDate);
    case EstType:
        return estimateTypeName(e.EstType);
    case ForCompany:
        return e.ForCompany;
    case ForClaim:
        return e.ForClaim;
    case Amount:
        return amountText(e.AmountCents);
    case Description:
        return e.Description;
    case Insured:
        return e.Insured;
    case Owner:
        return e.Owner;
    case Claimant:
        return e.Claimant;
    default:
        return {};
    }
}

QVariant EstimateTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const int row = index.row();
    const int column = index.column();
    if (column == RowSelect) {
        if (role == Qt::CheckStateRole)
            return m_checked[row] ? Qt::Checked : Qt::Unchecked;
        if (role == Qt::AccessibleTextRole || role == Qt::ToolTipRole)
            return QStringLiteral("Attach this estimate");
        return {};
    }
    EstimateEntry& e = m_rows[row];
    if (!e.DetailsLoaded && role == Qt::DisplayRole)
        loadDetails(m_reader, e);
    switch (role) {
    case Qt::DisplayRole:
        return display(e, column);
    case Qt::DecorationRole:
        return column == SuppFlag && e.SuppFlag ? QVariant(m_suppIcon) : QVariant();
    case Qt::ToolTipRole:
    case Qt::AccessibleTextRole:
        if (column == SuppFlag)
            return e.SuppFlag ? QStringLiteral("Supplement") : QString();
        return role == Qt::ToolTipRole && column == Description ? e.FilePath : QVariant();
    case Qt::TextAlignmentRole:
        return column == Amount ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    default:
        return {};
    }
}

QVariant EstimateTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && section >= 0 && section < ColumnCount &&
        role == Qt::DisplayRole)
        return QString::fromLatin1(kCaptions[section]);
    if (orientation == Qt::Horizontal && section == RowSelect && role == Qt::AccessibleTextRole)
        return QStringLiteral("Attach");
    return QAbstractTableModel::headerData(section, orientation, role);
}

Qt::ItemFlags EstimateTableModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags result = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (index.column() == RowSelect)
        result |= Qt::ItemIsUserCheckable;
    return result;
}

bool EstimateTableModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!index.isValid() || index.column() != RowSelect || role != Qt::CheckStateRole)
        return false;
    setChecked(index.row(), value.toInt() == Qt::Checked);
    return true;
}

} // namespace tarnaxe
