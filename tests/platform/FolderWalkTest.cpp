#include "FolderWalk.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QThread>

#include <gtest/gtest.h>

namespace {

QStringList decoded(const QList<QByteArray> &paths)
{
    QStringList names;
    for (const QByteArray &path : paths)
        names.append(QFile::decodeName(path));
    names.sort();
    return names;
}

void write(const QString &path)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Append));
    file.write("x");
}

TEST(FolderWalk, VisitsFoldersParentsFirstWithoutDotFoldersOrLinks)
{
    TemporaryHome home;
    const QString root = home.filePath("tree");
    QDir().mkpath(root + "/a/b");
    QDir().mkpath(root + "/.hidden/c");
    QDir().mkpath(root + "/elsewhere");
    write(root + "/a/file");
    ASSERT_TRUE(QFile::link(root + "/elsewhere", root + "/a/link"));

    QList<QByteArray> visited;
    FolderWalk::visitFolders(QFile::encodeName(root), [&](const QByteArray &folder) {
        visited.append(folder);
        return true;
    });

    EXPECT_EQ(decoded(visited), QStringList({root, root + "/a", root + "/a/b", root + "/elsewhere"}));
    EXPECT_LT(visited.indexOf(QFile::encodeName(root + "/a")),
              visited.indexOf(QFile::encodeName(root + "/a/b")));
}

TEST(FolderWalk, StopsWhenTheVisitorSaysSo)
{
    TemporaryHome home;
    QDir().mkpath(home.filePath("tree/a/b/c"));

    int visits = 0;
    FolderWalk::visitFolders(QFile::encodeName(home.filePath("tree")),
                             [&](const QByteArray &) { return ++visits < 2; });

    EXPECT_EQ(visits, 2);
}

TEST(FolderWalk, FindsFoldersWithEntriesChangedSinceAMoment)
{
    TemporaryHome home;
    const QString root = home.filePath("tree");
    for (const char *folder : {"/untouched", "/edited", "/grown", "/parent/child"})
        QDir().mkpath(root + folder);
    write(root + "/untouched/file");
    write(root + "/edited/file");

    // File times come from a coarse clock: keep clear of it on both sides of the moment.
    QThread::msleep(50);
    const qint64 since = QDateTime::currentMSecsSinceEpoch();
    QThread::msleep(50);
    write(root + "/edited/file");
    write(root + "/grown/new");
    write(root + "/parent/child/new");

    QList<QByteArray> changed;
    FolderWalk::visitChangedFolders(QFile::encodeName(root), since,
                                    [&](const QByteArray &folder) { changed.append(folder); });

    EXPECT_EQ(decoded(changed), QStringList({root + "/edited", root + "/grown", root + "/parent/child"}));
}

} // namespace
