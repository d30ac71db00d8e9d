#include "config/DirectoryChooserDialog.h"

#include "config/PathHelpers.h"

#include <QApplication>
#include <QBoxLayout>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFormLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStyle>

namespace tarnaxe {

namespace {

// Where an entry of Dir1 stands: a folder above the open one, the open one, or below it.
enum class Place { Above, Open, Below };
constexpr int kPathRole = Qt::UserRole;
constexpr int kPlaceRole = Qt::UserRole + 1;

// /proc/self/mounts writes a blank as "\040" (and a tab, a line break, a backslash alike).
QString unescapeMountPoint(const QByteArray& field)
{
    QByteArray out;
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int code = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok) {
                out += char(code);
                i += 3;
                continue;
            }
        }
        out += field[i];
    }
    return QFile::decodeName(out);
}

Place placeOf(const QListWidgetItem* item)
{
    return static_cast<Place>(item->data(kPlaceRole).toInt());
}

} // namespace

QStringList chooserDrives(const QString& home, const QByteArray& mounts)
{
    QStringList drives{QStringLiteral("/")};
    if (!home.isEmpty() && home != QLatin1String("/"))
        drives << home;
    QStringList volumes;
    for (const QByteArray& line : mounts.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() < 2)
            continue;
        const QString point = unescapeMountPoint(fields[1]);
        for (const char* under : {"/media/", "/mnt/", "/run/media/"}) {
            if (point.startsWith(QLatin1String(under)) && !volumes.contains(point))
                volumes << point;
        }
    }
    volumes.sort();
    return drives + volumes;
}

DirectoryChooserDialog::DirectoryChooserDialog(const QString& folder, QWidget* parent)
    : QDialog(parent), m_drive(new QComboBox(this)), m_dir(new QListWidget(this)),
      m_path(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Select Path"));
    resize(420, 380);
    m_drive->setObjectName(QStringLiteral("Drive1"));
    m_dir->setObjectName(QStringLiteral("Dir1"));
    m_path->setObjectName(QStringLiteral("lblPath"));
    m_path->setTextFormat(Qt::PlainText);
    m_path->setWordWrap(true);
    m_path->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFile mounts(QStringLiteral("/proc/self/mounts"));
    mounts.open(QIODevice::ReadOnly);
    m_drive->addItems(chooserDrives(QDir::homePath(), mounts.readAll()));

    auto* ok = new QPushButton(QStringLiteral("&OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    cancel->setAutoDefault(false);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_drive, &QComboBox::activated, this, &DirectoryChooserDialog::Drive1_Change);
    connect(m_dir, &QListWidget::itemClicked, this, &DirectoryChooserDialog::Dir1_Click);
    connect(m_dir, &QListWidget::currentItemChanged, this, [this](QListWidgetItem* item) {
        // Moving with the arrows selects like a click, but never climbs.
        if (item && placeOf(item) != Place::Above)
            Dir1_Click(item);
    });
    connect(m_dir, &QListWidget::itemDoubleClicked, this, &DirectoryChooserDialog::Dir1_Open);
    m_dir->installEventFilter(this);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("&Drive:"), m_drive);
    form->addRow(QStringLiteral("D&irectory:"), m_dir);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_path, 1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);

    openFolder(folderExists(folder) ? folder : QCoreApplication::applicationDirPath());
    m_dir->setFocus();
}

QString DirectoryChooserDialog::chosenPath() const
{
    return m_path->text();
}

void DirectoryChooserDialog::openFolder(const QString& folder)
{
    m_open = QDir::cleanPath(QDir(folder).absolutePath());
    const QSignalBlocker blocker(m_dir);
    m_dir->clear();
    const QIcon openIcon = style()->standardIcon(QStyle::SP_DirOpenIcon);
    const QIcon closedIcon = style()->standardIcon(QStyle::SP_DirIcon);
    const QStringList parts = m_open.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    QString path = QStringLiteral("/");
    QListWidgetItem* open = nullptr;
    for (qsizetype i = -1; i < parts.size(); ++i) {
        if (i >= 0)
            path = QDir::cleanPath(path + QLatin1Char('/') + parts[i]);
        const bool last = i == parts.size() - 1;
        auto* item = new QListWidgetItem(
            openIcon, QString(int(i + 1) * 2, QLatin1Char(' ')) + (i < 0 ? path : parts[i]), m_dir);
        item->setData(kPathRole, path);
        item->setData(kPlaceRole, int(last ? Place::Open : Place::Above));
        open = item;
    }
    // A folder that cannot be listed shows no folders below it.
    const QFileInfoList below = QDir(m_open).entryInfoList(
        QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::IgnoreCase | QDir::LocaleAware);
    const QString indent(int(parts.size() + 1) * 2, QLatin1Char(' '));
    for (const QFileInfo& info : below) {
        auto* item = new QListWidgetItem(closedIcon, indent + info.fileName(), m_dir);
        item->setData(kPathRole, info.absoluteFilePath());
        item->setData(kPlaceRole, int(Place::Below));
    }
    m_dir->setCurrentItem(open);
    m_path->setText(m_open);
    // The drive shown is the place the open folder lies in.
    int drive = 0;
    for (int i = 0; i < m_drive->count(); ++i) {
        const QString root = m_drive->itemText(i);
        if ((m_open == root || m_open.startsWith(root + QLatin1Char('/'))) &&
            root.size() >= m_drive->itemText(drive).size())
            drive = i;
    }
    m_drive->setCurrentIndex(drive);
}

void DirectoryChooserDialog::Drive1_Change(int index)
{
    openFolder(m_drive->itemText(index));
}

void DirectoryChooserDialog::Dir1_Click(QListWidgetItem* item)
{
    if (placeOf(item) == Place::Above)
        openFolder(item->data(kPathRole).toString());
    else
        m_path->setText(item->data(kPathRole).toString());
}

void DirectoryChooserDialog::Dir1_Open(QListWidgetItem* item)
{
    if (placeOf(item) != Place::Open)
        openFolder(item->data(kPathRole).toString());
}

void DirectoryChooserDialog::goUp()
{
    if (m_open != QLatin1String("/"))
        openFolder(QFileInfo(m_open).path());
}

bool DirectoryChooserDialog::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_dir || event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    QListWidgetItem* item = m_dir->currentItem();
    switch (key->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // Enter on the open folder falls through to OK; on another it opens that one.
        if (!item || placeOf(item) == Place::Open)
            return key->key() == Qt::Key_Plus;
        Dir1_Open(item);
        return true;
    case Qt::Key_Minus:
    case Qt::Key_Backspace:
        goUp();
        return true;
    default:
        return QDialog::eventFilter(watched, event);
    }
}

} // namespace tarnaxe
