#pragma once
// The hidden helper of each IO object: a steady one-second pulse that drives print
// capture's poll and the PublishInfo event.

#include <QObject>
#include <QTimer>

namespace tarnaxe {

class HelperTimer : public QObject {
    Q_OBJECT
public:
    explicit HelperTimer(QObject* parent = nullptr, int intervalMs = 1000);
    void unload() { m_timer.stop(); }
    bool isRunning() const { return m_timer.isActive(); }

signals:
    void TimerPulse();

private:
    QTimer m_timer;
};

} // namespace tarnaxe
