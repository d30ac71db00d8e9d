#pragma once
// The rows of grdQuotes: the listed estimates with their check boxes, of which at most one
// is ticked. A row's heavier facts are read the first time the view asks for it, so a page
// of rows costs a page of table reads however many rows there are.

#include "ems/EmsReader.h"
#include "estimates/EstimateList.h"

#include <QAbstractTableModel>
#include <QIcon>
#include <QList>

namespace tarnaxe {

class EstimateTableModel : public QAbstractTableModel {
    Q_OBJECT

public:
    // The grid's columns, in order; Filename is kept but hidden, as it always was.
    enum Column {
        RowSelect,
        DateCreated,
        EstType,
        ForCompany,
        ForClaim,
        Amount,
        Description,
        Filename,
        SuppFlag,
        Insured,
        Owner,
        Claimant,
        ColumnCount
    };

    explicit EstimateTableModel(QObject* parent = nullptr);

    void setRows(QList<EstimateEntry> rows);
    // The entry of a row with its details loaded.
    const EstimateEntry& entry(int row);
    // The first ticked row, or -1.
    int checkedRow() const;
    // Ticking a row unticks every other; unticking leaves none ticked.
    void setChecked(int row, bool checked);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

private:
    QVariant display(const EstimateEntry& entry, int column) const;

    // Details are read on demand from const data(): the cache is not the model's state.
    mutable QList<EstimateEntry> m_rows;
    QList<bool> m_checked;
    mutable EmsReader m_reader;
    QIcon m_suppIcon;
};

} // namespace tarnaxe
