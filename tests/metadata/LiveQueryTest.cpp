#include "LiveQuery.h"

#include "MetadataIndex.h"
#include "QueryParser.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

IndexedFile file(const QString &path, double modified, double changed)
{
    IndexedFile file;
    file.attributes = {{"kMDItemPath", path},
                       {"kMDItemFSName", path.section(u'/', -1)},
                       {"kMDItemContentModificationDate", QDateTime::fromSecsSinceEpoch(qint64(modified))},
                       {"kMDItemFSContentChangeDate", QDateTime::fromSecsSinceEpoch(qint64(changed))}};
    file.isFile = true;
    return file;
}

// Two connections to one database file, as the feeder and the live query have.
TEST(LiveQuery, ReportsWhatAnotherConnectionCommitted)
{
    QTemporaryDir folder;
    MetadataIndex writer, reader;
    ASSERT_TRUE(writer.open(folder.filePath("index.sqlite")));
    ASSERT_TRUE(reader.open(folder.filePath("index.sqlite")));
    ASSERT_TRUE(writer.putFile(file("/h/a.txt", 100, 100)));
    ASSERT_TRUE(writer.putFile(file("/h/b.txt", 100, 100)));
    ASSERT_TRUE(writer.putFile(file("/h/c.pdf", 100, 100)));

    LiveQuery query(reader, QueryParser::parse("kMDItemFSName == \"*.txt\"").root, "/h", 0);
    const std::optional<QStringList> first = query.start();
    ASSERT_TRUE(first);
    EXPECT_EQ(QSet<QString>(first->begin(), first->end()), QSet<QString>({"/h/a.txt", "/h/b.txt"}));
    ASSERT_TRUE(query.refresh());
    EXPECT_TRUE(query.refresh()->isEmpty());

    ASSERT_TRUE(writer.putFile(file("/h/a.txt", 100, 200))); // only the status changed: a tag write
    ASSERT_TRUE(writer.putFile(file("/h/c.pdf", 300, 300))); // changed, but no match before or after
    ASSERT_TRUE(writer.removeFile("/h/b.txt"));
    ASSERT_TRUE(writer.putFile(file("/h/d.txt", 100, 100)));
    ASSERT_TRUE(writer.putFile(file("/elsewhere/e.txt", 100, 100))); // outside the scope
    const std::optional<LiveQuery::Changes> changes = query.refresh();
    ASSERT_TRUE(changes);
    EXPECT_EQ(changes->added, QStringList{"/h/d.txt"});
    EXPECT_EQ(changes->changed, QStringList{"/h/a.txt"});
    EXPECT_EQ(changes->removed, QStringList{"/h/b.txt"});
    EXPECT_TRUE(query.refresh()->isEmpty());
}

} // namespace
