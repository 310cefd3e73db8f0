#include "VNRecentFiles.h"

#include "DefaultsTable.h"
#include "FileSystemEventStream.h"
#include "KeyedArchive.h"
#include "ReferenceTime.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

// A collector over a temporary home, with its own defaults, stream state and recent-items file.
class CollectorTest : public ::testing::Test {
protected:
    CollectorTest()
        : defaults(home.filePath(".config/Vantry/Vantry.plist")),
          stream(home.filePath(".local/share/Vantry/eventStream.plist"))
    {
        defaults.registerDefaults(DefaultsTable::registrationDomain());
        collector.emplace(defaults, stream, statePath());
    }

    QString statePath() const { return home.filePath(".local/share/Vantry/recentItems.plist"); }
    QString path(const QString &relative) const { return QDir::homePath() + QLatin1Char('/') + relative; }

    // Records an event of these files (relative paths) in `folder`, their facts read now.
    void record(const QString &folder, const QStringList &files)
    {
        QList<VNItemRef> items;
        for (const QString &file : files) {
            auto item = std::make_shared<VNItem>(path(folder + QLatin1Char('/') + file));
            item->calculateCache();
            items.append(item);
        }
        collector->addEvent(items, path(folder));
    }

    static QStringList paths(const QList<VNItemRef> &items) { return VNItem::pathsForItems(items); }

    TemporaryHome home;
    UserDefaults defaults;
    FileSystemEventStream stream;
    std::optional<VNRecentFiles> collector;
};

TEST_F(CollectorTest, ScanFindsChangedFilesAndStopsAfterTwentyOne)
{
    for (int i = 0; i < 25; ++i)
        home.writeFile(QStringLiteral("Many/file%1.txt").arg(i));
    home.writeFile("Many/.hidden.txt");
    QDir().mkpath(path("Many/subfolder"));
    QDir().mkpath(path("Many/Slides.key"));
    const double cutOff = ReferenceTime::now() - 60;
    const QList<VNItemRef> found = collector->scanDirectoryForChangedFiles(path("Many"), 20, cutOff);
    EXPECT_EQ(found.size(), 21);
    for (const QString &file : paths(found)) {
        EXPECT_FALSE(file.contains("/.")) << file.toStdString();
        EXPECT_FALSE(file.endsWith("subfolder"));
    }

    home.writeFile("Few/old.txt", 3600);
    home.writeFile("Few/new.txt");
    home.writeFile("Few/ignored.tmp");
    EXPECT_EQ(paths(collector->scanDirectoryForChangedFiles(path("Few"), 20, cutOff)),
              QStringList{path("Few/new.txt")});

    // A document bundle that changed is the changed file itself.
    QDir().mkpath(path("Few/Talk.key"));
    EXPECT_EQ(paths(collector->scanDirectoryForChangedFiles(path("Few/Talk.key"), 20, cutOff)),
              QStringList{path("Few/Talk.key")});
}

TEST_F(CollectorTest, ANameNewSinceTheLastListingCountsWhateverItsDate)
{
    home.writeFile("Downloads/earlier.pdf", 7200);
    collector.emplace(defaults, stream, statePath()); // lists the downloads folder as it is now
    const double cutOff = ReferenceTime::now() - 60;
    EXPECT_TRUE(collector->scanDirectoryForChangedFiles(path("Downloads"), 20, cutOff).isEmpty());

    // A finished download keeps the date the server gave it; it still counts, dated now.
    home.writeFile("Downloads/finished.pdf", 7200);
    const QList<VNItemRef> found = collector->scanDirectoryForChangedFiles(path("Downloads"), 20, cutOff);
    ASSERT_EQ(paths(found), QStringList{path("Downloads/finished.pdf")});
    EXPECT_GT(found.first()->overrideDate(), cutOff);
}

TEST_F(CollectorTest, EventsFormSinglesStacksAndNearbyMembers)
{
    for (const char *name : {"a.txt", "b.txt", "c.txt"})
        home.writeFile(QStringLiteral("Notes/") + name);
    for (const char *name : {"1.jpg", "2.jpg", "3.jpg", "4.jpg"})
        home.writeFile(QStringLiteral("Photos/") + name);
    home.writeFile("Photos/Edited/5.jpg");

    record("Photos/Edited", {"5.jpg"}); // older than the stack below: it joins it
    record("Notes", {"a.txt", "b.txt", "c.txt"});
    record("Photos", {"1.jpg", "2.jpg", "3.jpg", "4.jpg"});

    const QList<VNItemRef> list = collector->recentFiles();
    QList<VNItemRef> stacks;
    std::copy_if(list.cbegin(), list.cend(), std::back_inserter(stacks),
                 [](const VNItemRef &i) { return i->isStack(); });
    ASSERT_EQ(stacks.size(), 1);
    EXPECT_EQ(stacks.first()->path(), path("Photos"));
    EXPECT_EQ(stacks.first()->stackCount(), 5);
    EXPECT_EQ(list.size(), 4); // the stack and three single notes
    for (const char *note : {"Notes/a.txt", "Notes/b.txt", "Notes/c.txt"})
        EXPECT_TRUE(paths(list).contains(path(note)));

    // Files left out by the caller (the cooler's first row) do not show, except inside stacks.
    EXPECT_FALSE(paths(collector->recentFiles({path("Notes/b.txt")})).contains(path("Notes/b.txt")));
}

TEST_F(CollectorTest, TheListIsBoundedAndNewestFirst)
{
    for (int i = 0; i < 60; ++i) {
        const QString name = QStringLiteral("file%1.txt").arg(i, 2, 10, QLatin1Char('0'));
        home.writeFile("Work/" + name, 1000 - i); // later files are newer
        record("Work", {name});
    }
    const QList<VNItemRef> list = collector->recentFiles();
    ASSERT_EQ(list.size(), 50);
    EXPECT_EQ(list.first()->path(), path("Work/file59.txt"));
    for (qsizetype i = 1; i < list.size(); ++i)
        EXPECT_GE(list[i - 1]->timeOfFile(), list[i]->timeOfFile());

    // 151 events at most: the 152nd pushes out the oldest; an identical event replaces its older twin.
    for (int i = 0; i < 100; ++i)
        record("Work", {QStringLiteral("file%1.txt").arg(i % 60, 2, 10, QLatin1Char('0')),
                        QStringLiteral("extra%1.txt").arg(i)});
    EXPECT_EQ(collector->pastEvents().size(), 151);
    const qsizetype before = collector->pastEvents().size();
    record("Work", {"file00.txt", "extra60.txt"});
    EXPECT_EQ(collector->pastEvents().size(), before);
    EXPECT_EQ(paths(collector->pastEvents().first().files),
              (QStringList{path("Work/file00.txt"), path("Work/extra60.txt")}));
}

TEST_F(CollectorTest, FolderViewAndRemoval)
{
    for (const char *name : {"1.jpg", "2.jpg", "3.jpg", "4.jpg", "5.jpg"})
        home.writeFile(QStringLiteral("Photos/") + name);
    home.writeFile("Notes/a.txt");
    record("Photos", {"1.jpg", "2.jpg", "3.jpg", "4.jpg"});
    record("Photos", {"4.jpg", "5.jpg"});
    record("Notes", {"a.txt"});

    EXPECT_EQ(collector->recentFilesInDirectory(path("Photos")).size(), 5);

    // Removing a file takes it out of every event; an event left empty goes.
    collector->removeItem(std::make_shared<VNItem>(path("Notes/a.txt")));
    EXPECT_EQ(collector->pastEvents().size(), 2);
    collector->removeItem(std::make_shared<VNItem>(path("Photos/4.jpg")));
    EXPECT_EQ(collector->recentFilesInDirectory(path("Photos")).size(), 4);
    // Removing a stack removes all the events of its folder.
    collector->removeItems({std::make_shared<VNItem>(path("Photos"))});
    EXPECT_TRUE(collector->pastEvents().isEmpty());
}

TEST_F(CollectorTest, StateSurvivesARestartAndADamagedFileIsReset)
{
    home.writeFile("Notes/a.txt");
    home.writeFile("Notes/b.txt");
    record("Notes", {"a.txt", "b.txt"});
    ASSERT_TRUE(collector->writeState());

    collector.emplace(defaults, stream, statePath());
    ASSERT_EQ(collector->pastEvents().size(), 1);
    EXPECT_EQ(paths(collector->pastEvents().first().files),
              (QStringList{path("Notes/a.txt"), path("Notes/b.txt")}));
    // The saved file is a keyed archive of event dictionaries.
    QString error;
    const QVariantList root = KeyedUnarchiver::unarchiveObjectWithFile(statePath(), {}, &error).toList();
    ASSERT_EQ(root.size(), 1) << error.toStdString();
    EXPECT_EQ(root.first().toMap().value("files").toList().first().toMap().value("$class").toString(),
              "VNItem");

    QFile damaged(statePath());
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly | QIODevice::Truncate));
    damaged.write("bplist00 and then nonsense");
    damaged.close();
    ::testing::internal::CaptureStderr();
    collector.emplace(defaults, stream, statePath());
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("recent events have been reset, "), std::string::npos) << log;
    EXPECT_TRUE(collector->pastEvents().isEmpty());
    EXPECT_FALSE(QFile::exists(statePath()));
    EXPECT_EQ(defaults.unsignedValue("lastHandledFSEvent"), std::numeric_limits<quint64>::max());
}

TEST_F(CollectorTest, CutOffForLiveAndReplayedEvents)
{
    ASSERT_TRUE(stream.start({QDir::homePath()})); // a run gives the stream its ids
    const double now = ReferenceTime::now();
    const quint64 current = stream.currentEventID();
    const FileSystemEvent live(current, path("Notes"), 0);
    EXPECT_NEAR(collector->dateToScanBackTo(live, stream), now - 45, 5);
    // A second event soon after looks back to the previous scan only.
    EXPECT_NEAR(collector->dateToScanBackTo(live, stream), now - 1.5, 5);

    ASSERT_GT(current, 5000u);
    const FileSystemEvent replayed(current - 5000, path("Notes"), 0);
    defaults.removeValue("lastHandledFSEventDate");
    EXPECT_EQ(collector->dateToScanBackTo(replayed, stream), -7.5);
    defaults.setValue("lastHandledFSEventDate", 7.5);
    EXPECT_NEAR(collector->dateToScanBackTo(replayed, stream), now - 86400, 5);
    defaults.setValue("lastHandledFSEventDate", now - 100);
    EXPECT_NEAR(collector->dateToScanBackTo(replayed, stream), now - 107.5, 5);
}

TEST_F(CollectorTest, OpenedDocumentsFollowTheirOwnLimits)
{
    QStringList opened;
    for (int i = 0; i < 10; ++i)
        opened.append(home.writeFile(QStringLiteral("Documents/doc%1.txt").arg(i), 86400));
    QDir().mkpath(path("Applications/Editor.app"));
    QDir().mkpath(path("Documents/Talk.key/Data"));
    home.writeFile("Documents/Talk.key/Data/slide.xml");
    QDir().mkpath(path("Documents/Folder"));

    collector->addPathsToEvents({path("Applications/Editor.app"), path("Documents/Talk.key/Data/slide.xml"),
                                 path("Documents/Folder"), path("Documents/Talk.key")});
    ASSERT_EQ(collector->pastEvents().size(), 1); // only the bundle itself
    EXPECT_EQ(collector->pastEvents().first().files.first()->path(), path("Documents/Talk.key"));

    collector->addPathsToEvents(opened);
    EXPECT_EQ(collector->pastEvents().size(), 7); // six more at most per update
    // Dated by the opening, not by the file's old modification time.
    EXPECT_GT(collector->pastEvents().first().files.first()->timeOfFile(), ReferenceTime::now() - 60);

    defaults.setValue("VNIncludeFileOpenedEvents", false);
    collector->updatedMDQuery({path("Documents/doc9.txt")}, {});
    EXPECT_EQ(collector->pastEvents().size(), 7);
    defaults.setValue("VNIncludeFileOpenedEvents", true);
    collector->updatedMDQuery({path("Documents/doc9.txt")}, {});
    EXPECT_EQ(collector->pastEvents().size(), 8);
}

} // namespace
