#pragma once
// "Select Path": picks a folder for a path field. Drive1 offers the places a folder can be
// on Linux ("/", the home folder and the mounted volumes); Dir1 shows the open folder with
// the folders above it and below it. A click on a folder below selects it without opening
// it, and OK returns what lblPath shows: the selected folder, else the open one.

#include <QDialog>
#include <QStringList>

class QComboBox;
class QLabel;
class QListWidget;
class QListWidgetItem;

namespace tarnaxe {

// "/", the home folder, then the mount points under /media, /mnt and /run/media listed in
// mounts (the text of /proc/self/mounts), in that order.
QStringList chooserDrives(const QString& home, const QByteArray& mounts);

class DirectoryChooserDialog : public QDialog {
    Q_OBJECT

public:
    // Opens at folder when it exists, else at the folder of the agent's program.
    explicit DirectoryChooserDialog(const QString& folder, QWidget* parent = nullptr);

    // What OK returns.
    QString chosenPath() const;
    // Opens a folder: Dir1 lists it, lblPath shows it.
    void openFolder(const QString& folder);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Drive1_Change(int index);
    void Dir1_Click(QListWidgetItem* item);
    void Dir1_Open(QListWidgetItem* item);
    void goUp();

    QComboBox* m_drive;
    QListWidget* m_dir;
    QLabel* m_path;
    QString m_open;
};

} // namespace tarnaxe
