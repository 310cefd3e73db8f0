#include "FileSystemEventStream.h"

#include "AppPaths.h"
#include "FolderChangeCoalescer.h"
#include "FolderWalk.h"
#include "InotifyWatcher.h"
#include "Log.h"
#include "MountTable.h"
#include "ReferenceTime.h"
#include "UserVolumes.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSocketNotifier>

namespace {

constexpr quint64 pastEventDistance = 1'000'000;
constexpr quint64 pastEventFloor = 10;
// Beyond the latency, how long a change may wait in the kernel's queue before it is delivered.
constexpr double queueingSlack = 30.0;
constexpr qsizetype historyBatchSize = 64;
constexpr int startPolls = 100;
constexpr int startPollMs = 10;

// "/" stands for the user's folders; other paths are watched as given.
QStringList rootsFor(const QStringList &pathsToWatch)
{
    QStringList roots;
    for (const QString &path : pathsToWatch) {
        if (path == QLatin1String("/"))
            roots.append(UserVolumes::roots());
        else
            roots.append(QDir::cleanPath(path));
    }
    roots.removeDuplicates();
    return roots;
}

QString listDescription(const QStringList &paths)
{
    return QLatin1Char('(') + paths.join(QLatin1String(", ")) + QLatin1Char(')');
}

} // namespace

void FileSystemEventStream::LaterDeleter::operator()(QObject *object) const
{
    object->deleteLater();
}

FileSystemEventStream &FileSystemEventStream::defaultFileSystemEventStream()
{
    // Kept for the life of the process. Its worker thread ends with shutdown(), at the latest while the
    // application object goes away: a thread that is still starting then would find no application.
    static FileSystemEventStream *const shared = [] {
        auto *stream = new FileSystemEventStream;
        qAddPostRoutine([] { defaultFileSystemEventStream().shutdown(); });
        return stream;
    }();
    return *shared;
}

QString FileSystemEventStream::defaultStateFile()
{
    return AppPaths::dataFolder() + QStringLiteral("/eventStream.plist");
}

quint64 FileSystemEventStream::getPastEventID(double interval)
{
    Q_UNUSED(interval)
    return pastEventID(defaultFileSystemEventStream().currentEventID());
}

quint64 FileSystemEventStream::pastEventID(quint64 currentEventID)
{
    return currentEventID >= pastEventDistance ? currentEventID - pastEventDistance : pastEventFloor;
}

FileSystemEventStream::FileSystemEventStream(const QString &stateFile)
    : m_ledger(stateFile), m_worker(std::make_unique<QObject>())
{
    m_thread.setObjectName(QStringLiteral("FileSystemEventStream"));
    m_worker->moveToThread(&m_thread);
    m_thread.start();
}

FileSystemEventStream::~FileSystemEventStream()
{
    shutdown();
}

bool FileSystemEventStream::start(const QStringList &pathsToWatch)
{
    // Whatever runs now is replaced; only the new start counts.
    m_active = false;
    m_watchesReady = false;
    QMetaObject::invokeMethod(
        m_worker.get(), [this, pathsToWatch] { startOnThread(pathsToWatch); }, Qt::QueuedConnection);
    // Waits for the watches rather than for the stream alone, so that changes made after a successful start
    // are seen; a tree that takes longer gets the rest of its watches after the return.
    for (int poll = 0; poll < startPolls && !m_watchesReady; ++poll)
        QThread::msleep(startPollMs);
    if (!isActive())
        Log::line(QStringLiteral(
            "It looks like Spotlight and or File System events are not working. Try restarting"));
    return isActive();
}

bool FileSystemEventStream::stop()
{
    if (QThread::currentThread() == &m_thread)
        stopOnThread();
    else if (m_thread.isRunning())
        QMetaObject::invokeMethod(
            m_worker.get(), [this] { stopOnThread(); }, Qt::BlockingQueuedConnection);
    return true;
}

bool FileSystemEventStream::flushSync()
{
    if (!isActive())
        return false;
    QMetaObject::invokeMethod(
        m_worker.get(), [this] { flushOnThread(); }, Qt::QueuedConnection);
    return true;
}

bool FileSystemEventStream::flushAsync()
{
    // inotify has a single way to flush: read what the kernel holds and send what is held back.
    return flushSync();
}

void FileSystemEventStream::shutdown()
{
    if (!m_thread.isRunning())
        return;
    QMetaObject::invokeMethod(
        m_worker.get(),
        [this] {
            stopOnThread();
            m_thread.quit();
        },
        Qt::QueuedConnection);
    if (QThread::currentThread() != &m_thread)
        m_thread.wait();
}

double FileSystemEventStream::latency() const
{
    QMutexLocker lock(&m_settingsLock);
    return m_latency;
}

void FileSystemEventStream::setLatency(double seconds)
{
    QMutexLocker lock(&m_settingsLock);
    m_latency = seconds;
}

quint64 FileSystemEventStream::startEventID() const
{
    QMutexLocker lock(&m_settingsLock);
    return m_startEventID;
}

void FileSystemEventStream::setStartEventID(quint64 id)
{
    QMutexLocker lock(&m_settingsLock);
    m_startEventID = id;
}

QStringList FileSystemEventStream::pathsToWatch() const
{
    QMutexLocker lock(&m_settingsLock);
    return m_pathsToWatch;
}

QStringList FileSystemEventStream::pathsToExclude() const
{
    QMutexLocker lock(&m_settingsLock);
    return m_pathsToExclude;
}

void FileSystemEventStream::setPathsToExclude(const QStringList &prefixes)
{
    QMutexLocker lock(&m_settingsLock);
    m_pathsToExclude = prefixes;
}

void FileSystemEventStream::addObserver(FileSystemEventProtocol *observer)
{
    QMutexLocker lock(&m_observersLock);
    if (!m_observers.contains(observer))
        m_observers.append(observer);
}

void FileSystemEventStream::removeObserver(FileSystemEventProtocol *observer)
{
    QMutexLocker lock(&m_observersLock);
    m_observers.removeAll(observer);
}

QString FileSystemEventStream::description() const
{
    return QStringLiteral("FS event stream - watchedPaths = %1, excludedPaths = %2")
        .arg(listDescription(pathsToWatch()), listDescription(pathsToExclude()));
}

bool FileSystemEventStream::isOnWorkerThread() const
{
    if (QThread::currentThread() == &m_thread)
        return true;
    Log::line(QStringLiteral("only call this call on worker thread. Use the public api"));
    return false;
}

void FileSystemEventStream::startOnThread(const QStringList &pathsToWatch)
{
    if (!isOnWorkerThread())
        return;
    stopOnThread();
    if (pathsToWatch.isEmpty())
        return;
    double latency;
    quint64 startEventID;
    {
        QMutexLocker lock(&m_settingsLock);
        m_pathsToWatch = pathsToWatch;
        latency = m_latency;
        startEventID = m_startEventID;
    }
    auto watcher = std::make_unique<InotifyWatcher>();
    if (!watcher->isValid())
        return;
    m_watcher = std::move(watcher);
    m_roots = rootsFor(pathsToWatch);
    const std::optional<double> replaySince = m_ledger.beginRun(startEventID, latency + queueingSlack);
    m_coalescer.reset(
        new FolderChangeCoalescer(latency, [this](const QString &folder) { deliver(folder, 0, false); }));
    m_notifier.reset(new QSocketNotifier(m_watcher->fd(), QSocketNotifier::Read));
    connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { readChanges(); });
    m_active = true;
    // Changes made while the watches go up wait in the kernel's queue until the event loop runs again.
    for (const QString &root : std::as_const(m_roots))
        m_watcher->watchTree(root);
    m_watchesReady = true;
    if (pathsToWatch.contains(QStringLiteral("/"))) {
        m_mounts.reset(new MountTable);
        connect(m_mounts.get(), &MountTable::changed, m_mounts.get(), [this] { watchNewVolumes(); });
    }
    if (replaySince)
        startHistory(*replaySince);
}

void FileSystemEventStream::watchNewVolumes()
{
    // Unmounted volumes lose their watches through the kernel; only new ones need a hand.
    const QStringList roots = rootsFor(pathsToWatch());
    m_roots.removeIf([&](const QString &root) { return !roots.contains(root); });
    for (const QString &root : roots) {
        if (m_roots.contains(root))
            continue;
        m_roots.append(root);
        m_watcher->watchTree(root);
        deliver(root, FileSystemEvent::Mount, false);
    }
}

void FileSystemEventStream::stopOnThread()
{
    if (!isOnWorkerThread() || !m_watcher)
        return;
    ++m_generation;
    m_historyScan = {};
    m_mounts.reset();
    m_notifier->setEnabled(false);
    m_notifier.reset();
    m_coalescer->clear();
    m_coalescer.reset();
    m_watcher.reset();
    m_ledger.endRun();
    m_active = false;
    m_watchesReady = false;
}

void FileSystemEventStream::readChanges()
{
    const quint64 generation = m_generation;
    const InotifyWatcher::Changes changes = m_watcher->readChanges();
    if (changes.overflowed) {
        const QStringList roots = m_roots;
        for (const QString &root : roots) {
            deliver(root, FileSystemEvent::MustScanSubDirs | FileSystemEvent::KernelDropped, false);
            if (generation != m_generation)
                return;
        }
    }
    for (const QString &folder : changes.folders) {
        if (generation != m_generation)
            return; // the delegate stopped the stream
        m_coalescer->add(folder);
    }
}

void FileSystemEventStream::flushOnThread()
{
    if (!m_watcher)
        return;
    const quint64 generation = m_generation;
    readChanges();
    if (generation == m_generation)
        m_coalescer->flush();
}

void FileSystemEventStream::startHistory(double since)
{
    const qint64 sinceMSecs = ReferenceTime::toDateTime(since).toMSecsSinceEpoch();
    m_historyScan =
        std::jthread([this, roots = m_roots, sinceMSecs, generation = m_generation](std::stop_token stop) {
            QStringList batch;
            const auto post = [&](bool done) {
                QMetaObject::invokeMethod(
                    m_worker.get(),
                    [this, generation, folders = std::exchange(batch, {}), done] {
                        receiveHistory(generation, folders, done);
                    },
                    Qt::QueuedConnection);
            };
            for (const QString &root : roots) {
                FolderWalk::visitChangedFolders(
                    QFile::encodeName(root), sinceMSecs,
                    [&](const QByteArray &folder) {
                        batch.append(QFile::decodeName(folder));
                        if (batch.size() >= historyBatchSize)
                            post(false);
                    },
                    stop);
            }
            if (!stop.stop_requested())
                post(true);
        });
}

void FileSystemEventStream::receiveHistory(quint64 generation, const QStringList &folders, bool done)
{
    if (generation != m_generation) {
        Log::line(
            QStringLiteral("Found event stream that was not the current one we are watching... weird?"));
        return;
    }
    for (const QString &folder : folders) {
        deliver(folder, 0, true);
        if (generation != m_generation)
            return;
    }
    if (done) {
        m_ledger.finishHistory();
        deliver(QString(), FileSystemEvent::HistoryDone, false);
    }
}

void FileSystemEventStream::deliver(const QString &folder, quint32 flags, bool history)
{
    // Exclusions match the raw path, which ends in "/": the prefix "/a/" excludes the folder "/a" too.
    const QString rawPath =
        folder.isEmpty() || folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
    for (const QString &prefix : pathsToExclude()) {
        if (rawPath.startsWith(prefix))
            return;
    }
    quint64 id;
    if (history) {
        const std::optional<quint64> next = m_ledger.nextHistoryID();
        if (!next)
            return;
        id = *next;
    } else {
        id = m_ledger.nextLiveID();
    }
    QString path = rawPath;
    if (path.size() >= 2 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    const FileSystemEvent event(id, path, flags);
    if (FileSystemEventProtocol *delegate = m_delegate)
        delegate->fileSystemEvent(event, *this);
    QMutexLocker lock(&m_observersLock);
    for (FileSystemEventProtocol *observer : std::as_const(m_observers))
        observer->fileSystemEvent(event, *this);
}
