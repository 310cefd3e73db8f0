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

namespace {

void setTime(const QString &path, const QDateTime &time, long nanoseconds = 0)
{
    const timespec stamp{time_t(time.toSecsSinceEpoch()), nanoseconds};
    const timespec times[2] = {stamp, stamp};
    ASSERT_EQ(utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW), 0);
}

VNItemRef updated(const QString &path)
{
    auto item = std::make_shared<VNItem>(path);
    item->calculateCache();
    return item;
}

QVariant archived(const ArchivableObjectRef &object, const KeyedUnarchiver::ClassTable &classes = {})
{
    QString error;
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(QVariant::fromValue(object), &error);
    const QVariant decoded = KeyedUnarchiver::unarchiveObjectWithData(data, classes, &error);
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
    return decoded;
}

VNItemRef roundTripped(const ArchivableObjectRef &object)
{
    return std::dynamic_pointer_cast<VNItem>(
        archived(object, VNItem::archiveClasses()).value<ArchivableObjectRef>());
}

QString mediaFolder()
{
    const passwd *entry = getpwuid(geteuid());
    return entry ? "/media/" + QString::fromLocal8Bit(entry->pw_name) : QString();
}

class VNItemTest : public ::testing::Test {
protected:
    TemporaryHome home;
};

TEST_F(VNItemTest, CountsAsPresentUntilItsFirstUpdateThenReadsTheEntryItself)
{
    const VNItemRef missing = std::make_shared<VNItem>(home.filePath("never there.txt"));
    EXPECT_TRUE(missing->fileExists());
    missing->calculateCache();
    EXPECT_FALSE(missing->fileExists());
    EXPECT_TRUE(missing->useMissingItemImage());

    const QString path = home.writeFile("notes.txt");
    const QDateTime modified(QDate(2024, 1, 15), QTime(10, 30), Qt::UTC);
    setTime(path, modified, 250000000);
    const VNItemRef item = updated(path);
    EXPECT_EQ(item->displayName(), "notes.txt");
    EXPECT_EQ(item->fileSize(), 7u);
    EXPECT_EQ(item->modificationDate(), modified.addMSecs(250));
    const double fileTime = ReferenceTime::fromDateTime(modified) + 0.25;
    EXPECT_NEAR(item->timeOfFile(), fileTime, 1e-6);
    EXPECT_EQ(item->imageVersion(), quint64(ReferenceTime::fromDateTime(modified)));
    item->setDate(1000.5);
    EXPECT_EQ(item->timeOfFile(), 1000.5);
    item->setDate(0);
    EXPECT_NEAR(item->timeOfFile(), fileTime, 1e-6);

    ASSERT_TRUE(QFile::link(path, home.filePath("link")));
    EXPECT_EQ(updated(home.filePath("link"))->fileSize(), quint64(QFile::encodeName(path).size()));
    ASSERT_TRUE(QFile::link(home.filePath("nothing"), home.filePath("dangling")));
    EXPECT_TRUE(updated(home.filePath("dangling"))->fileExists());
}

TEST_F(VNItemTest, AccessorsAndDecodingRefreshTheFactsInTheBackground)
{
    const QString path = home.writeFile("a.txt");
    const auto item = std::make_shared<VNItem>(path);
    EXPECT_TRUE(waitUntil([&] { return item->fileSize() == 7; }));
    const QByteArray archive =
        KeyedArchiver::archivedDataWithRootObject(QVariant::fromValue(ArchivableObjectRef(item)));
    ASSERT_TRUE(QFile::remove(path));
    const auto decoded = std::dynamic_pointer_cast<VNItem>(
        KeyedUnarchiver::unarchiveObjectWithData(archive, VNItem::archiveClasses())
            .value<ArchivableObjectRef>());
    ASSERT_TRUE(decoded);
    // fileExists() itself never starts an update while nothing is known.
    EXPECT_TRUE(waitUntil([&] { return !decoded->fileExists(); }));
}

TEST_F(VNItemTest, FollowsItsFileThroughRenamesAndKeepsPathAndAliasWhenItIsGone)
{
    const QString path = home.filePath("draft.txt");
    const VNItemRef early = std::make_shared<VNItem>(path); // made before its file exists
    EXPECT_TRUE(early->aliasData().isEmpty());
    home.writeFile("draft.txt");
    early->calculateCache();
    EXPECT_FALSE(early->aliasData().isEmpty());
    const VNItemRef named = std::make_shared<VNItem>(path); // takes its alias at once, never updated
    ASSERT_TRUE(QFile::rename(path, home.filePath("two.txt")));
    early->calculateCache();
    const QString last = home.filePath(".final");
    ASSERT_TRUE(QFile::rename(home.filePath("two.txt"), last));

    const VNItemRef late = updated(last);
    early->calculateCache();
    named->calculateCache();
    EXPECT_EQ(early->lastKnownPath(), last);
    EXPECT_EQ(named->displayName(), ".final");
    EXPECT_TRUE(early->isInvisible());
    EXPECT_TRUE(named->isEqual(*late));
    EXPECT_TRUE(late->isEqual(*early));
    EXPECT_EQ(named->hash(), late->hash());

    const QByteArray alias = early->aliasData();
    ASSERT_TRUE(QFile::remove(last));
    early->calculateCache();
    EXPECT_FALSE(early->fileExists());
    EXPECT_EQ(early->lastKnownPath(), last);
    EXPECT_EQ(early->aliasData(), alias);
}

TEST_F(VNItemTest, AStackCountsItsMembersOncePerPath)
{
    const VNItemRef stack = std::make_shared<VNItem>(home.path());
    EXPECT_FALSE(stack->isStack());
    stack->addSubItem(nullptr);
    stack->addSubItem(std::make_shared<VNItem>(home.filePath("b.txt")));
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
    EXPECT_EQ(stack->imageSubtitle(), "3 items");
    EXPECT_EQ(VNItem::pathsForItems({std::make_shared<VNItem>("/x"), nullptr, std::make_shared<VNItem>("")}),
              QStringList({"/x"}));
}

TEST_F(VNItemTest, ArchivesOnlyTheKeysItHasAndStacksSurviveTheRoundTrip)
{
    const VNItemRef plain = std::make_shared<VNItem>(home.writeFile("one.txt"));
    const QVariantMap fields = archived(plain).toMap();
    EXPECT_EQ(fields.keys(), QStringList({"$class", "alias", "path"}));
    EXPECT_EQ(fields.value("alias").toByteArray(), plain->aliasData());
    const VNItemRef missing = std::make_shared<VNItem>(home.filePath("missing.txt"));
    EXPECT_EQ(archived(missing).toMap().keys(), QStringList({"$class", "path"}));
    missing->setDate(std::nan(""));
    EXPECT_TRUE(archived(missing).toMap().contains("overrideDate"));

    const VNItemRef stack = std::make_shared<VNItem>(home.path());
    stack->setDate(727002000.5);
    plain->setDate(42);
    stack->addSubItems({plain, std::make_shared<VNItem>(home.writeFile("two.txt"))});
    const VNItemRef decoded = roundTripped(stack);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->lastKnownPath(), home.path());
    EXPECT_EQ(decoded->overrideDate(), 727002000.5);
    const QList<VNItemRef> members = decoded->stack();
    EXPECT_EQ(VNItem::pathsForItems(members),
              QStringList({home.filePath("one.txt"), home.filePath("two.txt")}));
    EXPECT_EQ(members[0]->overrideDate(), 42);
    EXPECT_EQ(members[0]->aliasData(), plain->aliasData());
    EXPECT_FALSE(members[0]->hasMemberMap());
    EXPECT_EQ(members[1]->overrideDate(), 0);
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

TEST_F(VNItemTest, DecodingIgnoresValuesOfTheWrongKindAndKeepsAnEmptyMemberMap)
{
    auto odd = std::make_shared<OddItem>();
    const VNItemRef empty = roundTripped(odd);
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->lastKnownPath().isNull());
    EXPECT_TRUE(empty->aliasData().isNull());
    EXPECT_EQ(empty->overrideDate(), 0);
    EXPECT_TRUE(empty->isInvisible());
    EXPECT_TRUE(empty->hasMemberMap());
    EXPECT_FALSE(empty->isStack());
    EXPECT_TRUE(archived(empty).toMap().contains("stack"));

    odd->stack = {{"/a", "a string, not an item"},
                  {"/b", QVariant::fromValue(ArchivableObjectRef(std::make_shared<VNItem>("/b")))}};
    EXPECT_EQ(VNItem::pathsForItems(roundTripped(odd)->stack()), QStringList({"/b"}));
}

TEST_F(VNItemTest, PartialPathTitlesShortenLongFolderNames)
{
    const auto partialTitle = [](const QString &path) {
        const VNItemRef item = std::make_shared<VNItem>(path);
        item->setUsePartialPathForTitle(true);
        return item->imageTitle();
    };
    EXPECT_EQ(std::make_shared<VNItem>("/data/abcdefghijklm/file.txt")->imageTitle(), "file.txt");
    EXPECT_EQ(partialTitle("/data/abcdefghijklm/file.txt"), "abcdefghijklm/file.txt");
    EXPECT_EQ(partialTitle("/data/abcdefghijklmn/file.txt"), QString::fromUtf8("abcdefghijk\u2026/file.txt"));
    EXPECT_EQ(partialTitle("/file.txt"), "/file.txt");

    const VNItemRef item = std::make_shared<VNItem>("/a/b/c.txt");
    EXPECT_EQ(item->arrayOfPaths(true), QStringList({"/a/b/c.txt", "/a/b", "/a"}));
    EXPECT_EQ(item->arrayOfPaths(false), QStringList({"/a/b", "/a"}));
    EXPECT_TRUE(std::make_shared<VNItem>("/a")->arrayOfPaths(false).isEmpty());
    EXPECT_TRUE(std::make_shared<VNItem>("/")->arrayOfPaths(true).isEmpty());
}

TEST_F(VNItemTest, TheSubtitleNamesTodayYesterdayOrTheDate)
{
    const QLocale locale;
    const QString path = home.writeFile("a.txt");
    const VNItemRef today = updated(path);
    EXPECT_EQ(today->imageSubtitle(),
              "Today, " +
                  locale.toString(today->modificationDate().toLocalTime().time(), QLocale::ShortFormat));
    setTime(path, QDateTime(QDate::currentDate().addDays(-1), QTime(12, 0)));
    EXPECT_EQ(updated(path)->imageSubtitle(),
              "Yesterday, " + locale.toString(QTime(12, 0), QLocale::ShortFormat));
    setTime(path, QDateTime(QDate(2020, 3, 4), QTime(12, 0)));
    EXPECT_EQ(updated(path)->imageSubtitle(), locale.toString(QDate(2020, 3, 4), QLocale::LongFormat));
}

TEST_F(VNItemTest, HidesSystemLocationsDotNamesListedNamesAndMissingVolumes)
{
    ASSERT_TRUE(home.path().startsWith("/tmp/"));
    ASSERT_FALSE(mediaFolder().isEmpty());
    for (const QString &path : QStringList{{},
                                           "/tmp/vantry-elsewhere/x",
                                           "/tmp",
                                           "/usr/local/x",
                                           "/proc/self/status",
                                           "/lib64/x",
                                           "/private/tmp/x",
                                           home.filePath(".config/x"),
                                           home.writeFile(".profile"),
                                           home.filePath("Library/.cache/x"),
                                           mediaFolder() + "/VantryNoSuchVolume/Documents/x.txt"})
        EXPECT_TRUE(VNItem::isPathInvisible(path)) << path.toStdString();
    for (const QString &path :
         QStringList{"/tmpfiles/x", "/library/x", home.path(), home.writeFile("Documents/report.txt"),
                     home.writeFile("Library/Mail/x")})
        EXPECT_FALSE(VNItem::isPathInvisible(path)) << path.toStdString();

    const auto writeHiddenList = [&](const QString &folder, const QByteArray &names) {
        QFile list(home.filePath(folder + ".hidden"));
        ASSERT_TRUE(list.open(QIODevice::WriteOnly));
        list.write(names);
    };
    writeHiddenList("", "secret.txt\nArchive\n");
    EXPECT_TRUE(VNItem::isPathInvisible(home.writeFile("secret.txt")));
    EXPECT_TRUE(VNItem::isPathInvisible(home.writeFile("Archive/2019/old.txt")));
    EXPECT_FALSE(VNItem::isPathInvisible(home.writeFile("public.txt")));
    // Only existing files are looked up, and the Library exception comes first.
    EXPECT_FALSE(VNItem::isPathInvisible(home.filePath("Archive/2019/gone.txt")));
    writeHiddenList("Library/Mail/", "x\n");
    EXPECT_FALSE(VNItem::isPathInvisible(home.filePath("Library/Mail/x")));
}

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
        const QString path = volume.filePath("a.txt");
        ASSERT_TRUE(QFile(path).open(QIODevice::WriteOnly));
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
