#include "HiddenFiles.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

TEST(HiddenFilesTest, HidesNamesListedOnTheirOwnLineInTheFolderHoldingThem)
{
    QTemporaryDir folder;
    EXPECT_FALSE(HiddenFiles::isListed(folder.filePath("backup")));
    EXPECT_FALSE(HiddenFiles::isListed("/"));
    EXPECT_FALSE(HiddenFiles::isListed(QString()));

    QFile list(folder.filePath(".hidden"));
    ASSERT_TRUE(list.open(QIODevice::WriteOnly));
    list.write("backup\nmy notes.txt\r\nünïcode\n");
    list.close();
    ASSERT_TRUE(QDir(folder.path()).mkdir("backup"));
    for (const char *name : {"backup", "my notes.txt", "ünïcode"})
        EXPECT_TRUE(HiddenFiles::isListed(folder.filePath(name))) << name;
    for (const char *name : {"back", "backup2", "notes.txt", "backup/backup"})
        EXPECT_FALSE(HiddenFiles::isListed(folder.filePath(name))) << name;
}

} // namespace
