#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QString>
#include <QTimer>

#include <deque>
#include <functional>

// Paces the changes of each folder: the first change after a quiet spell goes out at once, and opens a
// window of `latency`; further changes of that folder within the window are held and go out as one when it
// closes, which opens the next window. A folder with no change in a window falls quiet again. Lives on the
// thread whose event loop runs its timer.
class FolderChangeCoalescer : public QObject {
public:
    FolderChangeCoalescer(double latencySeconds, std::function<void(const QString &folder)> deliver);

    void add(const QString &folder);
    // Sends every held change now.
    void flush();
    // Forgets everything, sending nothing more.
    void clear();

private:
    struct Window {
        qint64 openedAt; // milliseconds on m_clock
        QString folder;
    };

    void send(const QString &folder);
    void closeWindows();
    void scheduleNextClose();

    qint64 m_latencyMs;
    std::function<void(const QString &)> m_deliver;
    QElapsedTimer m_clock;
    QTimer m_timer;
    QHash<QString, bool> m_holding; // folders with an open window: whether a change is held
    std::deque<Window> m_windows;   // open windows, oldest first; one per folder
};
