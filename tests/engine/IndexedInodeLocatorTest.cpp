#include "IndexedInodeLocator.h"

#include "MetadataCrawler.h"
#include "MetadataIndex.h"
#include "TemporaryHome.h"
#include "XPSimpleUtils.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

class IndexedInodeLocatorTest : public ::testing::Test {
protected:
    void SetUp() override { IndexedInodeLocator::install(); }
    void TearDown() override { XPSimpleUtils::setInodeLocator({}); }

    void crawl()
    {
        const QString database = MetadataCrawler::defaultDatabasePath();
        QDir().mkpath(QFileInfo(database).path());
        MetadataIndex index;
        ASSERT_TRUE(index.open(database)) << index.errorText().toStdString();
        MetadataCrawler crawler(index);
        ASSERT_TRUE(crawler.update({home.path()})) << crawler.errorText().toStdString();
    }

    void move(const QString &from, const QString &to)
    {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(to).path()));
        ASSERT_TRUE(QFile::rename(from, to));
    }

    QString resolved(const QByteArray &alias, qint16 expectedError)
    {
        qint16 error = XPSimpleUtils::paramErr;
        const QString path = XPSimpleUtils::resolveAliasDataToPath(alias, error);
        EXPECT_EQ(error, expectedError);
        return path;
    }

    TemporaryHome home;
};

TEST_F(IndexedInodeLocatorTest, FindsAFileMovedToAnotherFolderOnlyWhereTheIndexSawIt)
{
    const QString original = home.writeFile("inbox/report.txt");
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(original);
    const QString filed = home.filePath("archive/2024/report-final.txt");
    move(original, filed);

    // No index yet: the file is lost, and looking did not create an index.
    EXPECT_EQ(resolved(alias, XPSimpleUtils::fnfErr), QString());
    EXPECT_FALSE(QFileInfo::exists(MetadataCrawler::defaultDatabasePath()));

    crawl();
    EXPECT_EQ(resolved(alias, XPSimpleUtils::noErr), filed);

    // Moved again since the crawl: the index's path no longer holds the file, and a new file there is not it.
    move(filed, home.filePath("elsewhere/report.txt"));
    home.writeFile("archive/2024/report-final.txt");
    EXPECT_EQ(resolved(alias, XPSimpleUtils::fnfErr), QString());

    XPSimpleUtils::setInodeLocator({});
    crawl();
    EXPECT_EQ(resolved(alias, XPSimpleUtils::fnfErr), QString());
}

} // namespace
