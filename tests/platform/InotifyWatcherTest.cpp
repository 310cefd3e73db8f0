#include "InotifyWatcher.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

class InotifyWatcherTest : public ::testing::Test {
protected:
    QString makeFolder(const QString &relative)
    {
        const QString path = home.filePath(relative);
        QDir().mkpath(path);
        return path;
    }

    void touch(const QString &path)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Append));
        file.write("x");
    }

    // Reads changes until `folder` is among them; everything read is kept in `seen`.
    bool waitForChange(InotifyWatcher &watcher, const QString &folder)
    {
        return waitUntil([&] {
            const InotifyWatcher::Changes changes = watcher.readChanges();
            seen += changes.folders;
            overflowed = overflowed || changes.overflowed;
            return seen.contains(folder);
        });
    }

    TemporaryHome home;
    QStringList seen;
    bool overflowed = false;
};

TEST_F(InotifyWatcherTest, WatchesTheTreeButNotDotFolders)
{
    const QString root = makeFolder("tree");
    makeFolder("tree/a/b");
    makeFolder("tree/.cache/inner");
    makeFolder("tree/a/.git");

    InotifyWatcher watcher;
    ASSERT_TRUE(watcher.isValid());
    watcher.watchTree(root);

    EXPECT_EQ(watcher.watchCount(), 3);
    EXPECT_TRUE(watcher.isWatched(root + "/a/b"));
    EXPECT_FALSE(watcher.isWatched(root + "/.cache"));
    EXPECT_FALSE(watcher.isWatched(root + "/.cache/inner"));
    EXPECT_FALSE(watcher.isWatched(root + "/a/.git"));
}

TEST_F(InotifyWatcherTest, ReportsTheFolderOfAChangedFile)
{
    const QString root = makeFolder("tree");
    const QString folder = makeFolder("tree/docs");
    InotifyWatcher watcher;
    watcher.watchTree(root);

    touch(folder + "/note.txt");

    ASSERT_TRUE(waitForChange(watcher, folder));
    EXPECT_FALSE(seen.contains(root)) << "only the folder holding the file changed";
}

TEST_F(InotifyWatcherTest, WatchesNewFoldersAndReportsWhatTheyHold)
{
    const QString root = makeFolder("tree");
    InotifyWatcher watcher;
    watcher.watchTree(root);

    // The deeper folders and the file may well exist before the watcher hears of the first folder.
    makeFolder("tree/new/deeper");
    touch(root + "/new/deeper/early.txt");
    makeFolder("tree/.hidden");

    ASSERT_TRUE(waitForChange(watcher, root + "/new/deeper"));
    EXPECT_TRUE(seen.contains(root));
    EXPECT_TRUE(watcher.isWatched(root + "/new"));
    EXPECT_TRUE(watcher.isWatched(root + "/new/deeper"));

    // Wait until the dot-folder's creation has been read too.
    seen.clear();
    touch(root + "/marker");
    ASSERT_TRUE(waitForChange(watcher, root));
    EXPECT_FALSE(watcher.isWatched(root + "/.hidden"));

    seen.clear();
    touch(root + "/new/deeper/later.txt");
    EXPECT_TRUE(waitForChange(watcher, root + "/new/deeper"));
}

TEST_F(InotifyWatcherTest, FollowsRenamedFoldersAndDropsRemovedOnes)
{
    const QString root = makeFolder("tree");
    makeFolder("tree/old/inner");
    makeFolder("tree/doomed/inner");
    InotifyWatcher watcher;
    watcher.watchTree(root);
    ASSERT_EQ(watcher.watchCount(), 5);

    ASSERT_TRUE(QDir(root).rename("old", "renamed"));
    ASSERT_TRUE(QDir(root + "/doomed").removeRecursively());
    touch(root + "/marker");
    ASSERT_TRUE(waitForChange(watcher, root));
    // Removed folders' watches go with the kernel's notice of it, which may come in a later read.
    ASSERT_TRUE(waitUntil([&] {
        watcher.readChanges();
        return watcher.watchCount() == 3;
    }));

    EXPECT_FALSE(watcher.isWatched(root + "/old/inner"));
    EXPECT_TRUE(watcher.isWatched(root + "/renamed/inner"));
    EXPECT_FALSE(watcher.isWatched(root + "/doomed"));

    seen.clear();
    touch(root + "/renamed/inner/file");
    EXPECT_TRUE(waitForChange(watcher, root + "/renamed/inner"));
    EXPECT_FALSE(seen.contains(root + "/old/inner"));
}

TEST_F(InotifyWatcherTest, StopsAtTheWatchBudgetAndSaysSoOnce)
{
    const QString root = makeFolder("tree");
    makeFolder("tree/a/b/c");
    makeFolder("tree/d");

    testing::internal::CaptureStderr();
    InotifyWatcher watcher(3);
    watcher.watchTree(root);
    makeFolder("tree/e");
    touch(root + "/marker");
    ASSERT_TRUE(waitForChange(watcher, root));
    const QString log = QString::fromStdString(testing::internal::GetCapturedStderr());

    EXPECT_EQ(watcher.watchCount(), 3);
    EXPECT_FALSE(watcher.isWatched(root + "/e"));
    EXPECT_EQ(log.count("watch budget is used up"), 1) << log.toStdString();
}

TEST_F(InotifyWatcherTest, ReportsAnOverflowingQueueAndCatchesUpOnNewFolders)
{
    const QString root = makeFolder("tree");
    InotifyWatcher watcher;
    watcher.watchTree(root);

    QFile limit("/proc/sys/fs/inotify/max_queued_events");
    ASSERT_TRUE(limit.open(QIODevice::ReadOnly));
    const int queueLength = limit.readAll().trimmed().toInt();
    for (int i = 0; i <= queueLength; ++i) {
        const int fd =
            open(QFile::encodeName(root + "/f" + QString::number(i)).constData(), O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0);
        close(fd);
    }
    // Its creation is lost with the overflow.
    makeFolder("tree/late");

    ASSERT_TRUE(waitUntil([&] {
        overflowed = overflowed || watcher.readChanges().overflowed;
        return overflowed;
    }));
    EXPECT_TRUE(watcher.isWatched(root + "/late"));
}

} // namespace
