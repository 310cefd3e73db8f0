#include "RecentlyUsedFeed.h"

#include "AtomicFile.h"
#include "TemporaryHome.h"
#include "WaitUntil.h"

#include <QDateTime>
#include <QSignalSpy>
#include <QUrl>

#include <gtest/gtest.h>

namespace {

struct Bookmark {
    QString path;
    QDateTime modified;
    QDateTime applicationUse; // invalid: none
};

QByteArray xbel(const QList<Bookmark> &bookmarks)
{
    QByteArray text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xbel version=\"1.0\"\n"
                      "  xmlns:bookmark=\"http://www.freedesktop.org/standards/desktop-bookmarks\"\n"
                      "  xmlns:mime=\"http://www.freedesktop.org/standards/shared-mime-info\">\n";
    for (const Bookmark &bookmark : bookmarks) {
        text += "<bookmark href=\"" + QUrl::fromLocalFile(bookmark.path).toEncoded() + "\" added=\"" +
                bookmark.modified.toString(Qt::ISODateWithMs).toUtf8() + "\" modified=\"" +
                bookmark.modified.toString(Qt::ISODateWithMs).toUtf8() + "\" visited=\"" +
                bookmark.modified.toString(Qt::ISODateWithMs).toUtf8() +
                "\">\n<info><metadata owner=\"http://freedesktop.org\">"
                "<mime:mime-type type=\"text/plain\"/><bookmark:applications>";
        if (bookmark.applicationUse.isValid())
            text += "<bookmark:application name=\"editor\" exec=\"&apos;editor %u&apos;\" modified=\"" +
                    bookmark.applicationUse.toString(Qt::ISODateWithMs).toUtf8() + "\" count=\"2\"/>";
        text += "</bookmark:applications></metadata></info>\n</bookmark>\n";
    }
    return text + "</xbel>\n";
}

TEST(RecentlyUsedFeed, ReadsLocalEntriesWithTheirLatestUse)
{
    TemporaryHome home;
    const QDateTime earlier = QDateTime::currentDateTimeUtc().addDays(-2);
    const QDateTime later = earlier.addSecs(3600);
    ASSERT_TRUE(AtomicFile::write(
        RecentlyUsedFeed::defaultFile(),
        xbel({{home.filePath("a b.txt"), earlier, later}, {home.filePath("c.txt"), later, {}}})));
    const auto entries = RecentlyUsedFeed::readEntries(RecentlyUsedFeed::defaultFile());
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries[0].first, home.filePath("a b.txt"));
    EXPECT_EQ(entries[0].second.toSecsSinceEpoch(),
              later.toSecsSinceEpoch()); // the application's use is later
    EXPECT_EQ(entries[1].second.toSecsSinceEpoch(), later.toSecsSinceEpoch());

    EXPECT_TRUE(RecentlyUsedFeed::readEntries(home.filePath("missing.xbel")).isEmpty());
    ASSERT_TRUE(AtomicFile::write(home.filePath("broken.xbel"),
                                  xbel({{home.filePath("d.txt"), later, {}}}).left(300)));
    EXPECT_TRUE(RecentlyUsedFeed::readEntries(home.filePath("broken.xbel")).isEmpty());
}

TEST(RecentlyUsedFeed, ReportsOnlyUsesAfterItStarted)
{
    TemporaryHome home;
    const QDateTime old = QDateTime::currentDateTimeUtc().addDays(-1);
    const QString known = home.filePath("known.txt");
    ASSERT_TRUE(AtomicFile::write(RecentlyUsedFeed::defaultFile(), xbel({{known, old, {}}})));

    RecentlyUsedFeed feed;
    QSignalSpy used(&feed, &RecentlyUsedFeed::documentsUsed);
    ASSERT_TRUE(feed.start());

    // A new old entry is not news; a new recent one is added, a known one used again is changed. Writers
    // replace the file, which the feed must survive.
    const QDateTime now = QDateTime::currentDateTimeUtc().addSecs(1);
    ASSERT_TRUE(
        AtomicFile::write(RecentlyUsedFeed::defaultFile(), xbel({{known, old, now},
                                                                 {home.filePath("fresh.txt"), now, {}},
                                                                 {home.filePath("stale.txt"), old, {}}})));
    ASSERT_TRUE(waitUntil([&] { return used.count() >= 1; }));
    EXPECT_EQ(used.at(0).at(0).toStringList(), QStringList{home.filePath("fresh.txt")});
    EXPECT_EQ(used.at(0).at(1).toStringList(), QStringList{known});

    // Nothing advanced: nothing reported.
    ASSERT_TRUE(AtomicFile::write(RecentlyUsedFeed::defaultFile(),
                                  xbel({{known, old, now}, {home.filePath("fresh.txt"), now, {}}})));
    const QDateTime later = now.addSecs(5);
    ASSERT_TRUE(AtomicFile::write(RecentlyUsedFeed::defaultFile(),
                                  xbel({{known, old, now}, {home.filePath("fresh.txt"), later, {}}})));
    ASSERT_TRUE(waitUntil([&] { return used.count() >= 2; }));
    EXPECT_EQ(used.count(), 2);
    EXPECT_EQ(used.at(1).at(1).toStringList(), QStringList{home.filePath("fresh.txt")});
}

} // namespace
