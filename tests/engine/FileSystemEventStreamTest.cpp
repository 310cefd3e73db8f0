#include "FileSystemEventStream.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
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
    QString makeFolder(const QString &relative)
    {
        const QString path = home.filePath(relative);
        QDir().mkpath(path);
        return path;
    }

    static void write(const QString &path)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Append));
        file.write("x");
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
    const QString documents = makeFolder("Documents");
    const auto stream = startedStream(0.2);
    ASSERT_TRUE(stream->isActive());
    EXPECT_EQ(stream->pathsToWatch(), QStringList{"/"});

    write(documents + "/letter.txt");
    write(home.filePath("top.txt"));

    ASSERT_TRUE(recorder.waitFor(documents));
    ASSERT_TRUE(recorder.waitFor(home.path()));
    for (const Received &event : recorder.events()) {
        EXPECT_EQ(event.flags, 0u);
        EXPECT_NE(event.thread, QThread::currentThread());
        EXPECT_EQ(event.thread, recorder.events().first().thread);
        EXPECT_LE(event.id, event.currentAtDelivery);
        EXPECT_LT(event.currentAtDelivery - event.id, historyDistance) << "a live event";
    }
    EXPECT_FALSE(recorder.events().first().path.endsWith('/'));
}

TEST_F(FileSystemEventStreamTest, SendsTheFirstChangeAtOnceAndCoalescesTheRest)
{
    const QString busy = makeFolder("busy");
    const QString other = makeFolder("other");
    // Far longer than the test: held changes come out only through a flush.
    const auto stream = startedStream(600);

    write(busy + "/file");
    ASSERT_TRUE(recorder.waitFor(busy));
    for (int i = 0; i < 50; ++i)
        write(busy + "/file");
    ASSERT_TRUE(stream->flushSync());
    ASSERT_TRUE(recorder.waitFor(busy, 2));

    // Nothing more is held for the busy folder: a later flush brings only the other folder.
    write(other + "/file");
    ASSERT_TRUE(recorder.waitFor(other));
    ASSERT_TRUE(stream->flushAsync());
    write(other + "/second");
    ASSERT_TRUE(stream->flushSync());
    ASSERT_TRUE(recorder.waitFor(other, 2));
    EXPECT_EQ(recorder.count(busy), 2);
}

TEST_F(FileSystemEventStreamTest, WatchesNewFoldersButNoDotFolders)
{
    makeFolder(".config/app");
    const auto stream = startedStream(0.1);

    const QString fresh = makeFolder("fresh/deeper");
    write(fresh + "/early.txt");
    ASSERT_TRUE(recorder.waitFor(fresh));
    const qsizetype before = recorder.count(fresh);
    write(fresh + "/later.txt");
    ASSERT_TRUE(recorder.waitFor(fresh, before + 1));

    const QString dotted = makeFolder(".new");
    write(home.filePath(".config/app/settings"));
    write(dotted + "/file");
    const QString marker = makeFolder("marker");
    write(marker + "/file");
    ASSERT_TRUE(stream->flushSync());
    ASSERT_TRUE(recorder.waitFor(marker));
    EXPECT_EQ(recorder.count(home.filePath(".config/app")), 0);
    EXPECT_EQ(recorder.count(dotted), 0);
}

TEST_F(FileSystemEventStreamTest, DropsEventsWhoseRawPathHasAnExcludedPrefix)
{
    const QString skipped = makeFolder("skip");
    const QString kept = makeFolder("skipper");
    auto stream = std::make_unique<FileSystemEventStream>();
    EXPECT_EQ(stream->pathsToExclude(), QStringList{"/private/"});
    stream->setPathsToExclude({skipped + "/"});
    stream->setDelegate(&recorder);
    stream->setLatency(0.1);
    ASSERT_TRUE(stream->start({home.path() + "/"}));

    write(skipped + "/file");
    write(kept + "/file");
    ASSERT_TRUE(recorder.waitFor(kept));
    ASSERT_TRUE(stream->flushSync());
    const QString marker = makeFolder("marker");
    write(marker + "/file");
    ASSERT_TRUE(recorder.waitFor(marker));
    EXPECT_EQ(recorder.count(skipped), 0);
    EXPECT_EQ(
        stream->description(),
        QString("FS event stream - watchedPaths = (%1/), excludedPaths = (%2/)").arg(home.path(), skipped));
}

TEST_F(FileSystemEventStreamTest, ReplaysFoldersChangedWhileNotRunning)
{
    const QString live = makeFolder("live");
    const QString meanwhile = makeFolder("meanwhile");
    quint64 lastHandled;
    {
        const auto first = startedStream(0.1);
        write(live + "/file");
        ASSERT_TRUE(recorder.waitFor(live));
        lastHandled = recorder.events().last().id;
    }
    write(meanwhile + "/changed.txt");

    const qsizetype earlier = recorder.events().size();
    const auto second = startedStream(0.1, lastHandled);
    ASSERT_TRUE(waitUntil([&] {
        const QList<Received> events = recorder.events();
        return std::any_of(events.begin() + earlier, events.end(),
                           [](const Received &event) { return event.flags & FileSystemEvent::HistoryDone; });
    }));
    write(live + "/after");
    ASSERT_TRUE(recorder.waitFor(live, 2));

    const QList<Received> events = recorder.events().mid(earlier);
    const auto done = std::find_if(events.begin(), events.end(), [](const Received &event) {
        return event.flags & FileSystemEvent::HistoryDone;
    });
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

TEST_F(FileSystemEventStreamTest, KeepsIdsGrowingAcrossInstancesSharingAStateFile)
{
    const QString folder = makeFolder("folder");
    quint64 previous = 0;
    for (int run = 0; run < 3; ++run) {
        const auto stream = startedStream(0.1);
        EXPECT_GT(stream->currentEventID(), previous);
        write(folder + "/file" + QString::number(run));
        ASSERT_TRUE(recorder.waitFor(folder, run + 1));
        const quint64 id = recorder.events().last().id;
        EXPECT_GT(id, previous);
        previous = id;
    }
    FileSystemEventStream idle;
    EXPECT_GT(idle.currentEventID(), previous);
}

TEST_F(FileSystemEventStreamTest, StartsAfreshAboveTheSavedPositionWhenItsStateIsCorrupt)
{
    const QString folder = makeFolder("folder");
    QDir().mkpath(QFileInfo(FileSystemEventStream::defaultStateFile()).path());
    QFile state(FileSystemEventStream::defaultStateFile());
    ASSERT_TRUE(state.open(QIODevice::WriteOnly));
    state.write("not a property list");
    state.close();
    const quint64 saved = 5'000'000;

    testing::internal::CaptureStderr();
    const auto stream = startedStream(0.1, saved);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("Event ids start afresh"), std::string::npos) << log;

    write(folder + "/file");
    ASSERT_TRUE(recorder.waitFor(folder));
    for (const Received &event : recorder.events())
        EXPECT_GT(event.id, saved);
}

TEST_F(FileSystemEventStreamTest, StopsStartsAndShutsDown)
{
    const QString folder = makeFolder("folder");
    const QString whileStopped = makeFolder("whileStopped");
    const auto stream = startedStream(0.1);

    EXPECT_TRUE(stream->stop());
    EXPECT_FALSE(stream->isActive());
    EXPECT_FALSE(stream->flushSync());
    EXPECT_FALSE(stream->flushAsync());
    write(whileStopped + "/file");

    ASSERT_TRUE(stream->start({home.path()}));
    write(folder + "/file");
    ASSERT_TRUE(recorder.waitFor(folder));
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
    const QString folder = makeFolder("folder");
    const auto stream = startedStream(0.1);

    testing::internal::CaptureStderr();
    stream->stopOnThread();
    stream->startOnThread({home.path() + "/folder"});
    const QString log = QString::fromStdString(testing::internal::GetCapturedStderr());

    EXPECT_EQ(log.count("only call this call on worker thread. Use the public api"), 2);
    EXPECT_TRUE(stream->isActive());
    EXPECT_EQ(stream->pathsToWatch(), QStringList{"/"});
    write(folder + "/file");
    EXPECT_TRUE(recorder.waitFor(folder));
}

TEST_F(FileSystemEventStreamTest, MayBeStoppedByItsDelegate)
{
    const QString folder = makeFolder("folder");
    recorder.onEvent = [](const FileSystemEvent &, FileSystemEventStream &stream) { stream.stop(); };
    const auto stream = startedStream(0.1);

    write(folder + "/file");
    write(home.filePath("second"));
    ASSERT_TRUE(waitUntil([&] { return !stream->isActive(); }));
    EXPECT_EQ(recorder.events().size(), 1);
}

TEST_F(FileSystemEventStreamTest, AsksForAFullScanWhenTheKernelDropsChanges)
{
    const QString flood = makeFolder("flood");
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
    write(flood + "/first");
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

TEST(FileSystemEventStream, StepsAMillionEventsBack)
{
    EXPECT_EQ(FileSystemEventStream::pastEventID(999'999), 10u);
    EXPECT_EQ(FileSystemEventStream::pastEventID(1'000'000), 0u);
    EXPECT_EQ(FileSystemEventStream::pastEventID(5'000'000), 4'000'000u);

    TemporaryHome home;
    FileSystemEventStream &shared = FileSystemEventStream::defaultFileSystemEventStream();
    EXPECT_EQ(&shared, &FileSystemEventStream::defaultFileSystemEventStream());
    EXPECT_EQ(FileSystemEventStream::getPastEventID(86400.0),
              FileSystemEventStream::pastEventID(shared.currentEventID()));
    EXPECT_EQ(FileSystemEventStream::getPastEventID(1.0), FileSystemEventStream::getPastEventID(86400.0));
}

TEST(FileSystemEvent, RoundTripsItsDictionaryForm)
{
    const FileSystemEvent event(0xFFFF'FFFF'0000'0001ULL, "/home/a", 0x8000'0010u);
    const QVariantMap dict = event.asDict();
    EXPECT_EQ(dict.keys(), QStringList({"evFlag", "evId", "evPath"}));

    const FileSystemEvent copy = FileSystemEvent::initWithDict(dict);
    EXPECT_EQ(copy.evId(), event.evId());
    EXPECT_EQ(copy.evPath(), event.evPath());
    EXPECT_EQ(copy.evFlag(), event.evFlag());
    EXPECT_EQ(FileSystemEvent(7, "/a", 0x10).description(), "FS Event- evID= 7, evPath= /a, evFlag= 16");
}

} // namespace
