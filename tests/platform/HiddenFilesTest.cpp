#include "HiddenFiles.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class HiddenFilesTest : public ::testing::Test {
protected:
    void writeList(const QByteArray &text)
    {
        QFile file(folder.filePath(".hidden"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    QTemporaryDir folder;
};

TEST_F(HiddenFilesTest, NamesListedOnTheirOwnLineAreHidden)
{
    writeList("backup\nmy notes.txt\r\nünïcode\n");
    EXPECT_TRUE(HiddenFiles::isListed(folder.filePath("backup")));
    EXPECT_TRUE(HiddenFiles::isListed(folder.filePath("my notes.txt")));
    EXPECT_TRUE(HiddenFiles::isListed(folder.filePath("ünïcode")));
    EXPECT_FALSE(HiddenFiles::isListed(folder.filePath("back")));
    EXPECT_FALSE(HiddenFiles::isListed(folder.filePath("backup2")));
    EXPECT_FALSE(HiddenFiles::isListed(folder.filePath("notes.txt")));
}

TEST_F(HiddenFilesTest, OnlyTheFolderHoldingTheNameCounts)
{
    writeList("sub\n");
    ASSERT_TRUE(QDir(folder.path()).mkdir("sub"));
    EXPECT_TRUE(HiddenFiles::isListed(folder.filePath("sub")));
    EXPECT_FALSE(HiddenFiles::isListed(folder.filePath("sub/sub")));
}

TEST_F(HiddenFilesTest, NoListHidesNothing)
{
    EXPECT_FALSE(HiddenFiles::isListed(folder.filePath("anything")));
    EXPECT_FALSE(HiddenFiles::isListed("/"));
    EXPECT_FALSE(HiddenFiles::isListed(QString()));
}

} // namespace
