#include "FolderWalk.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QThread>

#include <gtest/gtest.h>

namespace {

QStringList sorted(const QList<QByteArray> &paths)
{
    QStringList names;
    for (const QByteArray &path : paths)
        names.append(QFile::decodeName(path));
    names.sort();
    return names;
}

TEST(FolderWalk, VisitsFoldersParentsFirstWithoutDotFoldersOrLinksUntilTold)
{
    TemporaryHome home;
    const QString root = home.filePath("tree");
    home.writeFile("tree/a/b/file");
    home.writeFile("tree/.hidden/c/file");
    home.writeFile("tree/elsewhere/file");
    ASSERT_TRUE(QFile::link(root + "/elsewhere", root + "/a/link"));

    QList<QByteArray> visited;
    FolderWalk::visitFolders(QFile::encodeName(root), [&](const QByteArray &folder) {
        visited.append(folder);
        return true;
    });
    EXPECT_EQ(sorted(visited), QStringList({root, root + "/a", root + "/a/b", root + "/elsewhere"}));
    EXPECT_LT(visited.indexOf(QFile::encodeName(root + "/a")),
              visited.indexOf(QFile::encodeName(root + "/a/b")));

    int visits = 0;
    FolderWalk::visitFolders(QFile::encodeName(root), [&](const QByteArray &) { return ++visits < 2; });
    EXPECT_EQ(visits, 2);
}

TEST(FolderWalk, FindsFoldersWithEntriesChangedSinceAMoment)
{
    TemporaryHome home;
    const QString root = home.filePath("tree");
    home.writeFile("tree/untouched/file");
    home.writeFile("tree/edited/file");
    QDir().mkpath(root + "/grown");
    QDir().mkpath(root + "/parent/child");

    // File times come from a coarse clock: keep clear of it on both sides of the moment.
    QThread::msleep(50);
    const qint64 since = QDateTime::currentMSecsSinceEpoch();
    QThread::msleep(50);
    for (const char *file : {"tree/edited/file", "tree/grown/new", "tree/parent/child/new"})
        home.writeFile(file);

    QList<QByteArray> changed;
    FolderWalk::visitChangedFolders(QFile::encodeName(root), since,
                                    [&](const QByteArray &folder) { changed.append(folder); });
    EXPECT_EQ(sorted(changed), QStringList({root + "/edited", root + "/grown", root + "/parent/child"}));
}

} // namespace
