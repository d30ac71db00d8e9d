#pragma once
// frmAutoAtt, "Attach This Estimate?": the estimate found for the page's claim and VIN,
// offered with "&OK" and "&Cancel". Window-modal over the estimate dialog.

#include <QDialog>

namespace tarnaxe {

struct AutoAttachTexts {
    QString insuranceCompany; // shown empty, as it always was: the grid shows the company
    QString claimNumber;
    QString estimateDate;
    QString amount;
    QString vehicle;
};

class AutoAttachDialog : public QDialog {
    Q_OBJECT

public:
    AutoAttachDialog(const AutoAttachTexts& texts, QWidget* parent);
};

} // namespace tarnaxe
