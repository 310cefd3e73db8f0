#include "FolderChangeCoalescer.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

FolderChangeCoalescer::FolderChangeCoalescer(double latencySeconds,
                                             std::function<void(const QString &folder)> deliver)
    : m_latencyMs(std::llround(std::max(latencySeconds, 0.0) * 1000)), m_deliver(std::move(deliver))
{
    m_clock.start();
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &FolderChangeCoalescer::closeWindows);
}

void FolderChangeCoalescer::add(const QString &folder)
{
    const auto window = m_holding.find(folder);
    if (window != m_holding.end()) {
        *window = true;
        return;
    }
    send(folder);
}

void FolderChangeCoalescer::send(const QString &folder)
{
    m_holding.insert(folder, false);
    m_windows.push_back({m_clock.elapsed(), folder});
    if (!m_timer.isActive())
        scheduleNextClose();
    m_deliver(folder);
}

void FolderChangeCoalescer::flush()
{
    QStringList held;
    for (const Window &window : m_windows) {
        if (m_holding.value(window.folder))
            held.append(window.folder);
    }
    // Their new windows open now, behind all others, which keeps the windows in order of opening.
    std::erase_if(m_windows, [this](const Window &window) { return m_holding.value(window.folder); });
    for (const QString &folder : std::as_const(held)) {
        m_holding.remove(folder);
        send(folder);
    }
}

void FolderChangeCoalescer::clear()
{
    m_timer.stop();
    m_holding.clear();
    m_windows.clear();
}

void FolderChangeCoalescer::closeWindows()
{
    const qint64 now = m_clock.elapsed();
    while (!m_windows.empty() && m_windows.front().openedAt + m_latencyMs <= now) {
        const QString folder = std::move(m_windows.front().folder);
        m_windows.pop_front();
        if (m_holding.take(folder))
            send(folder);
    }
    scheduleNextClose();
}

void FolderChangeCoalescer::scheduleNextClose()
{
    if (m_windows.empty())
        return;
    const qint64 due = m_windows.front().openedAt + m_latencyMs - m_clock.elapsed();
    m_timer.start(std::max<qint64>(due, 0));
}
