#pragma once
// Waits for work that runs on the thread pool while the window stays responsive: a local
// event loop that ends when the future finishes.

#include <QEventLoop>
#include <QFuture>
#include <QFutureWatcher>

namespace tarnaxe {

template <typename T> void waitResponsive(const QFuture<T>& future)
{
    if (future.isFinished())
        return;
    QFutureWatcher<T> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(future);
    if (!future.isFinished())
        loop.exec();
}

} // namespace tarnaxe
