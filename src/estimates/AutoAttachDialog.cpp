#include "estimates/AutoAttachDialog.h"

#include <QBoxLayout>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>

namespace tarnaxe {

namespace {

// The values come from the estimate's files: plain text, never markup.
QLabel* valueLabel(const QString& name, const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

AutoAttachDialog::AutoAttachDialog(const AutoAttachTexts& texts, QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("frmAutoAtt"));
    setWindowTitle(QStringLiteral("Attach This Estimate?"));
    setWindowModality(Qt::WindowModal);

    auto* form = new QFormLayout;
    const auto addRow = [&](const char* caption, const QString& name, const QString& text) {
        QLabel* value = valueLabel(name, text, this);
        auto* label = new QLabel(QString::fromLatin1(caption), this);
        label->setBuddy(value);
        value->setAccessibleName(label->text());
        form->addRow(label, value);
    };
    addRow("For Company:", QStringLiteral("lblInsCo"), texts.insuranceCompany);
    addRow("Claim #:", QStringLiteral("lblClaimNumber"), texts.claimNumber);
    addRow("Estimate Date:", QStringLiteral("lblEstDate"), texts.estimateDate);
    addRow("Amount:", QStringLiteral("lblAmount"), texts.amount);
    addRow("Vehicle:", QStringLiteral("lblVehicle"), texts.vehicle);

    auto* ok = new QPushButton(QStringLiteral("&OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);
    ok->setFocus();
}

} // namespace tarnaxe
