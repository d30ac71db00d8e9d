#include "photos/ImagePickerForm.h"

#include "automation/FormRegistry.h"
#include "automation/SharedState.h"
#include "config/LocalSettings.h"
#include "config/PathHelpers.h"
#include "photos/ThumbnailLoader.h"
#include "platform/FileNames.h"
#include "platform/Logging.h"
#include "platform/Ui.h"
#include "platform/WaitCursor.h"

#include <QButtonGroup>
#include <QCloseEvent>
#include <QDir>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QTimer>

namespace tarnaxe {

namespace {

// The cells' grid, in pixels: a gap of 8 between cells, the first 12 from the left and 23
// from the top of the container.
constexpr int kGap = 8;
constexpr int kLeft = 12;
constexpr int kTop = 23;
constexpr int kBorder = 3;
constexpr int kMargin = 8;

QRect cellBox(int slot)
{
    const int row = slot / 4;
    const int column = slot % 4;
    return {(ImagePickerForm::CellWidth + kGap) * column + kLeft,
            (ImagePickerForm::CellHeight + kGap) * row + kTop, ImagePickerForm::CellWidth,
            ImagePickerForm::CellHeight};
}

} // namespace

PhotoCell::PhotoCell(QWidget* parent) : QAbstractButton(parent)
{
    setCheckable(true);
    setFocusPolicy(Qt::StrongFocus);
}

void PhotoCell::setPicture(const QImage& picture)
{
    m_picture = picture;
    update();
}

void PhotoCell::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (!m_picture.isNull()) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(rect(), m_picture);
    } else {
        // Not decoded yet, or not a picture: a plain box with the file name.
        painter.fillRect(rect(), palette().color(QPalette::Mid));
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(rect().adjusted(4, 4, -4, -4), Qt::AlignCenter | Qt::TextWrapAnywhere,
                         accessibleName());
    }
    if (hasFocus()) {
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2, Qt::DashLine));
        painter.drawRect(rect().adjusted(1, 1, -1, -1));
    }
}

ImagePickerForm::ImagePickerForm(ImagePickerContext context, QWidget* parent)
    : QDialog(parent), m_context(std::move(context)),
      m_loader(new ThumbnailLoader(QSize(CellWidth, CellHeight), this))
{
    setObjectName(QStringLiteral("frmImagePicker"));
    setWindowTitle(QStringLiteral("Digital Photos"));
    setAttribute(Qt::WA_DeleteOnClose);
    connect(m_loader, &ThumbnailLoader::thumbnailReady, this, &ImagePickerForm::thumbnailReady);

    const QRect lastCell = cellBox(kCells - 1);
    m_picContainer = new QWidget(this);
    m_picContainer->setObjectName(QStringLiteral("picContainer"));
    m_picContainer->setGeometry(kMargin, kMargin, lastCell.right() + kLeft,
                                lastCell.bottom() + kLeft);
    for (int i = 0; i < kCells; ++i) {
        // Behind its cell, a little larger: shows as a red frame around a marked photo.
        auto* border = new QWidget(m_picContainer);
        border->setObjectName(QStringLiteral("RedBorder"));
        border->setProperty("Index", i);
        border->setAutoFillBackground(true);
        QPalette red = border->palette();
        red.setColor(QPalette::Window, Qt::red);
        border->setPalette(red);
        border->hide();
        m_redBorder[i] = border;
    }
    for (int i = 0; i < kCells; ++i) {
        auto* cell = new PhotoCell(m_picContainer);
        cell->setObjectName(QStringLiteral("img"));
        cell->setProperty("Index", i);
        cell->setGeometry(cellBox(i));
        cell->hide();
        connect(cell, &PhotoCell::toggled, this, [this, i](bool on) { cellToggled(i, on); });
        m_img[i] = cell;
        m_cellTag[i] = -1;
    }

    const int containerRight = m_picContainer->geometry().right();
    m_vScroll = new QScrollBar(Qt::Vertical, this);
    m_vScroll->setObjectName(QStringLiteral("VScroll1"));
    m_vScroll->setAccessibleName(QStringLiteral("Photo rows"));
    m_vScroll->setGeometry(containerRight + 1, kMargin, m_vScroll->sizeHint().width(),
                           m_picContainer->height());
    m_vScroll->setEnabled(false);
    connect(m_vScroll, &QScrollBar::valueChanged, this, &ImagePickerForm::VScroll1_Change);

    const int row1 = m_picContainer->geometry().bottom() + kMargin;
    auto* sortGroup = new QButtonGroup(this);
    int left = kMargin + kLeft;
    const QStringList optionCaptions{QStringLiteral("Date "), QStringLiteral("Image File Name")};
    for (int i = 0; i < 2; ++i) {
        auto* option = new QRadioButton(optionCaptions[i], this);
        option->setObjectName(QStringLiteral("Option1"));
        option->setProperty("Index", i);
        option->adjustSize();
        option->move(left, row1);
        left += option->width() + 2 * kMargin;
        sortGroup->addButton(option, i);
        m_option[i] = option;
    }
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("lblStatus"));
    m_status->setTextFormat(Qt::PlainText);
    m_status->setGeometry(left, row1, containerRight - left, m_option[0]->height());
    m_status->setAlignment(Qt::AlignRight | Qt::AlignVCenter);

    const int row2 = row1 + m_option[0]->height() + kMargin;
    m_change = new QPushButton(QStringLiteral("Path to Photos ..."), this);
    m_change->setObjectName(QStringLiteral("cmdChange"));
    m_change->adjustSize();
    m_change->move(kMargin + kLeft, row2);
    m_attach = new QPushButton(QStringLiteral("Attach Photos"), this);
    m_attach->setObjectName(QStringLiteral("Command1"));
    m_attach->setDefault(true);
    m_attach->adjustSize();
    m_attach->move(containerRight - m_attach->width(), row2);
    connect(m_change, &QPushButton::clicked, this, &ImagePickerForm::cmdChange_Click);
    connect(m_attach, &QPushButton::clicked, this, &ImagePickerForm::Command1_Click);
    setFixedSize(m_vScroll->geometry().right() + kMargin, row2 + m_attach->height() + kMargin);

    QWidget* previous = m_img[0];
    for (QWidget* next : {static_cast<QWidget*>(m_img[1]), static_cast<QWidget*>(m_img[2]),
                          static_cast<QWidget*>(m_img[3]), static_cast<QWidget*>(m_img[4]),
                          static_cast<QWidget*>(m_img[5]), static_cast<QWidget*>(m_img[6]),
                          static_cast<QWidget*>(m_img[7]), static_cast<QWidget*>(m_vScroll),
                          static_cast<QWidget*>(m_option[0]), static_cast<QWidget*>(m_option[1]),
                          static_cast<QWidget*>(m_change), static_cast<QWidget*>(m_attach)}) {
        setTabOrder(previous, next);
        previous = next;
    }

    m_oneShot = new QTimer(this);
    m_oneShot->setObjectName(QStringLiteral("tmrOneShot"));
    m_oneShot->setInterval(500);
    connect(m_oneShot, &QTimer::timeout, this, &ImagePickerForm::tmrOneShot_Timer);

    // Form_Load. A choice made here only records the order: ScrollLive is still false.
    m_option[0]->setChecked(true);
    connect(sortGroup, &QButtonGroup::idClicked, this, &ImagePickerForm::Option1_Click);
    const int method = m_context.settings.ImageAcqMethod;
    if (method == 1) {
        m_change->hide();
        setWindowTitle(QStringLiteral("Digital Photos from storage"));
    } else if (method == 2) {
        m_change->hide();
        setWindowTitle(QStringLiteral("Digital Photos by VIN (") + m_context.state.PhotoVINMatch +
                       QLatin1Char(')'));
    }
    findPhotos();
    m_oneShot->start();
}

ImagePickerForm::~ImagePickerForm() = default;

int ImagePickerForm::cellEntry(int i) const
{
    return m_cellTag[i];
}

bool ImagePickerForm::prepareWorkImages()
{
    if (!m_context.state.SessionReady || m_context.state.SessionPath.isEmpty())
        return false;
    const QString folder = joinPath(m_context.state.SessionPath, QStringLiteral("WorkImages"));
    QDir dir(folder);
    if (!dir.exists() && !QDir().mkpath(folder))
        return false;
    for (const QString& name : dir.entryList(QDir::Files | QDir::Hidden | QDir::System))
        dir.remove(name);
    return true;
}

void ImagePickerForm::findPhotos()
{
    WaitCursor wait;
    clearCells();
    m_entries.clear();
    m_order.clear();
    m_rowCount = 0;
    m_scrollLive = false;
    m_vScroll->setEnabled(false);
    m_status->clear();
    m_loader->clear();

    const int method = m_context.settings.ImageAcqMethod;
    if (method == 1) {
        // Photos from storage are never listed from a folder: the work folder is made
        // ready and the user is told, as this method always did.
        if (!prepareWorkImages()) {
            m_context.state.CommandStatus = QStringLiteral("Cannot create work image path");
            return;
        }
        m_context.ui.message(QString(), QStringLiteral("Error locating images"),
                             MessageIcon::Critical);
        return;
    }
    m_photoFolder =
        photoFolderFor(method, m_context.settings.ImageDirectory, m_context.state.PhotoVINMatch);
    if (!folderExists(m_photoFolder))
        return;
    if (!m_photoFolder.endsWith(QLatin1Char('/')))
        m_photoFolder += QLatin1Char('/');
    m_entries = listPhotos(m_photoFolder);
    qCInfo(lcPhotos) << m_entries.size() << "photos in" << m_photoFolder;
    m_rowCount = rowCountFor(PhotoCount());
    sortEntries();
    m_vScroll->setRange(1, std::max(1, m_rowCount));
    m_vScroll->setValue(1);
    m_vScroll->setEnabled(true);
    showPosition(1);
    m_scrollLive = true;
}

void ImagePickerForm::sortEntries()
{
    m_order = displayOrder(m_entries, m_sortOrder);
}

void ImagePickerForm::clearCells()
{
    for (int i = 0; i < kCells; ++i) {
        m_img[i]->hide();
        m_redBorder[i]->hide();
        m_cellTag[i] = -1;
    }
}

void ImagePickerForm::showPosition(int position)
{
    clearCells();
    if (m_rowCount == 0)
        return;
    position = std::clamp(position, 1, m_rowCount);
    const int first = (position - 1) * 4;
    // Pages the user scrolled past are not decoded any more.
    m_loader->dropPending();
    int last = 0;
    for (int slot = 0; slot < kCells; ++slot) {
        const int k = first + slot;
        if (k >= PhotoCount())
            continue;
        const int e = m_order[k];
        const PhotoEntry& entry = m_entries[e];
        PhotoCell* cell = m_img[slot];
        m_cellTag[slot] = e;
        cell->setToolTip(entry.DateCaption);
        cell->setAccessibleName(entry.FileName);
        cell->setAccessibleDescription(entry.DateCaption);
        const QString path = m_photoFolder + entry.FileName;
        const QImage* picture = m_loader->cached(path);
        cell->setPicture(picture ? *picture : QImage());
        if (!picture)
            m_loader->request(path);
        {
            const QSignalBlocker quiet(cell);
            cell->setChecked(entry.Selected);
        }
        placeCell(slot);
        cell->show();
        last = k + 1;
    }
    // The next row is decoded while the user looks at this page.
    for (int k = first + kCells; k < std::min(first + kCells + 4, PhotoCount()); ++k)
        m_loader->request(m_photoFolder + m_entries[m_order[k]].FileName);
    if (last == 0)
        m_status->setText(QStringLiteral("Displaying: 0-0 of %1 images").arg(PhotoCount()));
    else
        m_status->setText(QStringLiteral("Displaying: %1-%2 of %3 images")
                              .arg(first + 1)
                              .arg(last)
                              .arg(PhotoCount()));
}

void ImagePickerForm::placeCell(int slot)
{
    const QRect box = cellBox(slot);
    const QImage& picture = m_img[slot]->picture();
    const QSize size = picture.isNull() ? box.size() : fitInCell(picture.size(), box.size());
    m_img[slot]->setGeometry(QRect(box.topLeft(), size));
    setBorder(slot);
}

void ImagePickerForm::setBorder(int slot)
{
    const int e = m_cellTag[slot];
    QWidget* border = m_redBorder[slot];
    if (e < 0 || !m_entries[e].Selected) {
        border->hide();
        return;
    }
    border->setGeometry(m_img[slot]->geometry().adjusted(-kBorder, -kBorder, kBorder, kBorder));
    border->show();
}

void ImagePickerForm::cellToggled(int slot, bool marked)
{
    const int e = m_cellTag[slot];
    if (e < 0)
        return;
    m_entries[e].Selected = marked;
    setBorder(slot);
}

void ImagePickerForm::thumbnailReady(const QString& path, const QImage& image,
                                     const QString& problem)
{
    for (int slot = 0; slot < kCells; ++slot) {
        const int e = m_cellTag[slot];
        if (e < 0 || m_photoFolder + m_entries[e].FileName != path)
            continue;
        m_img[slot]->setPicture(image);
        if (!problem.isEmpty())
            m_img[slot]->setToolTip(m_entries[e].DateCaption + QLatin1Char('\n') + problem);
        placeCell(slot);
    }
}

void ImagePickerForm::Option1_Click(int index)
{
    m_sortOrder = index + 1;
    if (!m_scrollLive)
        return;
    sortEntries();
    m_scrollLive = false;
    m_vScroll->setValue(1);
    showPosition(1);
    m_scrollLive = true;
}

void ImagePickerForm::VScroll1_Change(int value)
{
    if (m_scrollLive)
        showPosition(value);
}

void ImagePickerForm::cmdChange_Click()
{
    const std::optional<QString> chosen = m_context.ui.chooseFolder(
        QStringLiteral("Select Path"), m_context.settings.ImageDirectory);
    if (!chosen)
        return;
    m_context.settings.ImageDirectory = *chosen;
    m_context.settings.save();
    findPhotos();
}

void ImagePickerForm::tmrOneShot_Timer()
{
    m_oneShot->stop();
    if (m_context.yieldToUi)
        m_context.yieldToUi();
    if (m_context.settings.ImageAcqMethod != 2 || PhotoCount() < 1)
        return;
    const MessageAnswer answer = m_context.ui.messageBox(
        {QString::number(PhotoCount()) +
             QStringLiteral(" photos have been detected for this VIN.  Do you want to attach "
                            "ALL of them now?"),
         QStringLiteral("Attach Photos"), MessageIcon::Question, MessageButtons::YesNo, false});
    if (answer != MessageAnswer::Yes)
        return;
    for (PhotoEntry& entry : m_entries)
        entry.Selected = true;
    Command1_Click();
}

QString ImagePickerForm::captionFor(const PhotoEntry& entry) const
{
    switch (m_context.settings.ImageAcqMethod) {
    case 1:
        return storageCaption(m_photoFolder + entry.FileName);
    case 2:
        return vinCaption(entry.FileName, m_context.state.PhotoVINMatch);
    default:
        return attachTimeCaption(QDateTime::currentDateTime());
    }
}

void ImagePickerForm::Command1_Click()
{
    if (m_attaching)
        return;
    m_attaching = true;
    m_attach->setEnabled(false);
    QList<PhotoToAdd> marked;
    for (const PhotoEntry& entry : std::as_const(m_entries)) {
        if (entry.Selected)
            marked.append({m_photoFolder + entry.FileName, captionFor(entry)});
    }
    QStringList problems;
    {
        WaitCursor wait;
        problems = m_context.photos.addPhotos(marked);
    }
    problems.removeAll(QString());
    if (!problems.isEmpty())
        m_context.ui.message(problems.join(QLatin1Char('\n')), QStringLiteral("Attach Photos"),
                             MessageIcon::Exclamation);
    m_attaching = false;
    close();
}

void ImagePickerForm::closeEvent(QCloseEvent* event)
{
    // Photos being copied finish first; the form closes itself when they are done.
    if (m_attaching) {
        event->ignore();
        return;
    }
    setProperty(kFormFinished, true);
    // Not QDialog's: it would reject, which here means close again.
    event->accept();
}

// Escape closes the picker like its window's close button.
void ImagePickerForm::reject()
{
    close();
}

} // namespace tarnaxe
