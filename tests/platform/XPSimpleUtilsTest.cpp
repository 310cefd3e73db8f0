#include "XPSimpleUtils.h"

#include "TemporaryMount.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

namespace {

class XPSimpleUtilsTest : public ::testing::Test {
protected:
    QString makeFile(const QString &name, const QByteArray &content = "text")
    {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    static QString resolved(const QByteArray &alias, qint16 &error)
    {
        return XPSimpleUtils::resolveAliasDataToPath(alias, error);
    }

    QTemporaryDir folder;
};

TEST_F(XPSimpleUtilsTest, AliasDataNeedsAnExistingAbsolutePath)
{
    EXPECT_TRUE(XPSimpleUtils::aliasDataForPath(QString()).isEmpty());
    EXPECT_TRUE(XPSimpleUtils::aliasDataForPath(folder.filePath("missing")).isEmpty());
    EXPECT_TRUE(XPSimpleUtils::aliasDataForPath("relative/path").isEmpty());
    EXPECT_FALSE(XPSimpleUtils::aliasDataForPath(makeFile("a.txt")).isEmpty());
    EXPECT_FALSE(XPSimpleUtils::aliasDataForPath(folder.path()).isEmpty());
    EXPECT_FALSE(XPSimpleUtils::aliasDataForPath("/").isEmpty());
}

TEST_F(XPSimpleUtilsTest, ResolvesToThePathWhileTheFileIsThere)
{
    const QString path = makeFile("a.txt");
    qint16 error = 1;
    EXPECT_EQ(resolved(XPSimpleUtils::aliasDataForPath(path), error), path);
    EXPECT_EQ(error, XPSimpleUtils::noErr);
    EXPECT_EQ(resolved(XPSimpleUtils::aliasDataForPath("/"), error), "/");
}

TEST_F(XPSimpleUtilsTest, FollowsARenameWithinTheFolder)
{
    const QString path = makeFile("draft.txt");
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(path);
    makeFile("other.txt");
    ASSERT_TRUE(QFile::rename(path, folder.filePath("final version.txt")));
    qint16 error = 1;
    EXPECT_EQ(resolved(alias, error), folder.filePath("final version.txt"));
    EXPECT_EQ(error, XPSimpleUtils::noErr);
}

TEST_F(XPSimpleUtilsTest, FollowsTheOriginalFileBeforeANewOneOfTheSameName)
{
    const QString path = makeFile("a.txt");
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(path);
    ASSERT_TRUE(QFile::rename(path, folder.filePath("b.txt")));
    makeFile("a.txt");
    qint16 error = 1;
    EXPECT_EQ(resolved(alias, error), folder.filePath("b.txt"));
}

TEST_F(XPSimpleUtilsTest, FindsAFileReplacedUnderItsName)
{
    // How editors save: write a new file, then rename it over the old one.
    const QString path = makeFile("a.txt");
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(path);
    const QString replacement = makeFile("a.txt.new", "new text");
    ASSERT_EQ(::rename(QFile::encodeName(replacement).constData(), QFile::encodeName(path).constData()), 0);
    qint16 error = 1;
    EXPECT_EQ(resolved(alias, error), path);
    EXPECT_EQ(error, XPSimpleUtils::noErr);
}

TEST_F(XPSimpleUtilsTest, AGoneFileIsNotFound)
{
    const QString path = makeFile("a.txt");
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(path);
    ASSERT_TRUE(QFile::remove(path));
    qint16 error = 0;
    EXPECT_EQ(resolved(alias, error), QString());
    EXPECT_EQ(error, XPSimpleUtils::fnfErr);
}

TEST_F(XPSimpleUtilsTest, GivesUpWhenTheFolderMoved)
{
    ASSERT_TRUE(QDir(folder.path()).mkdir("inner"));
    const QString path = makeFile("inner/a.txt");
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(path);
    ASSERT_TRUE(QDir(folder.path()).rename("inner", "moved"));
    qint16 error = 0;
    EXPECT_EQ(resolved(alias, error), QString());
    EXPECT_EQ(error, XPSimpleUtils::fnfErr);
}

TEST_F(XPSimpleUtilsTest, ASymbolicLinkIsFollowedAsItself)
{
    const QString target = makeFile("target.txt");
    const QString link = folder.filePath("link");
    ASSERT_TRUE(QFile::link(target, link));
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(link);
    ASSERT_TRUE(QFile::rename(link, folder.filePath("renamed link")));
    qint16 error = 1;
    EXPECT_EQ(resolved(alias, error), folder.filePath("renamed link"));

    const QString dangling = folder.filePath("dangling");
    ASSERT_TRUE(QFile::link(folder.filePath("nothing"), dangling));
    EXPECT_EQ(resolved(XPSimpleUtils::aliasDataForPath(dangling), error), dangling);
}

TEST_F(XPSimpleUtilsTest, RefusesMissingOrDamagedData)
{
    qint16 error = 0;
    EXPECT_EQ(resolved(QByteArray(), error), QString());
    EXPECT_EQ(error, XPSimpleUtils::paramErr);

    error = 0;
    EXPECT_EQ(resolved("not an alias at all", error), QString());
    EXPECT_EQ(error, XPSimpleUtils::paramErr);

    const QByteArray alias = XPSimpleUtils::aliasDataForPath(makeFile("a.txt"));
    for (const qsizetype size : {qsizetype(0), qsizetype(4), alias.size() / 2, alias.size() - 1}) {
        error = 0;
        EXPECT_EQ(resolved(alias.left(size), error), QString()) << size;
        EXPECT_EQ(error, XPSimpleUtils::paramErr) << size;
    }
    error = 0;
    EXPECT_EQ(resolved(alias + "trailing", error), QString());
    EXPECT_EQ(error, XPSimpleUtils::paramErr);
}

TEST_F(XPSimpleUtilsTest, ResolvingWithUIOnlyWorksOnTheMainThread)
{
    const QString path = makeFile("a.txt");
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(path);
    qint16 error = 1;
    EXPECT_EQ(XPSimpleUtils::resolveAliasDataToPath(alias, error, true), path);
    EXPECT_EQ(error, XPSimpleUtils::noErr);

    QString offMain = "unset";
    QThread *worker =
        QThread::create([&] { offMain = XPSimpleUtils::resolveAliasDataToPath(alias, error, true); });
    worker->start();
    worker->wait();
    delete worker;
    EXPECT_EQ(offMain, QString());
    EXPECT_EQ(error, XPSimpleUtils::paramErr);
}

TEST_F(XPSimpleUtilsTest, AFileOnAnUnmountedVolumeReportsNoSuchVolume)
{
    const QString volume = folder.filePath("volume");
    ASSERT_TRUE(QDir().mkpath(volume));
    TemporaryMount mount(volume);
    if (!mount.isMounted())
        GTEST_SKIP() << "cannot mount here";
    QFile file(volume + "/on volume.txt");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(file.fileName());

    mount.unmount();
    ASSERT_FALSE(mount.isMounted());
    qint16 error = 0;
    EXPECT_EQ(resolved(alias, error), QString());
    EXPECT_EQ(error, XPSimpleUtils::nsvErr);
}

} // namespace
