#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <functional>

// Runs the event loop until `condition` holds, for work that finishes through queued events. The deadline
// only stops a hang from blocking the suite; a passing test never gets near it.
inline bool waitUntil(const std::function<bool()> &condition,
                      std::chrono::milliseconds timeout = std::chrono::seconds(30))
{
    const QDeadlineTimer deadline(timeout);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        QTimer::singleShot(std::chrono::milliseconds(10), &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}
