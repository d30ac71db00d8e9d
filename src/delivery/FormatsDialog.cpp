#include "delivery/FormatsDialog.h"

#include "config/LocalSettings.h"
#include "platform/Ui.h"

#include <QCheckBox>
#include <QFontMetrics>
#include <QPushButton>
#include <QTimer>

namespace tarnaxe {

namespace {

constexpr int kMargin = 12;
constexpr int kBoxWidth = 260;

} // namespace

FormatsDialog::FormatsDialog(const LocalSettings& settings, QString& selection, QWidget* parent)
    : QDialog(parent), m_selection(selection)
{
    setObjectName(QStringLiteral("frmFormats"));
    setWindowTitle(QStringLiteral("Select Assignment Format(s)"));
    setModal(true);

    m_ok = new QPushButton(QStringLiteral("OK"), this);
    m_ok->setObjectName(QStringLiteral("cmdOK"));
    m_ok->setDefault(true);
    m_cancel = new QPushButton(QStringLiteral("Cancel"), this);
    m_cancel->setObjectName(QStringLiteral("cmdCancel"));
    const int buttonHeight = m_ok->sizeHint().height();
    const int buttonWidth = qMax(m_ok->sizeHint().width(), m_cancel->sizeHint().width());

    // The boxes stack in slot order; the buttons stay below the last one.
    const int boxHeight = QCheckBox(QStringLiteral("X")).sizeHint().height() + 4;
    int top = kMargin;
    for (int slot = 1; slot <= kPlatformSlots; ++slot) {
        if (selection.mid(slot - 1, 1) != QLatin1String("Y"))
            continue;
        auto* box = new QCheckBox(settings.EMSEstPlatform[slot == kPlatformSlots ? 6 : slot], this);
        box->setObjectName(QStringLiteral("chkFormat"));
        box->setProperty("tag", slot);
        box->setChecked(true);
        box->setGeometry(kMargin, top, kBoxWidth, boxHeight);
        top += boxHeight;
        connect(box, &QCheckBox::toggled, this,
                [this, box](bool checked) { toggled(box, checked); });
        m_boxes.append(box);
    }
    top += kMargin;
    const int right = kMargin + kBoxWidth;
    m_cancel->setGeometry(right - buttonWidth, top, buttonWidth, buttonHeight);
    m_ok->setGeometry(right - 2 * buttonWidth - 8, top, buttonWidth, buttonHeight);
    setFixedSize(right + kMargin, top + buttonHeight + kMargin);

    connect(m_ok, &QPushButton::clicked, this, &FormatsDialog::cmdOK_Click);
    connect(m_cancel, &QPushButton::clicked, this, &FormatsDialog::cmdCancel_Click);
}

void FormatsDialog::toggled(QCheckBox* box, bool checked)
{
    const int slot = box->property("tag").toInt();
    if (m_selection.size() < slot)
        m_selection = m_selection.leftJustified(kPlatformSlots, QLatin1Char('N'));
    m_selection[slot - 1] = checked ? QLatin1Char('Y') : QLatin1Char('N');
}

void FormatsDialog::cmdOK_Click()
{
    if (!m_selection.contains(QLatin1Char('Y')))
        m_selection.clear();
    m_result = true;
    accept();
}

void FormatsDialog::cmdCancel_Click()
{
    m_selection.clear();
    m_result = false;
    reject();
}

bool FormatsDialog::choose(const LocalSettings& settings, QString& selection, QWidget* owner,
                           Ui& ui)
{
    FormatsDialog dialog(settings, selection, owner);
    // Raised once it is on screen, as every window of the agent is.
    QTimer::singleShot(0, &dialog, [&dialog, &ui] { ui.bringToFront(&dialog); });
    // Closing the window with its title bar or Escape is a Cancel.
    if (dialog.exec() != QDialog::Accepted && !dialog.m_result)
        selection.clear();
    return dialog.m_result;
}

} // namespace tarnaxe
