#include "MountTable.h"

#include "QtPrinters.h"
#include "TemporaryMount.h"
#include "WaitUntil.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace {

TEST(MountTableTest, FindsMountPointsAndTheFoldersOfRemovableVolumes)
{
    EXPECT_TRUE(MountTable::mountPoints().contains("/"));
    EXPECT_EQ(MountTable::mountPointOf("/proc/self/status"), "/proc");
    EXPECT_EQ(MountTable::mountPointOf("/proc"), "/proc");
    EXPECT_NE(MountTable::mountPointOf("/processes/x"), "/proc");
    EXPECT_TRUE(MountTable::isMountPoint("/proc"));
    EXPECT_FALSE(MountTable::isMountPoint("/proc/self"));

    const passwd *entry = getpwuid(geteuid());
    ASSERT_TRUE(entry);
    const QString user = QString::fromLocal8Bit(entry->pw_name);
    const QString media = "/media/" + user;
    EXPECT_EQ(MountTable::volumeFolderOf(media + "/STICK/a/b.txt"), media + "/STICK");
    EXPECT_EQ(MountTable::volumeFolderOf(media + "/STICK"), media + "/STICK");
    EXPECT_EQ(MountTable::volumeFolderOf("/run/media/" + user + "/My Disk/x"),
              "/run/media/" + user + "/My Disk");
    for (const QString &outside :
         QStringList{media, media + "/", "/media/someone-else-entirely/STICK/x", "/home/" + user + "/x"})
        EXPECT_EQ(MountTable::volumeFolderOf(outside), QString()) << outside.toStdString();
    EXPECT_TRUE(MountTable::isOnMissingVolume(media + "/VantryNoSuchVolume/x"));
    EXPECT_FALSE(MountTable::isOnMissingVolume("/usr/bin/env"));
}

TEST(MountTableTest, ReportsMountsAndUnmountsWithEscapedNames)
{
    QTemporaryDir scratch;
    const QString folder = scratch.filePath("volume with\ttab and space");
    ASSERT_TRUE(QDir().mkpath(folder));
    MountTable table;
    int changes = 0;
    QObject::connect(&table, &MountTable::changed, [&] { ++changes; });

    EXPECT_FALSE(MountTable::isMountPoint(folder));
    TemporaryMount mount(folder);
    if (!mount.isMounted())
        GTEST_SKIP() << "cannot mount here";
    // The queries see the change at once, before any event is delivered.
    EXPECT_TRUE(MountTable::isMountPoint(folder));
    EXPECT_EQ(MountTable::mountPointOf(folder + "/inside"), folder);
    ASSERT_TRUE(waitUntil([&] { return changes > 0; }));
    const int afterMount = changes;
    mount.unmount();
    ASSERT_TRUE(waitUntil([&] { return changes > afterMount; }));
    EXPECT_FALSE(MountTable::isMountPoint(folder));
}

} // namespace
