#pragma once
// frmImagePicker, "Digital Photos": the JPEG photos of one folder as thumbnails, eight at a
// time in two rows of four, marked by clicking (or Space) and attached with "Attach
// Photos". The folder and the captions follow the acquisition method: 0 a fixed folder,
// 1 storage (which lists nothing), 2 by VIN. Thumbnails are decoded on worker threads and
// appear as they arrive; the window never waits for them.

#include "automation/Services.h"
#include "photos/PhotoFolder.h"

#include <QAbstractButton>
#include <QDialog>
#include <QImage>
#include <array>
#include <functional>

class QLabel;
class QPushButton;
class QRadioButton;
class QScrollBar;
class QTimer;

namespace tarnaxe {

class LocalSettings;
class ThumbnailLoader;
class Ui;
struct SharedState;

// One image cell, img(i): shows its photo's thumbnail, toggles its mark on a click or on
// Space, and tells a screen reader the photo's file name and whether it is marked.
class PhotoCell : public QAbstractButton {
    Q_OBJECT

public:
    explicit PhotoCell(QWidget* parent = nullptr);
    void setPicture(const QImage& picture);
    const QImage& picture() const { return m_picture; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage m_picture;
};

struct ImagePickerContext {
    LocalSettings& settings; // loaded by the host call that opened the picker
    SharedState& state;
    PhotoIntake& photos;
    Ui& ui;
    std::function<void()> yieldToUi;
};

class ImagePickerForm : public QDialog {
    Q_OBJECT

public:
    static constexpr int kCells = 8;
    static constexpr int CellWidth = 132;
    static constexpr int CellHeight = 99;

    explicit ImagePickerForm(ImagePickerContext context, QWidget* parent = nullptr);
    ~ImagePickerForm() override;

    int PhotoCount() const { return int(m_entries.size()); }
    int RowCount() const { return m_rowCount; }
    const QString& PhotoFolder() const { return m_photoFolder; }
    const QList<PhotoEntry>& entries() const { return m_entries; }
    PhotoCell* cell(int i) const { return m_img[i]; }
    // The entry (0-based) shown in cell i, or -1.
    int cellEntry(int i) const;

    void Command1_Click();

protected:
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

private:
    void findPhotos();
    bool prepareWorkImages();
    void sortEntries();
    void showPosition(int position);
    void clearCells();
    void placeCell(int slot);
    void setBorder(int slot);
    void cellToggled(int slot, bool marked);
    void thumbnailReady(const QString& path, const QImage& image, const QString& problem);
    void Option1_Click(int index);
    void VScroll1_Change(int value);
    void cmdChange_Click();
    void tmrOneShot_Timer();
    QString captionFor(const PhotoEntry& entry) const;

    ImagePickerContext m_context;
    ThumbnailLoader* m_loader;
    QWidget* m_picContainer;
    std::array<PhotoCell*, kCells> m_img{};
    std::array<QWidget*, kCells> m_redBorder{};
    std::array<int, kCells> m_cellTag{};
    QScrollBar* m_vScroll;
    std::array<QRadioButton*, 2> m_option{};
    QPushButton* m_change;
    QPushButton* m_attach;
    QLabel* m_status;
    QTimer* m_oneShot;

    QList<PhotoEntry> m_entries;
    QList<int> m_order; // entry indexes in display order (lstFiles)
    QString m_photoFolder;
    int m_rowCount = 0;
    int m_sortOrder = 1;
    bool m_scrollLive = false;
    bool m_attaching = false;
};

} // namespace tarnaxe
