#include "ProcessResult.h"
#include "RunningVantry.h"
#include "TemporaryHome.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

TEST(QueryLive, FollowsCreateRenameRetagAndDeleteUnderTheEventStream)
{
    TemporaryHome home;
    const QString old = home.writeFile("Documents/old.txt");
    const QString plan = home.writeFile("Documents/plan.pdf");
    ASSERT_EQ(runVantry({"index", "update"}).status, 0);

    RunningVantry live({"query", "--live", "kMDItemFSName == \"*.txt\" || kMDItemUserTags == work"});
    ASSERT_TRUE(live.waitForLine(old.toUtf8()));

    const QString created = home.writeFile("Documents/new.txt");
    EXPECT_TRUE(live.waitForLine("+ " + created.toUtf8()));

    const QString renamed = home.filePath("Documents/renamed.txt");
    ASSERT_TRUE(QFile::rename(created, renamed));
    EXPECT_TRUE(live.waitForLine("- " + created.toUtf8()));
    EXPECT_TRUE(live.lines().contains("+ " + renamed.toUtf8()) || live.waitForLine("+ " + renamed.toUtf8()));

    // A tag write changes no content: the status-change date tells.
    ASSERT_EQ(runVantry({"tags", "set", "work", renamed}).status, 0);
    EXPECT_TRUE(live.waitForLine("~ " + renamed.toUtf8()));
    ASSERT_EQ(runVantry({"tags", "set", "work", plan}).status, 0);
    EXPECT_TRUE(live.waitForLine("+ " + plan.toUtf8()));
    ASSERT_EQ(runVantry({"tags", "remove", "work", plan}).status, 0);
    EXPECT_TRUE(live.waitForLine("- " + plan.toUtf8()));

    ASSERT_TRUE(QFile::remove(renamed));
    EXPECT_TRUE(live.waitForLine("- " + renamed.toUtf8()));

    // A renamed folder takes its files along.
    ASSERT_TRUE(QDir().rename(home.filePath("Documents"), home.filePath("Papers")));
    EXPECT_TRUE(live.waitForLine("- " + old.toUtf8()));
    EXPECT_TRUE(live.lines().contains("+ " + home.filePath("Papers/old.txt").toUtf8()) ||
                live.waitForLine("+ " + home.filePath("Papers/old.txt").toUtf8()));
    EXPECT_EQ(live.terminate(), 0);

    // What the live query wrote stays in the index.
    EXPECT_EQ(runVantry({"query", "kMDItemFSName == \"*.txt\""}).out,
              home.filePath("Papers/old.txt").toUtf8() + '\n');
}

TEST(QueryLive, JsonLinesCarryTheChangeAndTheRecord)
{
    TemporaryHome home;
    QDir().mkpath(home.filePath("Documents"));
    ASSERT_EQ(runVantry({"index", "update"}).status, 0);
    RunningVantry live({"query", "--live", "--json", "kMDItemFSName == \"*.txt\""});
    ASSERT_TRUE(live.waitForLine("[]"));
    const QString created = home.writeFile("Documents/new.txt");
    ASSERT_TRUE(live.waitForLine([](const QByteArray &line) { return line.startsWith('{'); }));
    const QJsonObject change = QJsonDocument::fromJson(live.lines().last()).object();
    EXPECT_EQ(change.value("change").toString(), "+");
    EXPECT_EQ(change.value("path").toString(), created);
    EXPECT_EQ(change.value("uti").toString(), "public.plain-text");
    EXPECT_EQ(live.terminate(), 0);
}

} // namespace
