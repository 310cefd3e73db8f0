#include "MetadataIndexFeeder.h"

#include "ExtendedAttributes.h"
#include "MetadataIndex.h"
#include "QueryParser.h"
#include "TemporaryHome.h"
#include "WaitUntil.h"

#include <QDir>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

QStringList search(const QString &expression)
{
    MetadataIndex index;
    if (!index.open(MetadataCrawler::defaultDatabasePath()))
        return {"cannot open"};
    return index.search(QueryParser::parse(expression).root, QString(), 0, QDateTime::currentDateTimeUtc())
        .value_or(QStringList{"failed"});
}

// Vantry's own attribute writes reach the index without the event stream; what the crawler would not index
// stays out.
TEST(MetadataIndexFeeder, TakesInOwnWritesAndOpenedDocumentsAtOnce)
{
    TemporaryHome home;
    MetadataIndexFeeder feeder;
    feeder.setAttributeReader([](const QString &path, QVariantMap &attributes) {
        int error = 0;
        if (ExtendedAttributes::names(path, &error).contains("test.flag"))
            attributes.insert("kMDItemFinderComment", "flagged");
    });
    ASSERT_TRUE(feeder.start());
    QSignalSpy updates(&feeder, &MetadataIndexFeeder::indexUpdated);

    const QString report = home.writeFile("Documents/report.txt");
    ASSERT_EQ(ExtendedAttributes::setValue(report, "test.flag", "1"), 0);
    ASSERT_TRUE(waitUntil([&] { return search("kMDItemFinderComment == flagged") == QStringList{report}; }));

    const QString hidden = home.writeFile(".config/app/notes.txt");
    const QString outside = QDir::temp().filePath("vantry-feeder-outside.txt");
    feeder.reindexItems({hidden, outside, "relative.txt"});
    const QString opened = home.writeFile("Documents/opened.txt");
    feeder.reindexItems({opened});
    ASSERT_TRUE(waitUntil([&] { return search("kMDItemFSName == opened.txt") == QStringList{opened}; }));
    EXPECT_TRUE(search("kMDItemFSName == notes.txt").isEmpty());
    EXPECT_FALSE(updates.isEmpty());

    // A catch-up finds what changed while nobody watched, and what went away.
    QFile::remove(opened);
    const QString later = home.writeFile("Music/later.txt");
    feeder.catchUp();
    EXPECT_TRUE(waitUntil([&] {
        const QStringList texts = search("kMDItemFSName == \"*.txt\"");
        return QSet<QString>(texts.begin(), texts.end()) == QSet<QString>({report, later});
    }));
}

} // namespace
