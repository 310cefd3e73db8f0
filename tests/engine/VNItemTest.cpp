#include "VNItem.h"

#include "KeyedArchive.h"
#include "QtPrinters.h"
#include "ReferenceTime.h"
#include "TemporaryHome.h"
#include "TemporaryMount.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class VNItemTest : public ::testing::Test {
protected:
    QString makeFile(const QString &relative, const QByteArray &content = "hello")
    {
        const QString path = home.filePath(relative);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return path;
    }

    static void setModificationTime(const QString &path, const QDateTime &time, long nanoseconds = 0)
    {
        const timespec stamp{time_t(time.toSecsSinceEpoch()), nanoseconds};
        const timespec times[2] = {stamp, stamp};
        ASSERT_EQ(utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW), 0);
    }

    static VNItemRef updated(const QString &path)
    {
        auto item = std::make_shared<VNItem>(path);
        item->calculateCache();
        return item;
    }

    TemporaryHome home;
};

// --- File facts ---

TEST_F(VNItemTest, ANewItemCountsAsPresentUntilItsFirstUpdate)
{
    auto item = std::make_shared<VNItem>(home.filePath("never there.txt"));
    EXPECT_TRUE(item->fileExists());
    EXPECT_FALSE(item->useMissingItemImage());

    item->calculateCache();
    EXPECT_FALSE(item->fileExists());
    EXPECT_TRUE(item->useMissingItemImage());
    EXPECT_EQ(item->fileSize(), 0u);
    EXPECT_EQ(item->modificationDate(), QDateTime(QDate(1904, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_EQ(item->imageVersion(), 8787879u);
    EXPECT_EQ(item->lastKnownPath(), home.filePath("never there.txt"));
}

TEST_F(VNItemTest, AnUpdateReadsNameDateAndSize)
{
    const QString path = makeFile("notes.txt", "twelve bytes");
    const QDateTime modified(QDate(2024, 1, 15), QTime(10, 30), Qt::UTC);
    setModificationTime(path, modified, 250000000);
    const VNItemRef item = updated(path);

    EXPECT_EQ(item->displayName(), "notes.txt");
    EXPECT_EQ(item->fileSize(), 12u);
    EXPECT_EQ(item->modificationDate(), modified.addMSecs(250));
    EXPECT_NEAR(item->timeOfFile(), ReferenceTime::fromDateTime(modified) + 0.25, 1e-6);
    EXPECT_EQ(item->imageVersion(), quint64(ReferenceTime::fromDateTime(modified)));
    EXPECT_NEAR(item->age(), ReferenceTime::now() - item->timeOfFile(), 60);
}

TEST_F(VNItemTest, TheOverrideDateWinsOverTheFileDate)
{
    const VNItemRef item = updated(makeFile("a.txt"));
    const double fileTime = item->timeOfFile();
    item->setDate(1000.5);
    EXPECT_EQ(item->timeOfFile(), 1000.5);
    EXPECT_EQ(item->overrideDate(), 1000.5);
    item->setDate(0);
    EXPECT_EQ(item->timeOfFile(), fileTime);
}

TEST_F(VNItemTest, ASymbolicLinkIsExaminedItselfNotItsTarget)
{
    const QString target = makeFile("target.txt", QByteArray(100, 'x'));
    const QString link = home.filePath("link");
    ASSERT_TRUE(QFile::link(target, link));
    EXPECT_EQ(updated(link)->fileSize(), quint64(QFile::encodeName(target).size()));

    const QString dangling = home.filePath("dangling");
    ASSERT_TRUE(QFile::link(home.filePath("nothing"), dangling));
    EXPECT_TRUE(updated(dangling)->fileExists());
}

TEST_F(VNItemTest, AccessorsRefreshTheFactsInTheBackground)
{
    auto item = std::make_shared<VNItem>(makeFile("a.txt", "1234567"));
    EXPECT_TRUE(waitUntil([&] { return item->fileSize() == 7; }));
    EXPECT_EQ(item->displayName(), "a.txt");
}

TEST_F(VNItemTest, DecodingRefreshesTheFactsInTheBackground)
{
    const QString path = makeFile("a.txt");
    const QByteArray archive =
        KeyedArchiver::archivedDataWithRootObject(QVariant::fromValue(ArchivableObjectRef(updated(path))));
    ASSERT_TRUE(QFile::remove(path));
    const auto decoded = std::dynamic_pointer_cast<VNItem>(
        KeyedUnarchiver::unarchiveObjectWithData(archive, VNItem::archiveClasses())
            .value<ArchivableObjectRef>());
    ASSERT_TRUE(decoded);
    // fileExists() itself never starts an update while nothing is known.
    EXPECT_TRUE(waitUntil([&] { return !decoded->fileExists(); }));
}

// --- Following the file ---

TEST_F(VNItemTest, ItemsMadeFromDifferentPathsOfOneFileBecomeEqual)
{
    const QString before = makeFile("draft.txt");
    const VNItemRef early = std::make_shared<VNItem>(before);
    const QString after = home.filePath("final.txt");
    ASSERT_TRUE(QFile::rename(before, after));
    const VNItemRef late = std::make_shared<VNItem>(after);
    EXPECT_NE(early->lastKnownPath(), late->lastKnownPath());

    early->calculateCache();
    late->calculateCache();
    EXPECT_EQ(early->lastKnownPath(), after);
    EXPECT_EQ(early->displayName(), "final.txt");
    EXPECT_TRUE(early->isEqual(*late));
    EXPECT_TRUE(late->isEqual(*early));
    EXPECT_EQ(early->hash(), late->hash());
}

TEST_F(VNItemTest, FollowsOneRenameAfterAnother)
{
    const VNItemRef item = updated(makeFile("one.txt"));
    ASSERT_TRUE(QFile::rename(home.filePath("one.txt"), home.filePath("two.txt")));
    item->calculateCache();
    ASSERT_TRUE(QFile::rename(home.filePath("two.txt"), home.filePath("three.txt")));
    item->calculateCache();
    EXPECT_EQ(item->lastKnownPath(), home.filePath("three.txt"));
}

TEST_F(VNItemTest, AnItemMadeBeforeItsFileExistsFollowsItOnceItDoes)
{
    const QString path = home.filePath("later.txt");
    const VNItemRef item = std::make_shared<VNItem>(path);
    EXPECT_TRUE(item->aliasData().isEmpty());
    makeFile("later.txt");
    item->calculateCache();
    EXPECT_FALSE(item->aliasData().isEmpty());
    ASSERT_TRUE(QFile::rename(path, home.filePath("renamed.txt")));
    item->calculateCache();
    EXPECT_EQ(item->lastKnownPath(), home.filePath("renamed.txt"));
}

TEST_F(VNItemTest, AGoneFileKeepsItsLastPathAndAlias)
{
    const VNItemRef item = updated(makeFile("a.txt"));
    const QByteArray alias = item->aliasData();
    ASSERT_TRUE(QFile::remove(home.filePath("a.txt")));
    item->calculateCache();
    EXPECT_EQ(item->lastKnownPath(), home.filePath("a.txt"));
    EXPECT_EQ(item->aliasData(), alias);
    EXPECT_FALSE(item->fileExists());
}

TEST_F(VNItemTest, InvisibilityFollowsThePath)
{
    const VNItemRef item = updated(makeFile("shown.txt"));
    EXPECT_FALSE(item->isInvisible());
    ASSERT_TRUE(QFile::rename(home.filePath("shown.txt"), home.filePath(".secret")));
    item->calculateCache();
    EXPECT_TRUE(item->isInvisible());
}

// --- Stacks ---

TEST_F(VNItemTest, AStackCountsItsMembersByPath)
{
    const VNItemRef stack = std::make_shared<VNItem>(home.path());
    EXPECT_FALSE(stack->hasMemberMap());
    EXPECT_FALSE(stack->isStack());
    EXPECT_TRUE(stack->stack().isEmpty());
    EXPECT_EQ(stack->imageUID(), home.path() + " 0");

    stack->addSubItem(nullptr);
    const VNItemRef first = std::make_shared<VNItem>(home.filePath("b.txt"));
    stack->addSubItem(first);
    EXPECT_TRUE(stack->isStack());
    EXPECT_EQ(stack->stackCount(), 1);

    const VNItemRef again = std::make_shared<VNItem>(home.filePath("b.txt"));
    stack->addSubItem(again);
    EXPECT_EQ(stack->stackCount(), 1);
    EXPECT_EQ(stack->stack().constFirst(), again);

    stack->addSubItems(
        {std::make_shared<VNItem>(home.filePath("c.txt")), std::make_shared<VNItem>(home.filePath("a.txt"))});
    EXPECT_EQ(VNItem::pathsForItems(stack->stack()),
              QStringList({home.filePath("a.txt"), home.filePath("b.txt"), home.filePath("c.txt")}));
    EXPECT_EQ(stack->imageUID(), home.path() + " 3");
    EXPECT_EQ(stack->description(), "stack - 3 files " + home.path());
    EXPECT_EQ(first->description(), home.filePath("b.txt"));
    EXPECT_EQ(stack->imageSubtitle(), "3 items");
}

// --- Archiving ---

QVariant archived(const ArchivableObjectRef &item, const KeyedUnarchiver::ClassTable &classes = {})
{
    QString error;
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(QVariant::fromValue(item), &error);
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    const QVariant decoded = KeyedUnarchiver::unarchiveObjectWithData(data, classes, &error);
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    return decoded;
}

VNItemRef roundTripped(const VNItemRef &item)
{
    return std::dynamic_pointer_cast<VNItem>(
        archived(item, VNItem::archiveClasses()).value<ArchivableObjectRef>());
}

TEST_F(VNItemTest, ArchivesOnlyTheKeysItHasAndAZeroDateIsNone)
{
    const VNItemRef plain = std::make_shared<VNItem>(makeFile("a.txt"));
    const QVariantMap fields = archived(plain).toMap();
    EXPECT_EQ(fields.value("$class"), "VNItem");
    EXPECT_EQ(fields.keys(), QStringList({"$class", "alias", "path"}));
    EXPECT_EQ(fields.value("path"), home.filePath("a.txt"));
    EXPECT_EQ(fields.value("alias").toByteArray(), plain->aliasData());
    const VNItemRef decoded = roundTripped(plain);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->overrideDate(), 0);

    const VNItemRef missing = std::make_shared<VNItem>(home.filePath("missing.txt"));
    EXPECT_EQ(archived(missing).toMap().keys(), QStringList({"$class", "path"}));

    missing->setDate(std::nan(""));
    EXPECT_TRUE(archived(missing).toMap().contains("overrideDate"));
    missing->setDate(-1);
    EXPECT_EQ(archived(missing).toMap().value("overrideDate").toDouble(), -1);
}

TEST_F(VNItemTest, AStackSurvivesTheRoundTrip)
{
    const VNItemRef stack = std::make_shared<VNItem>(home.path());
    stack->setDate(727002000.5);
    const VNItemRef member = std::make_shared<VNItem>(makeFile("one.txt"));
    member->setDate(42);
    stack->addSubItems({member, std::make_shared<VNItem>(makeFile("two.txt"))});

    const VNItemRef decoded = roundTripped(stack);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->lastKnownPath(), home.path());
    EXPECT_EQ(decoded->aliasData(), stack->aliasData());
    EXPECT_EQ(decoded->overrideDate(), 727002000.5);
    ASSERT_EQ(decoded->stackCount(), 2);
    const QList<VNItemRef> members = decoded->stack();
    EXPECT_EQ(members[0]->lastKnownPath(), home.filePath("one.txt"));
    EXPECT_EQ(members[0]->overrideDate(), 42);
    EXPECT_EQ(members[0]->aliasData(), member->aliasData());
    EXPECT_EQ(members[1]->lastKnownPath(), home.filePath("two.txt"));
    EXPECT_FALSE(members[0]->hasMemberMap());
}

// Writes the values a damaged or foreign file might hold under the item's keys.
class OddItem : public ArchivableObject {
public:
    QVariantMap stack;
    QStringList archiveClassChain() const override { return {"VNItem", "NSObject"}; }
    void encodeWithCoder(KeyedArchiver &coder) const override
    {
        coder.encodeObject(7, "path");
        coder.encodeObject("not data", "alias");
        coder.encodeObject("soon", "overrideDate");
        coder.encodeObject(stack, "stack");
    }
};

TEST_F(VNItemTest, DecodingIgnoresValuesOfTheWrongKind)
{
    auto odd = std::make_shared<OddItem>();
    odd->stack = {{"/a", "a string, not an item"},
                  {"/b", QVariant::fromValue(ArchivableObjectRef(std::make_shared<VNItem>("/b")))}};
    const auto decoded = std::dynamic_pointer_cast<VNItem>(
        archived(odd, VNItem::archiveClasses()).value<ArchivableObjectRef>());
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(decoded->lastKnownPath().isNull());
    EXPECT_TRUE(decoded->aliasData().isNull());
    EXPECT_EQ(decoded->overrideDate(), 0);
    EXPECT_EQ(VNItem::pathsForItems(decoded->stack()), QStringList({"/b"}));
    EXPECT_TRUE(decoded->isInvisible());
}

TEST_F(VNItemTest, AnEmptyMemberMapIsKept)
{
    auto odd = std::make_shared<OddItem>();
    const VNItemRef decoded = std::dynamic_pointer_cast<VNItem>(
        archived(odd, VNItem::archiveClasses()).value<ArchivableObjectRef>());
    ASSERT_TRUE(decoded);
    EXPECT_TRUE(decoded->hasMemberMap());
    EXPECT_FALSE(decoded->isStack());
    EXPECT_TRUE(archived(decoded).toMap().contains("stack"));
}

// --- Grid texts ---

TEST_F(VNItemTest, APartialPathTitleShortensLongFolderNames)
{
    const VNItemRef item = std::make_shared<VNItem>("/data/abcdefghijklm/file.txt");
    EXPECT_EQ(item->imageTitle(), "file.txt");
    item->setUsePartialPathForTitle(true);
    EXPECT_EQ(item->imageTitle(), "abcdefghijklm/file.txt");

    const VNItemRef longer = std::make_shared<VNItem>("/data/abcdefghijklmn/file.txt");
    longer->setUsePartialPathForTitle(true);
    EXPECT_EQ(longer->imageTitle(), QString::fromUtf8("abcdefghijk\u2026/file.txt"));

    const VNItemRef atRoot = std::make_shared<VNItem>("/file.txt");
    atRoot->setUsePartialPathForTitle(true);
    EXPECT_EQ(atRoot->imageTitle(), "/file.txt");
}

TEST_F(VNItemTest, TheSubtitleNamesTodayYesterdayOrTheDate)
{
    const QLocale locale;
    const QString path = makeFile("a.txt");
    const VNItemRef today = updated(path);
    EXPECT_EQ(today->imageSubtitle(),
              "Today, " +
                  locale.toString(today->modificationDate().toLocalTime().time(), QLocale::ShortFormat));

    const QDateTime yesterdayNoon(QDate::currentDate().addDays(-1), QTime(12, 0));
    setModificationTime(path, yesterdayNoon);
    EXPECT_EQ(updated(path)->imageSubtitle(),
              "Yesterday, " + locale.toString(QTime(12, 0), QLocale::ShortFormat));

    setModificationTime(path, QDateTime(QDate(2020, 3, 4), QTime(12, 0)));
    EXPECT_EQ(updated(path)->imageSubtitle(), locale.toString(QDate(2020, 3, 4), QLocale::LongFormat));
}

TEST_F(VNItemTest, ListsTheEnclosingFolders)
{
    const VNItemRef item = std::make_shared<VNItem>("/a/b/c.txt");
    EXPECT_EQ(item->arrayOfPaths(true), QStringList({"/a/b/c.txt", "/a/b", "/a"}));
    EXPECT_EQ(item->arrayOfPaths(false), QStringList({"/a/b", "/a"}));
    EXPECT_TRUE(std::make_shared<VNItem>("/a")->arrayOfPaths(false).isEmpty());
    EXPECT_TRUE(std::make_shared<VNItem>("/")->arrayOfPaths(true).isEmpty());
}

TEST_F(VNItemTest, PathsForItemsLeavesOutItemsWithoutAPath)
{
    EXPECT_EQ(VNItem::pathsForItems({std::make_shared<VNItem>("/x"), nullptr, std::make_shared<VNItem>("")}),
              QStringList({"/x"}));
}

// --- Invisibility ---

TEST_F(VNItemTest, SystemLocationsAreInvisibleExceptInsideTheHome)
{
    ASSERT_TRUE(home.path().startsWith("/tmp/"));
    EXPECT_TRUE(VNItem::isPathInvisible(QString()));
    EXPECT_TRUE(VNItem::isPathInvisible("/tmp/vantry-elsewhere/x"));
    EXPECT_TRUE(VNItem::isPathInvisible("/tmp"));
    EXPECT_TRUE(VNItem::isPathInvisible("/usr/local/x"));
    EXPECT_TRUE(VNItem::isPathInvisible("/proc/self/status"));
    EXPECT_TRUE(VNItem::isPathInvisible("/lib64/x"));
    EXPECT_TRUE(VNItem::isPathInvisible("/private/tmp/x"));
    EXPECT_FALSE(VNItem::isPathInvisible("/tmpfiles/x"));
    EXPECT_FALSE(VNItem::isPathInvisible("/library/x"));

    EXPECT_FALSE(VNItem::isPathInvisible(makeFile("Documents/report.txt")));
    EXPECT_FALSE(VNItem::isPathInvisible(home.path()));
}

TEST_F(VNItemTest, DotNamesAreInvisibleEvenInTheLibrary)
{
    EXPECT_TRUE(VNItem::isPathInvisible(home.filePath(".config/x")));
    EXPECT_TRUE(VNItem::isPathInvisible(makeFile(".profile")));
    EXPECT_TRUE(VNItem::isPathInvisible(home.filePath("Library/.cache/x")));
    EXPECT_FALSE(VNItem::isPathInvisible(makeFile("Library/Mail/x")));
}

TEST_F(VNItemTest, NamesInAHiddenListAreInvisibleAndSoIsWhatTheyHold)
{
    makeFile(".hidden", "secret.txt\nArchive\n");
    EXPECT_TRUE(VNItem::isPathInvisible(makeFile("secret.txt")));
    EXPECT_TRUE(VNItem::isPathInvisible(makeFile("Archive/2019/old.txt")));
    EXPECT_FALSE(VNItem::isPathInvisible(makeFile("public.txt")));
    // Only existing files are looked up.
    EXPECT_FALSE(VNItem::isPathInvisible(home.filePath("Archive/2019/gone.txt")));

    // The Library exception comes first.
    makeFile("Library/Mail/.hidden", "x\n");
    EXPECT_FALSE(VNItem::isPathInvisible(home.filePath("Library/Mail/x")));
}

QString mediaFolder()
{
    const passwd *entry = getpwuid(geteuid());
    return entry ? "/media/" + QString::fromLocal8Bit(entry->pw_name) : QString();
}

TEST_F(VNItemTest, PathsOnAMissingVolumeAreInvisible)
{
    ASSERT_FALSE(mediaFolder().isEmpty());
    EXPECT_TRUE(VNItem::isPathInvisible(mediaFolder() + "/VantryNoSuchVolume/Documents/x.txt"));
}

// --- Unreachable volumes ---

TEST_F(VNItemTest, UnreachableVolumesAreForgottenOnTheNextMount)
{
    // A volume folder must exist to tell "not probed" from "not there"; this needs root, like the mount.
    const QString media = mediaFolder();
    const bool madeMedia = !QFileInfo::exists(media);
    if (!QDir().mkpath(media))
        GTEST_SKIP() << "cannot make " << media.toStdString();
    bool mounted = false;
    {
        QTemporaryDir volume(media + "/vantry-test-XXXXXX");
        ASSERT_TRUE(volume.isValid());
        QFile file(volume.filePath("a.txt"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        const QString path = file.fileName();
        std::make_shared<VNItem>(path); // the class starts watching mounts on first use

        EXPECT_EQ(VNItem::fastResolve(path, QByteArray()), path);
        VNItem::addPathToUnReachableVolumes(path);
        EXPECT_EQ(VNItem::fastResolve(path, QByteArray()), QString());
        EXPECT_EQ(VNItem::fastResolve(volume.path(), QByteArray()), QString());

        QTemporaryDir mountPoint;
        TemporaryMount mount(mountPoint.path());
        mounted = mount.isMounted();
        if (mounted) {
            EXPECT_TRUE(waitUntil([&] { return VNItem::fastResolve(path, QByteArray()) == path; }));
        }
    }
    if (madeMedia)
        QDir().rmdir(media);
    if (!mounted)
        GTEST_SKIP() << "cannot mount here";
}

} // namespace
