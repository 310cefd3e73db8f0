#include "CrawledHomeTest.h"
#include "ExtendedAttributes.h"

#include <gtest/gtest.h>

namespace {

class MetadataCrawlerTest : public CrawledHomeTest {};

TEST_F(MetadataCrawlerTest, CrawlsNamesSizesTypesTagsAndContent)
{
    write("docs/notes.txt", "Quarterly figures, draft");
    write("docs/sub/big.bin", QByteArray(5000, 'x'));
    const QString photo = write("photos/beach.jpg", "\xff\xd8\xff");
    write(".private/secret.txt", "not for the index");
    write("docs/.hidden.txt", "nor this");
    ASSERT_TRUE(QFile::link(home.filePath("docs/notes.txt"), home.filePath("docs/link.txt")));
    ASSERT_EQ(ExtendedAttributes::setValue(photo, "xdg.tags", "holiday,sea"), 0);

    QStringList folders;
    crawler.setProgressCallback([&](qint64, const QString &folder) { folders.append(folder); });
    ASSERT_TRUE(crawler.rebuild({home.path()})) << crawler.errorText().toStdString();

    EXPECT_EQ(find("kMDItemFSName == \"*.txt\""), QStringList{"docs/notes.txt"});
    EXPECT_EQ(find("kMDItemFSSize > 4000"), QStringList{"docs/sub/big.bin"});
    EXPECT_EQ(find("kMDItemUserTags == holiday"), QStringList{"photos/beach.jpg"});
    EXPECT_EQ(find("kMDItemContentTypeTree == public.image"), QStringList{"photos/beach.jpg"});
    EXPECT_EQ(find("kMDItemTextContent == \"quarter*\"cw"), QStringList{"docs/notes.txt"});
    EXPECT_EQ(find("kMDItemContentType == public.folder"), (QStringList{".", "docs", "docs/sub", "photos"}));
    EXPECT_FALSE(folders.contains(home.filePath(".private")));
    EXPECT_TRUE(folders.contains(home.filePath("docs/sub")));

    const MetadataCrawler::Status status = crawler.status();
    EXPECT_EQ(status.filesIndexed, 7); // the home, three folders, three files
    EXPECT_GT(status.databaseSize, 0);
    EXPECT_LE(qAbs(status.lastUpdate.secsTo(QDateTime::currentDateTimeUtc())), 60);
    EXPECT_FALSE(status.crawlInProgress);
}

TEST_F(MetadataCrawlerTest, UpdatesFollowRenamesDeletionsNewFoldersAndRetagging)
{
    write("docs/notes.txt", "a");
    write("docs/sub/deep/report.pdf", "%PDF");
    const QString photo = write("photos/beach.jpg", "b");
    ASSERT_TRUE(crawler.update({home.path()})) << crawler.errorText().toStdString();

    ASSERT_TRUE(QFile::rename(home.filePath("docs/notes.txt"), home.filePath("docs/minutes.txt")));
    ASSERT_TRUE(QDir().rename(home.filePath("docs/sub"), home.filePath("docs/moved")));
    write("docs/new/inner/fresh.txt", "c");
    write("docs/.cache/skip.txt", "d");
    ASSERT_TRUE(QFile::remove(photo));
    ASSERT_TRUE(crawler.updateFolder(home.filePath("docs")));
    ASSERT_TRUE(crawler.updateFolder(home.filePath("photos")));

    EXPECT_EQ(find("kMDItemFSName == \"*.txt\" || kMDItemFSName == \"*.pdf\" || kMDItemFSName == \"*.jpg\""),
              (QStringList{"docs/minutes.txt", "docs/moved/deep/report.pdf", "docs/new/inner/fresh.txt"}));
    EXPECT_TRUE(find("kMDItemPath == \"*/sub*\"").isEmpty());

    // A tag write changes no content, only the status-change time.
    ASSERT_EQ(SystemTags::setNames(home.filePath("docs/minutes.txt"), {"done"}), 0);
    ASSERT_TRUE(crawler.updateFolder(home.filePath("docs")));
    EXPECT_EQ(find("kMDItemUserTags == done"), QStringList{"docs/minutes.txt"});

    // A vanished folder goes with everything below it; a single item is re-read or dropped.
    ASSERT_TRUE(QDir(home.filePath("docs/new")).removeRecursively());
    ASSERT_TRUE(crawler.updateFolder(home.filePath("docs/new")));
    EXPECT_TRUE(find("kMDItemPath == \"*/new*\"").isEmpty());
    ASSERT_TRUE(QFile::remove(home.filePath("docs/minutes.txt")));
    ASSERT_TRUE(crawler.updateItem(home.filePath("docs/minutes.txt")));
    EXPECT_TRUE(find("kMDItemFSName == minutes.txt").isEmpty());

    // A rebuild keeps only what lies below its roots.
    ASSERT_TRUE(crawler.rebuild({home.filePath("docs")}));
    EXPECT_EQ(find("kMDItemFSName == \"*\""),
              (QStringList{"docs", "docs/moved", "docs/moved/deep", "docs/moved/deep/report.pdf"}));
}

} // namespace
