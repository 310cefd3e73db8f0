#include "FileSystemEventStream.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QSemaphore>

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace {

constexpr quint64 sinceNow = ~quint64(0);
constexpr quint64 historyDistance = 1000;

struct Received {
    quint64 id;
    QString path;
    quint32 flags;
    quint64 currentAtDelivery;
    QThread *thread;
};

// Keeps every event with what the stream said at the moment of delivery.
class Recorder : public FileSystemEventProtocol {
public:
    void fileSystemEvent(const FileSystemEvent &event, FileSystemEventStream &stream) override
    {
        if (onEvent)
            onEvent(event, stream);
        std::lock_guard lock(m_mutex);
        m_events.append({event.evId(), event.evPath(), event.evFlag(), stream.currentEventID(),
                         QThread::currentThread()});
    }
    QList<Received> events() const
    {
        std::lock_guard lock(m_mutex);
        return m_events;
    }
    qsizetype count(const QString &path) const
    {
        const QList<Received> all = events();
        return std::count_if(all.begin(), all.end(),
                             [&](const Received &event) { return event.path == path; });
    }
    bool waitFor(const QString &path, qsizetype times = 1) const
    {
        return waitUntil([&] { return count(path) >= times; });
    }

    std::function<void(const FileSystemEvent &, FileSystemEventStream &)> onEvent;

private:
    mutable std::mutex m_mutex;
    QList<Received> m_events;
};

class FileSystemEventStreamTest : public ::testing::Test {
protected:
    QString folder(const QString &name)
    {
        QDir().mkpath(home.filePath(name));
        return home.filePath(name);
    }

    std::unique_ptr<FileSystemEventStream> startedStream(double latency, quint64 startEventID = sinceNow)
    {
        auto stream = std::make_unique<FileSystemEventStream>();
        stream->setDelegate(&recorder);
        stream->setLatency(latency);
        stream->setStartEventID(startEventID);
        EXPECT_TRUE(stream->start({"/"}));
        return stream;
    }

    TemporaryHome home;
    Recorder recorder;
};

TEST_F(FileSystemEventStreamTest, ReportsTheFolderOfASavedFileOnItsWorkerThread)
{
    const QString documents = folder("Documents");
    const auto stream = startedStream(0.2);
    ASSERT_TRUE(stream->isActive());

    home.writeFile("Documents/letter.txt");
    home.writeFile("top.txt");
    ASSERT_TRUE(recorder.waitFor(documents));
    ASSERT_TRUE(recorder.waitFor(home.path()));
    for (const Received &event : recorder.events()) {
        EXPECT_EQ(event.flags, 0u);
        EXPECT_NE(event.thread, QThread::currentThread());
        EXPECT_EQ(event.thread, recorder.events().first().thread);
        EXPECT_LE(event.id, event.currentAtDelivery);
        EXPECT_LT(event.currentAtDelivery - event.id, historyDistance) << "a live event";
        EXPECT_FALSE(event.path.endsWith('/'));
    }
}

TEST_F(FileSystemEventStreamTest, SendsTheFirstChangeAtOnceAndCoalescesTheRest)
{
    const QString busy = folder("busy");
    const QString other = folder("other");
    // Far longer than the test: held changes come out only through a flush.
    const auto stream = startedStream(600);

    home.writeFile("busy/file");
    ASSERT_TRUE(recorder.waitFor(busy));
    for (int i = 0; i < 50; ++i)
        home.writeFile("busy/file");
    ASSERT_TRUE(stream->flushSync());
    ASSERT_TRUE(recorder.waitFor(busy, 2));

    // Nothing more is held for the busy folder: a later flush brings only the other folder.
    home.writeFile("other/file");
    ASSERT_TRUE(recorder.waitFor(other));
    ASSERT_TRUE(stream->flushAsync());
    home.writeFile("other/second");
    ASSERT_TRUE(stream->flushSync());
    ASSERT_TRUE(recorder.waitFor(other, 2));
    EXPECT_EQ(recorder.count(busy), 2);
}

TEST_F(FileSystemEventStreamTest, DropsEventsWhoseRawPathHasAnExcludedPrefix)
{
    const QString skipped = folder("skip");
    const QString kept = folder("skipper");
    auto stream = std::make_unique<FileSystemEventStream>();
    EXPECT_EQ(stream->pathsToExclude(), QStringList{"/private/"});
    stream->setPathsToExclude({skipped + "/"});
    stream->setDelegate(&recorder);
    stream->setLatency(0.1);
    ASSERT_TRUE(stream->start({home.path() + "/"}));

    home.writeFile("skip/file");
    home.writeFile("skipper/file");
    ASSERT_TRUE(recorder.waitFor(kept));
    ASSERT_TRUE(stream->flushSync());
    home.writeFile("marker/file");
    ASSERT_TRUE(recorder.waitFor(home.filePath("marker")));
    EXPECT_EQ(recorder.count(skipped), 0);
}

TEST_F(FileSystemEventStreamTest, ReplaysFoldersChangedWhileNotRunning)
{
    const QString live = folder("live");
    const QString meanwhile = folder("meanwhile");
    quint64 lastHandled;
    {
        const auto first = startedStream(0.1);
        home.writeFile("live/file");
        ASSERT_TRUE(recorder.waitFor(live));
        lastHandled = recorder.events().last().id;
    }
    home.writeFile("meanwhile/changed.txt");

    const qsizetype earlier = recorder.events().size();
    const auto isDone = [](const Received &event) { return event.flags & FileSystemEvent::HistoryDone; };
    const auto second = startedStream(0.1, lastHandled);
    ASSERT_TRUE(waitUntil([&] {
        const QList<Received> events = recorder.events();
        return std::any_of(events.begin() + earlier, events.end(), isDone);
    }));
    home.writeFile("live/after");
    ASSERT_TRUE(recorder.waitFor(live, 2));

    const QList<Received> events = recorder.events().mid(earlier);
    const auto done = std::find_if(events.begin(), events.end(), isDone);
    EXPECT_EQ(done->path, QString());
    const auto replayed =
        std::find_if(events.begin(), done, [&](const Received &event) { return event.path == meanwhile; });
    ASSERT_NE(replayed, done) << "the folder changed meanwhile comes before the end of the history";
    for (auto event = events.begin(); event != done; ++event) {
        EXPECT_GT(event->id, lastHandled);
        EXPECT_LT(event->id, event->currentAtDelivery - historyDistance) << event->path.toStdString();
    }
    EXPECT_GT(events.last().id, lastHandled);
    EXPECT_LT(events.last().currentAtDelivery - events.last().id, historyDistance) << "live again";
}

TEST_F(FileSystemEventStreamTest, KeepsIdsGrowingAcrossInstancesAndPastACorruptState)
{
    const QString changed = folder("folder");
    quint64 previous = 0;
    for (int run = 0; run < 3; ++run) {
        const auto stream = startedStream(0.1);
        EXPECT_GT(stream->currentEventID(), previous);
        home.writeFile("folder/file" + QString::number(run));
        ASSERT_TRUE(recorder.waitFor(changed, run + 1));
        EXPECT_GT(recorder.events().last().id, previous);
        previous = recorder.events().last().id;
    }

    QFile state(FileSystemEventStream::defaultStateFile());
    ASSERT_TRUE(state.open(QIODevice::WriteOnly));
    state.write("not a property list");
    state.close();
    const quint64 saved = 5'000'000;
    const qsizetype earlier = recorder.events().size();
    testing::internal::CaptureStderr();
    const auto stream = startedStream(0.1, saved);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("Event ids start afresh"), std::string::npos) << log;
    home.writeFile("folder/last");
    ASSERT_TRUE(recorder.waitFor(changed, 4));
    for (const Received &event : recorder.events().mid(earlier))
        EXPECT_GT(event.id, saved);
}

TEST_F(FileSystemEventStreamTest, StopsStartsAndShutsDown)
{
    const QString changed = folder("folder");
    const QString whileStopped = folder("whileStopped");
    const auto stream = startedStream(0.1);

    EXPECT_TRUE(stream->stop());
    EXPECT_FALSE(stream->isActive());
    EXPECT_FALSE(stream->flushSync());
    EXPECT_FALSE(stream->flushAsync());
    home.writeFile("whileStopped/file");
    ASSERT_TRUE(stream->start({home.path()}));
    home.writeFile("folder/file");
    ASSERT_TRUE(recorder.waitFor(changed));
    EXPECT_EQ(recorder.count(whileStopped), 0);

    testing::internal::CaptureStderr();
    EXPECT_FALSE(stream->start({}));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(stream->isActive());
    EXPECT_NE(log.find("It looks like Spotlight and or File System events are not working. Try restarting"),
              std::string::npos);

    ASSERT_TRUE(stream->start({home.path()}));
    stream->shutdown();
    EXPECT_FALSE(stream->isActive());
    testing::internal::CaptureStderr();
    EXPECT_FALSE(stream->start({home.path()}));
    testing::internal::GetCapturedStderr();
}

TEST_F(FileSystemEventStreamTest, RefusesWorkerOperationsFromOtherThreads)
{
    const QString changed = folder("folder");
    const auto stream = startedStream(0.1);

    testing::internal::CaptureStderr();
    stream->stopOnThread();
    stream->startOnThread({changed});
    const QString log = QString::fromStdString(testing::internal::GetCapturedStderr());
    EXPECT_EQ(log.count("only call this call on worker thread. Use the public api"), 2);
    EXPECT_TRUE(stream->isActive());
    EXPECT_EQ(stream->pathsToWatch(), QStringList{"/"});
    home.writeFile("folder/file");
    EXPECT_TRUE(recorder.waitFor(changed));
}

TEST_F(FileSystemEventStreamTest, MayBeStoppedByItsDelegate)
{
    folder("folder");
    recorder.onEvent = [](const FileSystemEvent &, FileSystemEventStream &stream) { stream.stop(); };
    const auto stream = startedStream(0.1);

    home.writeFile("folder/file");
    home.writeFile("second");
    ASSERT_TRUE(waitUntil([&] { return !stream->isActive(); }));
    EXPECT_EQ(recorder.events().size(), 1);
}

TEST_F(FileSystemEventStreamTest, AsksForAFullScanWhenTheKernelDropsChanges)
{
    const QString flood = folder("flood");
    // Holding the worker in the first delivery lets the kernel's queue run over.
    QSemaphore firstDelivered;
    QSemaphore release;
    std::atomic<bool> held = false;
    recorder.onEvent = [&](const FileSystemEvent &, FileSystemEventStream &) {
        if (!held.exchange(true)) {
            firstDelivered.release();
            release.acquire();
        }
    };
    const auto stream = startedStream(0.1);
    home.writeFile("flood/first");
    ASSERT_TRUE(firstDelivered.tryAcquire(1, 30000));

    QFile limit("/proc/sys/fs/inotify/max_queued_events");
    ASSERT_TRUE(limit.open(QIODevice::ReadOnly));
    const int queueLength = limit.readAll().trimmed().toInt();
    for (int i = 0; i <= queueLength; ++i) {
        const int fd =
            open(QFile::encodeName(flood + "/f" + QString::number(i)).constData(), O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0);
        close(fd);
    }
    release.release();

    ASSERT_TRUE(waitUntil([&] {
        const QList<Received> events = recorder.events();
        return std::any_of(events.begin(), events.end(), [&](const Received &event) {
            return event.path == home.path() &&
                   event.flags == (FileSystemEvent::MustScanSubDirs | FileSystemEvent::KernelDropped);
        });
    }));
}

TEST(FileSystemEventStream, StepsAMillionEventsBackAndKeepsEventsWhole)
{
    EXPECT_EQ(FileSystemEventStream::pastEventID(999'999), 10u);
    EXPECT_EQ(FileSystemEventStream::pastEventID(1'000'000), 0u);
    EXPECT_EQ(FileSystemEventStream::pastEventID(5'000'000), 4'000'000u);
    TemporaryHome home;
    const quint64 current = FileSystemEventStream::defaultFileSystemEventStream().currentEventID();
    EXPECT_EQ(FileSystemEventStream::getPastEventID(86400.0), FileSystemEventStream::pastEventID(current));
    EXPECT_EQ(FileSystemEventStream::getPastEventID(1.0), FileSystemEventStream::getPastEventID(86400.0));

    const FileSystemEvent event(0xFFFF'FFFF'0000'0001ULL, "/home/a", 0x8000'0010u);
    const FileSystemEvent copy = FileSystemEvent::initWithDict(event.asDict());
    EXPECT_EQ(event.asDict().keys(), QStringList({"evFlag", "evId", "evPath"}));
    EXPECT_EQ(copy.evId(), event.evId());
    EXPECT_EQ(copy.evPath(), event.evPath());
    EXPECT_EQ(copy.evFlag(), event.evFlag());
}

} // namespace
