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
    InotifyWatcherTest()
    {
        for (const char *folder : {"a/b", ".cache/inner", "a/.git"})
            QDir().mkpath(root + "/" + folder);
    }

    // Reads changes until `folder` is among them; everything read is kept in `seen`.
    bool waitForChange(const QString &folder)
    {
        return waitUntil([&] {
            seen += watcher.readChanges().folders;
            return seen.contains(folder);
        });
    }

    TemporaryHome home;
    const QString root = home.filePath("tree");
    InotifyWatcher watcher;
    QStringList seen;
};

TEST_F(InotifyWatcherTest, WatchesTheTreeButNotDotFoldersAndReportsTheFolderOfAChange)
{
    ASSERT_TRUE(watcher.isValid());
    watcher.watchTree(root);
    EXPECT_EQ(watcher.watchCount(), 3);
    EXPECT_TRUE(watcher.isWatched(root + "/a/b"));
    EXPECT_FALSE(watcher.isWatched(root + "/.cache"));
    EXPECT_FALSE(watcher.isWatched(root + "/.cache/inner"));
    EXPECT_FALSE(watcher.isWatched(root + "/a/.git"));

    home.writeFile("tree/a/note.txt");
    ASSERT_TRUE(waitForChange(root + "/a"));
    EXPECT_FALSE(seen.contains(root)) << "only the folder holding the file changed";
}

TEST_F(InotifyWatcherTest, WatchesNewFoldersAndReportsWhatTheyHold)
{
    watcher.watchTree(root);
    // The deeper folders and the file may well exist before the watcher hears of the first folder.
    home.writeFile("tree/new/deeper/early.txt");
    QDir().mkpath(root + "/.hidden");
    ASSERT_TRUE(waitForChange(root + "/new/deeper"));
    EXPECT_TRUE(seen.contains(root));
    EXPECT_TRUE(watcher.isWatched(root + "/new"));
    EXPECT_TRUE(watcher.isWatched(root + "/new/deeper"));

    // Once a later change is read, so is the dot-folder's creation.
    seen.clear();
    home.writeFile("tree/marker");
    ASSERT_TRUE(waitForChange(root));
    EXPECT_FALSE(watcher.isWatched(root + "/.hidden"));
    seen.clear();
    home.writeFile("tree/new/deeper/later.txt");
    EXPECT_TRUE(waitForChange(root + "/new/deeper"));
}

TEST_F(InotifyWatcherTest, FollowsRenamedFoldersAndDropsRemovedOnes)
{
    QDir().mkpath(root + "/doomed/inner");
    watcher.watchTree(root);
    ASSERT_EQ(watcher.watchCount(), 5);

    ASSERT_TRUE(QDir(root).rename("a", "renamed"));
    ASSERT_TRUE(QDir(root + "/doomed").removeRecursively());
    home.writeFile("tree/marker");
    ASSERT_TRUE(waitForChange(root));
    // Removed folders' watches go with the kernel's notice of it, which may come in a later read.
    ASSERT_TRUE(waitUntil([&] {
        watcher.readChanges();
        return watcher.watchCount() == 3;
    }));
    EXPECT_FALSE(watcher.isWatched(root + "/a/b"));
    EXPECT_TRUE(watcher.isWatched(root + "/renamed/b"));
    EXPECT_FALSE(watcher.isWatched(root + "/doomed"));

    seen.clear();
    home.writeFile("tree/renamed/b/file");
    EXPECT_TRUE(waitForChange(root + "/renamed/b"));
    EXPECT_FALSE(seen.contains(root + "/a/b"));
}

TEST_F(InotifyWatcherTest, StopsAtTheWatchBudgetAndSaysSoOnce)
{
    QDir().mkpath(root + "/d");
    testing::internal::CaptureStderr();
    InotifyWatcher limited(3);
    limited.watchTree(root);
    QDir().mkpath(root + "/e");
    home.writeFile("tree/marker");
    ASSERT_TRUE(waitUntil([&] { return limited.readChanges().folders.contains(root); }));
    const QString log = QString::fromStdString(testing::internal::GetCapturedStderr());
    EXPECT_EQ(limited.watchCount(), 3);
    EXPECT_FALSE(limited.isWatched(root + "/e"));
    EXPECT_EQ(log.count("watch budget is used up"), 1) << log.toStdString();
}

TEST_F(InotifyWatcherTest, ReportsAnOverflowingQueueAndCatchesUpOnNewFolders)
{
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
    QDir().mkpath(root + "/late");
    ASSERT_TRUE(waitUntil([&] { return watcher.readChanges().overflowed; }));
    EXPECT_TRUE(watcher.isWatched(root + "/late"));
}

} // namespace
