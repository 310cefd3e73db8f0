#include "ProcessResult.h"
#include "RunningVantry.h"
#include "TemporaryHome.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

// Waits for a list printed by `vantry watch --json` for which `wanted` holds.
bool waitForList(RunningVantry &watch, const std::function<bool(const QJsonArray &)> &wanted)
{
    return watch.waitForLine(
        [&](const QByteArray &line) { return wanted(QJsonDocument::fromJson(line).array()); });
}

bool hasEntry(const QJsonArray &list, const QString &path, int count = 1)
{
    return std::any_of(list.begin(), list.end(), [&](const QJsonValue &entry) {
        return entry["path"].toString() == path && entry["count"].toInt() == count;
    });
}

void write(const QString &path)
{
    QDir().mkpath(path.left(path.lastIndexOf(u'/')));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("text");
}

TEST(WatchAndRecentCommands, WatchPrintsChangesAndRecentShowsTheSavedState)
{
    TemporaryHome home;
    QDir().mkpath(home.filePath("Documents/Trip"));
    {
        RunningVantry watch({"watch", "--json"});
        ASSERT_TRUE(waitForList(watch, [](const QJsonArray &list) { return list.isEmpty(); }));
        write(home.filePath("Documents/plan.txt"));
        ASSERT_TRUE(waitForList(watch, [&](const QJsonArray &list) {
            return hasEntry(list, home.filePath("Documents/plan.txt"));
        }));
        for (const char *name : {"1.jpg", "2.jpg", "3.jpg", "4.jpg"})
            write(home.filePath(QStringLiteral("Documents/Trip/") + name));
        ASSERT_TRUE(waitForList(watch, [&](const QJsonArray &list) {
            return hasEntry(list, home.filePath("Documents/Trip"), 4);
        }));
        EXPECT_EQ(watch.terminate(), 0);
    }
    EXPECT_TRUE(QFile::exists(home.filePath(".local/share/Vantry/recentItems.plist")));

    const ProcessResult text = runVantry({"recent"});
    ASSERT_EQ(text.status, 0) << text.err.toStdString();
    EXPECT_TRUE(text.out.contains((home.filePath("Documents/Trip") + "\tstack of 4\n").toUtf8()))
        << text.out.toStdString();
    EXPECT_TRUE(text.out.contains((home.filePath("Documents/plan.txt") + "\n").toUtf8()));

    const ProcessResult json = runVantry({"recent", "--json"});
    ASSERT_EQ(json.status, 0);
    const QJsonArray list = QJsonDocument::fromJson(json.out).array();
    const auto found = std::find_if(list.begin(), list.end(), [&](const QJsonValue &entry) {
        return entry["path"].toString() == home.filePath("Documents/Trip");
    });
    ASSERT_NE(found, list.end());
    const QJsonObject trip = (*found).toObject();
    EXPECT_TRUE(trip["stack"].toBool());
    EXPECT_EQ(trip["members"].toArray().size(), 4);
    EXPECT_TRUE(trip["date"].toString().endsWith('Z'));

    const ProcessResult folder = runVantry({"recent", "--folder", home.filePath("Documents/Trip/")});
    ASSERT_EQ(folder.status, 0);
    EXPECT_EQ(folder.out.count('\n'), 4) << folder.out.toStdString();
    EXPECT_FALSE(folder.out.contains("stack of"));
}

TEST(WatchAndRecentCommands, ADamagedStateIsReportedAndReset)
{
    TemporaryHome home;
    write(home.filePath(".local/share/Vantry/recentItems.plist"));
    const ProcessResult recent = runVantry({"recent"});
    EXPECT_EQ(recent.status, 0);
    EXPECT_TRUE(recent.out.isEmpty());
    EXPECT_TRUE(recent.err.contains("recent events have been reset, ")) << recent.err.toStdString();
    EXPECT_FALSE(QFile::exists(home.filePath(".local/share/Vantry/recentItems.plist")));

    EXPECT_EQ(runVantry({"recent", "--folder"}).status, 2);
    EXPECT_EQ(runVantry({"watch", "extra"}).status, 2);
}

} // namespace
