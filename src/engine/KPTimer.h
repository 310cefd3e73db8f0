#pragma once

#include <QElapsedTimer>

// A small stopwatch: seconds since it was started, on a monotonic clock.
class KPTimer {
public:
    static KPTimer timer(); // a new, started one

    void start() { m_clock.start(); }
    void restart() { m_clock.restart(); }
    double elapsedSeconds() const { return m_clock.isValid() ? double(m_clock.nsecsElapsed()) / 1e9 : 0.0; }

private:
    QElapsedTimer m_clock;
};
