#pragma once

#include "EventIdLedger.h"
#include "FileSystemEvent.h"

#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <memory>
#include <thread>

class FileSystemEventStream;
class FolderChangeCoalescer;
class InotifyWatcher;
class MountTable;
class QSocketNotifier;

class FileSystemEventProtocol {
public:
    virtual ~FileSystemEventProtocol() = default;
    // Called on the stream's worker thread, one event at a time, in the order of delivery.
    virtual void fileSystemEvent(const FileSystemEvent &event, FileSystemEventStream &stream) = 0;
};

// Folder changes below a set of watched trees, from inotify, handed to a delegate on the stream's own worker
// thread. Each changed folder makes one event; further changes of a folder within `latency` are coalesced.
// Events carry ids of our own that grow across runs; when started from a saved id, the stream first
// replays, as history events, the folders changed since the moment that id stands for (found by a scan in
// the background), then sends one HistoryDone event. Events whose raw path ("/a/b/") begins with an entry
// of pathsToExclude are dropped.
//
// The public operations may be called from any thread; startOnThread and stopOnThread only on the worker.
class FileSystemEventStream : public QObject {
public:
    static FileSystemEventStream &defaultFileSystemEventStream();
    // "eventStream.plist" in the application's data folder: where the default stream keeps its ids.
    static QString defaultStateFile();
    // An id from the past: the default stream's current id less one million, or 10 when that is lower.
    // The interval is ignored: the step back is always one million events.
    static quint64 getPastEventID(double interval);
    static quint64 pastEventID(quint64 currentEventID);

    explicit FileSystemEventStream(const QString &stateFile = defaultStateFile());
    ~FileSystemEventStream() override;

    // The latest event id issued.
    quint64 currentEventID() const { return m_ledger.current(); }

    // Starts watching on the worker thread, "/" standing for the user's folders (the home folder and the
    // user's mounted volumes). Waits up to about a second for the watches to be in place; returns whether
    // the stream is active.
    bool start(const QStringList &pathsToWatch);
    bool stop();
    // Both send what is waiting now, without waiting for the worker; false when inactive.
    bool flushSync();
    bool flushAsync();
    // Stops the stream and ends the worker thread for good.
    void shutdown();
    bool isActive() const { return m_active; }

    // These take effect at the next start, except the exclusions and the delegate, which count at once.
    double latency() const;
    void setLatency(double seconds);
    quint64 startEventID() const;
    void setStartEventID(quint64 id);
    QStringList pathsToWatch() const;
    QStringList pathsToExclude() const;
    void setPathsToExclude(const QStringList &prefixes);
    void setDelegate(FileSystemEventProtocol *delegate) { m_delegate = delegate; }
    // Further receivers of every event, called after the delegate: the metadata index follows the same
    // changes without a second set of watches. They count at once.
    void addObserver(FileSystemEventProtocol *observer);
    void removeObserver(FileSystemEventProtocol *observer);

    QString description() const;

    void startOnThread(const QStringList &pathsToWatch);
    void stopOnThread();

private:
    struct LaterDeleter {
        void operator()(QObject *object) const;
    };

    bool isOnWorkerThread() const;
    void readChanges();
    void watchNewVolumes();
    void flushOnThread();
    void startHistory(double since);
    void receiveHistory(quint64 generation, const QStringList &folders, bool done);
    void deliver(const QString &folder, quint32 flags, bool history);

    mutable QMutex m_settingsLock;
    double m_latency = 4.0;
    quint64 m_startEventID = EventIdLedger::sinceNow;
    QStringList m_pathsToWatch;
    QStringList m_pathsToExclude{QStringLiteral("/private/")};
    std::atomic<FileSystemEventProtocol *> m_delegate = nullptr;
    // Held through each call to them, so that an observer, once removed, is called no more.
    QMutex m_observersLock;
    QList<FileSystemEventProtocol *> m_observers;
    std::atomic<bool> m_active = false;
    std::atomic<bool> m_watchesReady = false;

    // Used on the worker thread only, apart from the ledger's current().
    EventIdLedger m_ledger;
    QStringList m_roots;
    std::unique_ptr<InotifyWatcher> m_watcher;
    // Deleted later: a delegate may stop the stream from inside their calls to it.
    std::unique_ptr<QSocketNotifier, LaterDeleter> m_notifier;
    std::unique_ptr<FolderChangeCoalescer, LaterDeleter> m_coalescer;
    // Volumes the desktop mounts for the user while the stream runs join the watched roots.
    std::unique_ptr<MountTable, LaterDeleter> m_mounts;
    std::jthread m_historyScan;
    quint64 m_generation = 0; // grows at every stop; tells the current watches' work from stale work

    QThread m_thread;
    std::unique_ptr<QObject> m_worker; // lives on m_thread: the receiver of the calls made to it
};
