#include "XPSimpleUtils.h"

#include "QtPrinters.h"
#include "TemporaryMount.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <utility>

namespace {

using Resolved = std::pair<QString, qint16>;

Resolved resolved(const QByteArray &alias, bool withUI = false)
{
    qint16 error = 1;
    const QString path = XPSimpleUtils::resolveAliasDataToPath(alias, error, withUI);
    return {path, error};
}

QByteArray aliasFor(const QString &path)
{
    return XPSimpleUtils::aliasDataForPath(path);
}

class XPSimpleUtilsTest : public ::testing::Test {
protected:
    QString makeFile(const QString &name)
    {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        return file.fileName();
    }

    QTemporaryDir folder;
};

TEST_F(XPSimpleUtilsTest, ResolvesAnExistingAbsolutePathToItself)
{
    EXPECT_TRUE(aliasFor(QString()).isEmpty());
    EXPECT_TRUE(aliasFor(folder.filePath("missing")).isEmpty());
    EXPECT_TRUE(aliasFor("relative/path").isEmpty());
    const QString path = makeFile("a.txt");
    EXPECT_EQ(resolved(aliasFor(path)), Resolved(path, XPSimpleUtils::noErr));
    EXPECT_EQ(resolved(aliasFor(folder.path())), Resolved(folder.path(), XPSimpleUtils::noErr));
    EXPECT_EQ(resolved(aliasFor("/")), Resolved("/", XPSimpleUtils::noErr));
}

TEST_F(XPSimpleUtilsTest, FollowsTheFileThroughRenamesAndReplacementsInItsFolder)
{
    const QByteArray renamed = aliasFor(makeFile("draft.txt"));
    makeFile("other.txt");
    ASSERT_TRUE(QFile::rename(folder.filePath("draft.txt"), folder.filePath("final version.txt")));
    EXPECT_EQ(resolved(renamed), Resolved(folder.filePath("final version.txt"), XPSimpleUtils::noErr));

    // The original file wins over a new one that took its name.
    const QByteArray moved = aliasFor(makeFile("a.txt"));
    ASSERT_TRUE(QFile::rename(folder.filePath("a.txt"), folder.filePath("b.txt")));
    makeFile("a.txt");
    EXPECT_EQ(resolved(moved).first, folder.filePath("b.txt"));

    // How editors save: write a new file, then rename it over the old one.
    const QString path = makeFile("c.txt");
    const QByteArray replaced = aliasFor(path);
    ASSERT_EQ(
        ::rename(QFile::encodeName(makeFile("c.txt.new")).constData(), QFile::encodeName(path).constData()),
        0);
    EXPECT_EQ(resolved(replaced), Resolved(path, XPSimpleUtils::noErr));

    // A symbolic link stands for itself, even when dangling.
    ASSERT_TRUE(QFile::link(path, folder.filePath("link")));
    const QByteArray link = aliasFor(folder.filePath("link"));
    ASSERT_TRUE(QFile::rename(folder.filePath("link"), folder.filePath("renamed link")));
    EXPECT_EQ(resolved(link).first, folder.filePath("renamed link"));
    ASSERT_TRUE(QFile::link(folder.filePath("nothing"), folder.filePath("dangling")));
    EXPECT_EQ(resolved(aliasFor(folder.filePath("dangling"))).first, folder.filePath("dangling"));
}

TEST_F(XPSimpleUtilsTest, AGoneFileOrAMovedFolderIsNotFound)
{
    const QByteArray gone = aliasFor(makeFile("a.txt"));
    ASSERT_TRUE(QFile::remove(folder.filePath("a.txt")));
    EXPECT_EQ(resolved(gone), Resolved(QString(), XPSimpleUtils::fnfErr));

    ASSERT_TRUE(QDir(folder.path()).mkdir("inner"));
    const QByteArray inner = aliasFor(makeFile("inner/a.txt"));
    ASSERT_TRUE(QDir(folder.path()).rename("inner", "moved"));
    EXPECT_EQ(resolved(inner), Resolved(QString(), XPSimpleUtils::fnfErr));
}

TEST_F(XPSimpleUtilsTest, RefusesDamagedDataAndResolvingWithUIOffTheMainThread)
{
    const Resolved refused(QString(), XPSimpleUtils::paramErr);
    EXPECT_EQ(resolved(QByteArray()), refused);
    EXPECT_EQ(resolved("not an alias at all"), refused);
    const QString path = makeFile("a.txt");
    const QByteArray alias = aliasFor(path);
    for (const qsizetype size : {qsizetype(4), alias.size() / 2, alias.size() - 1})
        EXPECT_EQ(resolved(alias.left(size)), refused) << size;
    EXPECT_EQ(resolved(alias + "trailing"), refused);

    EXPECT_EQ(resolved(alias, true), Resolved(path, XPSimpleUtils::noErr));
    Resolved offMain;
    std::unique_ptr<QThread> worker(QThread::create([&] { offMain = resolved(alias, true); }));
    worker->start();
    worker->wait();
    EXPECT_EQ(offMain, refused);
}

TEST_F(XPSimpleUtilsTest, AFileOnAnUnmountedVolumeReportsNoSuchVolume)
{
    const QString volume = folder.filePath("volume");
    ASSERT_TRUE(QDir().mkpath(volume));
    TemporaryMount mount(volume);
    if (!mount.isMounted())
        GTEST_SKIP() << "cannot mount here";
    const QByteArray alias = aliasFor(makeFile("volume/on volume.txt"));
    mount.unmount();
    ASSERT_FALSE(mount.isMounted());
    EXPECT_EQ(resolved(alias), Resolved(QString(), XPSimpleUtils::nsvErr));
}

} // namespace
