#pragma once
// Thumbnails for the photo picker, decoded at cell size on worker threads so that the
// window never waits for a camera photo: each arrives through thumbnailReady as soon as it
// is made, and stays cached while the picker lives (bounded by memory, not by count).

#include <QCache>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QSize>
#include <QThreadPool>

namespace tarnaxe {

class ThumbnailLoader : public QObject {
    Q_OBJECT

public:
    // Thumbnails fit a box of cellSize, keeping their shape.
    explicit ThumbnailLoader(QSize cellSize, QObject* parent = nullptr);
    ~ThumbnailLoader() override;

    // The thumbnail of path when it has been made, else null.
    const QImage* cached(const QString& path) const { return m_cache.object(path); }
    // Starts making the thumbnail of path unless it is cached or under way.
    void request(const QString& path);
    // Drops the requests that no worker has started (a page the user scrolled past).
    void dropPending();
    // Forgets every thumbnail (another folder is shown).
    void clear();

signals:
    // problem says why there is no picture ("it is empty"); image is then null.
    void thumbnailReady(const QString& path, const QImage& image, const QString& problem);

private:
    void deliver(const QString& path, const QImage& image, const QString& problem);

    QSize m_cellSize;
    QThreadPool m_pool;
    QCache<QString, QImage> m_cache;
    QSet<QString> m_underWay;
};

// The size that a picture of natural size takes in a cell: the cell's height when the
// picture is taller than the cell's shape, else the cell's width.
QSize fitInCell(QSize natural, QSize cell);

} // namespace tarnaxe
