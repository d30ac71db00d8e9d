#pragma once
// frmFormats: the modal dialog in which the user confirms into which of the offered
// delivery slots an assignment goes. It edits the format selection, "Y" or "N" per slot;
// OK with no box ticked and Cancel both leave it empty.

#include <QDialog>
#include <QList>

class QCheckBox;
class QPushButton;

namespace tarnaxe {

class LocalSettings;
class Ui;

class FormatsDialog : public QDialog {
    Q_OBJECT

public:
    // One checked box per "Y" of selection, captioned with the slot's platform name.
    FormatsDialog(const LocalSettings& settings, QString& selection, QWidget* parent = nullptr);

    // True after OK.
    bool resultFlag() const { return m_result; }
    const QList<QCheckBox*>& boxes() const { return m_boxes; }

    // Shows the dialog modally over owner, in front of the browser, and answers its result
    // flag.
    static bool choose(const LocalSettings& settings, QString& selection, QWidget* owner, Ui& ui);

private:
    void toggled(QCheckBox* box, bool checked);
    void cmdOK_Click();
    void cmdCancel_Click();

    QString& m_selection;
    bool m_result = false;
    QList<QCheckBox*> m_boxes;
    QPushButton* m_ok;
    QPushButton* m_cancel;
};

} // namespace tarnaxe
