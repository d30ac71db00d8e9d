#include "photos/ThumbnailLoader.h"

#include "photos/PhotoFile.h"

#include <QImageReader>
#include <cmath>

namespace tarnaxe {

namespace {

// Some 1,200 thumbnails of 132 x 99: a large folder stays cached, a huge one does not
// take the workstation's memory.
constexpr int kCacheKilobytes = 64 * 1024;

struct Thumbnail {
    QImage image;
    QString problem;
};

Thumbnail makeThumbnail(const QString& path, QSize cell)
{
    Thumbnail made;
    made.problem = photoFileProblem(path);
    if (!made.problem.isEmpty())
        return made;
    QImageReader reader(path, "jpeg");
    reader.setAutoTransform(true);
    made.image = readUpright(reader, fitInCell(shownSize(reader), cell), made.problem);
    return made;
}

} // namespace

QSize fitInCell(QSize natural, QSize cell)
{
    if (natural.isEmpty())
        return cell;
    const double ratio = double(natural.height()) / natural.width();
    const double cellRatio = double(cell.height()) / cell.width();
    if (ratio > cellRatio)
        return {std::max(1, int(std::lround(cell.height() / ratio))), cell.height()};
    return {cell.width(), std::max(1, int(std::lround(cell.width() * ratio)))};
}

ThumbnailLoader::ThumbnailLoader(QSize cellSize, QObject* parent)
    : QObject(parent), m_cellSize(cellSize)
{
    m_cache.setMaxCost(kCacheKilobytes);
}

ThumbnailLoader::~ThumbnailLoader()
{
    // No worker may outlive the loader that it reports to.
    m_pool.clear();
    m_pool.waitForDone();
}

void ThumbnailLoader::request(const QString& path)
{
    if (m_cache.contains(path) || m_underWay.contains(path))
        return;
    m_underWay.insert(path);
    const QSize cell = m_cellSize;
    m_pool.start([this, path, cell] {
        const Thumbnail made = makeThumbnail(path, cell);
        // Queued to the loader's thread; dropped by Qt if the loader is gone by then.
        QMetaObject::invokeMethod(
            this, [this, path, made] { deliver(path, made.image, made.problem); },
            Qt::QueuedConnection);
    });
}

void ThumbnailLoader::dropPending()
{
    m_pool.clear();
    // What was dropped must be asked for again; what runs still arrives.
    m_underWay.clear();
}

void ThumbnailLoader::clear()
{
    dropPending();
    m_cache.clear();
}

void ThumbnailLoader::deliver(const QString& path, const QImage& image, const QString& problem)
{
    m_underWay.remove(path);
    if (!image.isNull())
        m_cache.insert(path, new QImage(image), std::max<qsizetype>(1, image.sizeInBytes() / 1024));
    emit thumbnailReady(path, image, problem);
}

} // namespace tarnaxe
