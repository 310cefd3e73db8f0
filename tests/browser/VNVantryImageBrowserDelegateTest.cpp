#include "VNVantryImageBrowserDelegate.h"

#include "DefaultsTable.h"
#include "FileSystemEventStream.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"
#include "VNImageBrowserView.h"
#include "VNRecentFiles.h"

#include <QCoreApplication>
#include <QDir>

#include <gtest/gtest.h>

namespace {

// The recent list's data source over a real collector in a temporary home; events are recorded directly,
// the stream is never started.
class RecentBrowserTest : public ::testing::Test {
protected:
    RecentBrowserTest() : stream(home.filePath("eventStream.plist"))
    {
        UserDefaults::standard().registerDefaults(DefaultsTable::registrationDomain());
        source.emplace(std::make_unique<VNRecentFiles>(UserDefaults::standard(), stream,
                                                       home.filePath("recentItems.plist")));
        source->setImageBrowser(&browser);
        browser.show();
    }

    void record(const QString &folder, const QStringList &names)
    {
        QList<VNItemRef> items;
        for (const QString &name : names) {
            auto item = std::make_shared<VNItem>(home.writeFile(folder + u'/' + name));
            item->calculateCache();
            items.append(item);
        }
        source->recentFiles()->addEvent(items, QDir::homePath() + u'/' + folder);
    }

    QStringList titles() const
    {
        QStringList shown;
        for (int row = 0; row < source->rowCount(); ++row)
            shown.append(source->data(source->index(row), Qt::DisplayRole).toString());
        return shown;
    }

    TemporaryHome home;
    FileSystemEventStream stream;
    VNImageBrowserView browser;
    std::optional<VNVantryImageBrowserDelegate> source;
};

TEST_F(RecentBrowserTest, AStackOpensIntoItsFolderAndBackReturnsToTheTop)
{
    record("Notes", {"a.txt"});
    record("Photos", {"1.jpg", "2.jpg", "3.jpg", "4.jpg"});
    source->applicationWillBecomeActive();
    ASSERT_EQ(source->rowCount(), 2);
    const VNItemRef stack = source->imageBrowserItemAtIndex(0);
    ASSERT_TRUE(stack->isStack());
    EXPECT_EQ(source->data(source->index(0), Qt::UserRole + 2).toInt(), 4) << "the badge count";

    source->imageBrowserCellWasDoubleClicked(0);
    EXPECT_TRUE(source->hasCurrentPath());
    EXPECT_EQ(source->explanation(), QStringLiteral("Recent files in %1").arg(QDir::homePath() + "/Photos"));
    EXPECT_EQ(source->rowCount(), 4);
    EXPECT_EQ(browser.selectionIndexes(), QList<int>{0});

    // Every activation comes back at the top level.
    source->applicationWillBecomeActive();
    EXPECT_FALSE(source->hasCurrentPath());
    EXPECT_EQ(titles().size(), 2);
    EXPECT_TRUE(titles().contains("a.txt"));
}

TEST_F(RecentBrowserTest, RemovedItemsStayOutOfTheList)
{
    record("Notes", {"a.txt"});
    record("Letters", {"b.txt"});
    source->applicationWillBecomeActive();
    ASSERT_EQ(source->rowCount(), 2);
    browser.setSelectionIndexes({0});
    source->imageBrowserRemoveItemsAtIndexes({0}, false);
    EXPECT_EQ(titles(), QStringList{"a.txt"});
    source->checkForChangedFiles();
    source->reloadBrowserNow();
    EXPECT_EQ(titles(), QStringList{"a.txt"}) << "the collector keeps the removed item out";
    EXPECT_TRUE(QFile::exists(QDir::homePath() + "/Letters/b.txt"))
        << "removing from the list keeps the file";
}

TEST_F(RecentBrowserTest, RuleChangesRefreshTheList)
{
    record("Notes", {"a.txt"});
    record("Drafts", {"b.txt"});
    source->applicationWillBecomeActive();
    const int before = source->numberOfItemsInImageBrowser();
    UserDefaults::standard().setValue(QStringLiteral("unwantedDirectories"),
                                      QVariantList{QDir::homePath() + "/Notes"});
    QCoreApplication::processEvents();
    EXPECT_EQ(source->numberOfItemsInImageBrowser(), before - 1);
    UserDefaults::standard().removeValue(QStringLiteral("unwantedDirectories"));
}

} // namespace
