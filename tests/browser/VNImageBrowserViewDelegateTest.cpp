#include "VNImageBrowserViewDelegate.h"

#include "ScriptedPresenter.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"
#include "VNBrowserCellDelegate.h"
#include "VNImageBrowserView.h"

#include <QDir>
#include <QMimeData>
#include <QSignalSpy>
#include <QUrl>

#include <gtest/gtest.h>

namespace {

// The shared data source over a plain list: removal takes the items off, nothing more.
class ListDelegate : public VNImageBrowserViewDelegate {
public:
    void setItems(const QList<VNItemRef> &items)
    {
        replaceItems(items);
        reloadBrowserNow();
    }
    bool imageBrowserRemoveVNItems(const QList<VNItemRef> &items, bool moveToTrash) override
    {
        if (moveToTrash && !moveItemFilesToTrash(items))
            return false;
        removeFromArray(items);
        return true;
    }
};

class ImageBrowserDelegateTest : public ::testing::Test {
protected:
    ImageBrowserDelegateTest()
    {
        browser.resize(4 * VNBrowserCellDelegate::cellSize().width() + 20, 600);
        source.setImageBrowser(&browser);
        browser.show();
        source.setPresenter(&presenter);
        UserDefaults::standard().removeValue(QStringLiteral("KPDONTWarnAboutTrashingFiles"));
    }

    QList<VNItemRef> makeItems(int count)
    {
        QList<VNItemRef> items;
        for (int i = 0; i < count; ++i)
            items.append(std::make_shared<VNItem>(home.writeFile(QStringLiteral("Docs/file%1.txt").arg(i))));
        return items;
    }

    TemporaryHome home;
    VNImageBrowserView browser;
    ListDelegate source;
    ScriptedPresenter presenter;
};

TEST_F(ImageBrowserDelegateTest, RemovingTheSelectionSelectsTheNextItem)
{
    source.setItems(makeItems(10));
    browser.setSelectionIndexes({4, 5, 6});
    source.imageBrowserRemoveItemsAtIndexes({4, 5, 6}, false);
    EXPECT_EQ(source.numberOfItemsInImageBrowser(), 7);
    EXPECT_EQ(browser.selectionIndexes(), QList<int>{4});

    browser.setSelectionIndexes({6});
    source.imageBrowserRemoveItemsAtIndexes({6}, false);
    EXPECT_EQ(browser.selectionIndexes(), QList<int>{5}) << "the last item gone, the new last is selected";

    // Removing what is not the selection leaves the selection to the next reload.
    browser.setSelectionIndexes({0});
    source.imageBrowserRemoveItemsAtIndexes({3}, false);
    EXPECT_EQ(source.numberOfItemsInImageBrowser(), 5);
    EXPECT_TRUE(source.reloadPending());
}

TEST_F(ImageBrowserDelegateTest, ArrowKeysStopAtTheEnds)
{
    source.setItems(makeItems(3));
    EXPECT_FALSE(source.selectNextDocumentWithKey(Qt::Key_Right)) << "nothing selected";
    browser.setSelectionIndexes({1});
    EXPECT_TRUE(source.selectNextDocumentWithKey(Qt::Key_Right));
    EXPECT_FALSE(source.selectNextDocumentWithKey(Qt::Key_Right));
    EXPECT_EQ(browser.selectionIndexes(), QList<int>{2});
    EXPECT_FALSE(source.selectNextDocumentWithKey(Qt::Key_Up));
    browser.setSelectionIndexes({0});
    EXPECT_FALSE(source.selectNextDocumentWithKey(Qt::Key_Left));
}

TEST_F(ImageBrowserDelegateTest, ReloadsAreCoalescedAndShowTheArrayAtOnce)
{
    const QList<VNItemRef> items = makeItems(5);
    source.setItems(items.mid(0, 2));
    QSignalSpy resets(&source, &QAbstractItemModel::modelReset);
    source.setItems(items.mid(0, 2)); // setItems reloads at once; the soon-reloads below merge
    resets.clear();
    for (int i = 0; i < 5; ++i)
        source.reloadBrowserSoon();
    EXPECT_EQ(source.rowCount(), 2);
    ASSERT_TRUE(resets.wait(2000));
    EXPECT_FALSE(resets.wait(600)) << "one reload for five requests";
    EXPECT_EQ(resets.size(), 1);
}

TEST_F(ImageBrowserDelegateTest, LookupAndDragOutUsePathsInIndexOrder)
{
    const QList<VNItemRef> items = makeItems(4);
    source.setItems(items);
    EXPECT_EQ(source.indexForPath(items[2]->path()), 2);
    EXPECT_EQ(source.indexForPath(items[2]->path().toUpper()), -1) << "paths compare case-sensitively";
    source.selectPaths({items[3]->path(), QStringLiteral("/not/listed")});
    EXPECT_EQ(browser.selectionIndexes(), QList<int>{3});
    source.selectPaths({QStringLiteral("/not/listed")});
    EXPECT_TRUE(browser.selectionIndexes().isEmpty());

    std::unique_ptr<QMimeData> mime(source.mimeData({source.index(3), source.index(1)}));
    ASSERT_TRUE(mime->hasFormat(QStringLiteral("text/uri-list")));
    EXPECT_EQ(mime->urls(),
              (QList<QUrl>{QUrl::fromLocalFile(items[1]->path()), QUrl::fromLocalFile(items[3]->path())}));

    EXPECT_EQ(source.currentNumberOfItemsString(), QStringLiteral("4 items"));
    EXPECT_EQ(source.pathsInFirstRow().size(), 4) << "four cells fit in one row";
}

TEST_F(ImageBrowserDelegateTest, TrashWarnsAndOnlyTheSecondButtonTrashes)
{
    const QList<VNItemRef> items = makeItems(3);
    source.setItems(items);

    presenter.answers = {0}; // Cancel
    source.imageBrowserRemoveItemsAtIndexes({0}, true);
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts[0].title, QStringLiteral("Move “file0.txt” to the trash?"));
    EXPECT_EQ(presenter.alerts[0].buttons, (QStringList{"Cancel", "Delete Files"}));
    EXPECT_TRUE(QFile::exists(items[0]->path())) << "a declined warning changes nothing";
    EXPECT_EQ(source.numberOfItemsInImageBrowser(), 3);

    presenter.answers = {1};
    source.imageBrowserRemoveItemsAtIndexes({0, 1}, true);
    EXPECT_EQ(presenter.alerts[1].title, QStringLiteral("Move 2 files to the trash?"));
    EXPECT_FALSE(QFile::exists(items[0]->path()));
    EXPECT_TRUE(QFile::exists(QDir::homePath() + "/.local/share/Trash/files/file1.txt"));
    EXPECT_EQ(source.numberOfItemsInImageBrowser(), 1);
}

TEST_F(ImageBrowserDelegateTest, FoldersAlwaysWarnEvenWhenFileWarningsAreOff)
{
    UserDefaults::standard().setValue(QStringLiteral("KPDONTWarnAboutTrashingFiles"), true);
    QList<VNItemRef> items = makeItems(1);
    EXPECT_TRUE(source.warnAboutTrashing(items)) << "files alone go without asking";
    EXPECT_TRUE(presenter.alerts.isEmpty());

    items.append(std::make_shared<VNItem>(QDir::homePath() + "/Docs"));
    presenter.answers = {0};
    EXPECT_FALSE(source.warnAboutTrashing(items));
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts[0].title, QStringLiteral("Put entire folder in the trash?"));
    EXPECT_FALSE(source.warnAboutTrashing({})) << "nothing to trash answers no";
}

} // namespace
