#include "ProcessResult.h"
#include "TemporaryHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

TEST(IndexCommand, IndexesTheHomeAndReportsItsStatus)
{
    TemporaryHome home;
    const QJsonObject before = QJsonDocument::fromJson(runVantry({"index", "status", "--json"}).out).object();
    EXPECT_EQ(before.value("filesIndexed").toInt(), 0);
    EXPECT_TRUE(before.value("lastUpdate").isNull());

    home.writeFile("docs/plan.txt");
    home.writeFile(".config/app/settings.txt");
    const ProcessResult update = runVantry({"index", "update"});
    ASSERT_EQ(update.status, 0) << update.err.toStdString();
    EXPECT_TRUE(update.err.isEmpty()); // no progress line off a terminal

    const QJsonObject after = QJsonDocument::fromJson(runVantry({"index", "status", "--json"}).out).object();
    EXPECT_EQ(after.value("filesIndexed").toInt(), 3); // the home, docs, plan.txt
    EXPECT_GT(after.value("databaseSize").toInteger(), 0);
    EXPECT_TRUE(after.value("lastUpdate").isString());
    EXPECT_FALSE(after.value("crawlInProgress").toBool());
    EXPECT_TRUE(runVantry({"index", "status"}).out.contains("files indexed: 3\n"));

    EXPECT_EQ(runVantry({"index", "update", home.filePath("missing")}).status, 1);
    EXPECT_EQ(runVantry({"index", "compact"}).status, 2);
}

TEST(QueryCommand, PrintsMatchesAsLinesOrJsonAndPointsAtMistakes)
{
    TemporaryHome home;
    const QString plan = home.writeFile("docs/plan.txt");
    const QString other = home.writeFile("work/plan-b.txt");
    EXPECT_EQ(runVantry({"query", "kMDItemFSName == plan.txt"}).status, 1); // no index yet
    ASSERT_EQ(runVantry({"tags", "set", "project", plan}).status, 0);
    ASSERT_EQ(runVantry({"index", "update"}).status, 0);

    EXPECT_EQ(runVantry({"query", "kMDItemUserTags == project"}).out, plan.toUtf8() + '\n');
    EXPECT_EQ(runVantry({"query", "--in", home.filePath("work"), "kMDItemFSName == \"plan*\""}).out,
              other.toUtf8() + '\n');
    EXPECT_EQ(runVantry({"query", "--max", "1", "kMDItemFSName == \"plan*\""}).out.count('\n'), 1);

    const ProcessResult json = runVantry({"query", "--json", "kMDItemFSName == plan.txt"});
    ASSERT_EQ(json.status, 0) << json.err.toStdString();
    const QJsonArray array = QJsonDocument::fromJson(json.out).array();
    ASSERT_EQ(array.size(), 1);
    const QJsonObject item = array.first().toObject();
    EXPECT_EQ(item.value("path").toString(), plan);
    EXPECT_EQ(item.value("name").toString(), "plan.txt");
    EXPECT_EQ(item.value("uti").toString(), "public.plain-text");
    EXPECT_TRUE(item.value("size").isDouble());
    EXPECT_TRUE(QDateTime::fromString(item.value("modified").toString(), Qt::ISODateWithMs).isValid());

    const ProcessResult malformed = runVantry({"query", "kMDItemFSName == \"plan"});
    EXPECT_EQ(malformed.status, 2);
    EXPECT_TRUE(malformed.err.contains("at column 18\n  kMDItemFSName == \"plan\n                   ^\n"))
        << malformed.err.toStdString();
}

} // namespace
