#pragma once
// frmLocalSetup, "Setup": the workstation's settings in one dialog. Five platform rows
// with their delivery and export folders, the MIE and workfile folders, the print driver
// and the print-capture folders. Folders that do not exist are questioned before saving;
// a save that cannot be written says so and keeps the dialog open with what was typed.

#include <QDialog>
#include <array>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace tarnaxe {

class LocalSettings;
class Ui;

struct LocalSetupContext {
    LocalSettings& settings;
    Ui& ui;
    QString version; // shown once the dialog is filled
};

class LocalSetupForm : public QDialog {
    Q_OBJECT

public:
    static constexpr int kRows = 5;

    explicit LocalSetupForm(LocalSetupContext context, QWidget* parent = nullptr);

    void cmdSave_Click();

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

private:
    QLineEdit* folderField(const QString& name, const QString& accessibleName);
    QPushButton* browseButton(const QString& name, QLineEdit* field);
    void fill();
    // False when a folder that does not exist was refused; that field has the focus.
    bool foldersAccepted();
    void store();

    LocalSetupContext m_context;
    std::array<QComboBox*, kRows + 1> m_format{}; // 1..5
    std::array<QLineEdit*, kRows + 1> m_importPath{};
    std::array<QLineEdit*, kRows + 1> m_exportPath{};
    QLineEdit* m_mieDelivery;
    QLineEdit* m_mieRetrieval;
    QLineEdit* m_workfiles;
    QComboBox* m_pdf;
    std::array<QLineEdit*, 3> m_pdfPath{}; // 1..2
    QCheckBox* m_monitor;
    QLabel* m_version;
};

} // namespace tarnaxe
