#include "Workspace.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"
#include "TemporaryMount.h"
#include "WaitUntil.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <memory>

namespace {

// The desktop library reads HOME and XDG_DATA_HOME once per process, so the whole suite shares one home.
class WorkspaceTest : public testing::Test {
protected:
    static void SetUpTestSuite() { home = std::make_unique<TemporaryHome>(); }
    static void TearDownTestSuite() { home.reset(); }

    static QString trash(const QString &relative) { return home->filePath(".local/share/Trash/" + relative); }
    static QString escaped(const QString &path)
    {
        return QString::fromLatin1(QUrl::toPercentEncoding(path, "/"));
    }

    static inline std::unique_ptr<TemporaryHome> home;
};

TEST_F(WorkspaceTest, MovesFilesFoldersAndLinksToTheHomeTrash)
{
    const QString name = "Notes 100% été.txt";
    const QString file = home->writeFile("Documents/" + name);
    QString error;
    EXPECT_TRUE(Workspace::moveFileToTrash(file, false, &error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_TRUE(QFileInfo::exists(trash("files/" + name)));
    QFile info(trash("info/" + name + ".trashinfo"));
    ASSERT_TRUE(info.open(QIODevice::ReadOnly));
    EXPECT_TRUE(QString::fromUtf8(info.readAll()).split(u'\n').contains("Path=" + escaped(file)));

    home->writeFile("Project/sub/a.txt");
    EXPECT_TRUE(Workspace::moveFileToTrash(home->filePath("Project/"), false));
    EXPECT_FALSE(QFileInfo::exists(home->filePath("Project")));
    EXPECT_TRUE(QFileInfo::exists(trash("files/Project/sub/a.txt")));

    const QString target = home->writeFile("target.txt");
    ASSERT_TRUE(QFile::link(target, home->filePath("link")));
    EXPECT_TRUE(Workspace::moveFileToTrash("~/link", false));
    EXPECT_TRUE(QFileInfo(trash("files/link")).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(target));

    EXPECT_TRUE(Workspace::moveFileToTrash(home->filePath("never there"), false));
}

TEST_F(WorkspaceTest, DeletesOnlyWhenAskedWhereTheresNoTrash)
{
    QTemporaryDir scratch;
    TemporaryMount mount(scratch.path());
    if (!mount.isMounted())
        GTEST_SKIP() << "mounting needs root";
    const QString file = scratch.filePath("kept.txt");
    QFile(file).open(QIODevice::WriteOnly);

    QString error;
    EXPECT_FALSE(Workspace::moveFileToTrash(file, false, &error));
    EXPECT_TRUE(error.contains(file)) << error.toStdString();
    EXPECT_TRUE(QFileInfo::exists(file));
    EXPECT_TRUE(Workspace::moveFileToTrash(file, true));
    EXPECT_FALSE(QFileInfo::exists(file));

    // Deleting removes links, never what they point at.
    const QString outside = home->writeFile("Outside/keep.txt");
    const QString folder = scratch.filePath("folder");
    ASSERT_TRUE(QDir().mkpath(folder + "/inner"));
    ASSERT_TRUE(QFile::link(home->filePath("Outside"), folder + "/inner/to-folder"));
    ASSERT_TRUE(QFile::link(home->filePath("Outside"), scratch.filePath("to-folder")));
    EXPECT_TRUE(Workspace::moveFileToTrash(folder, true));
    EXPECT_TRUE(Workspace::moveFileToTrash(scratch.filePath("to-folder/"), true));
    EXPECT_FALSE(QFileInfo::exists(folder));
    EXPECT_FALSE(QFileInfo(scratch.filePath("to-folder")).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(outside));
}

// Answers ShowItems like a file manager and turns every other call down, recording what it was asked.
class FileManagerStandIn : public QDBusVirtualObject {
public:
    QStringList calls;

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        calls << message.member() + u' ' + message.arguments().value(0).toStringList().join(u' ');
        connection.send(message.member() == "ShowItems"
                            ? message.createReply()
                            : message.createErrorReply(QDBusError::UnknownMethod, message.member()));
        return true;
    }
};

TEST_F(WorkspaceTest, AsksTheFileManagerOnTheSessionBus)
{
    if (QStandardPaths::findExecutable("dbus-daemon").isEmpty())
        GTEST_SKIP() << "no dbus-daemon";
    QProcess daemon;
    daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
    ASSERT_TRUE(daemon.waitForReadyRead());
    const QByteArray address = daemon.readLine().trimmed();
    // The program's session bus connection is made on first use, from this variable.
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);

    FileManagerStandIn standIn;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QString::fromUtf8(address), "file-manager");
        ASSERT_TRUE(bus.registerVirtualObject("/org/freedesktop/FileManager1", &standIn));
        ASSERT_TRUE(bus.registerService("org.freedesktop.FileManager1"));
    }

    const QString file = home->writeFile("Shown 100% été.txt");
    const QString uri = "file://" + escaped(file);
    Workspace::revealFile(file);
    ASSERT_TRUE(waitUntil([&] { return standIn.calls.size() == 1; }));
    EXPECT_EQ(standIn.calls.value(0), "ShowItems " + uri);

    Workspace::showFileInfo(file);
    ASSERT_TRUE(waitUntil([&] { return standIn.calls.size() == 3; }));
    EXPECT_EQ(standIn.calls.mid(1), QStringList({"ShowItemProperties " + uri, "ShowItems " + uri}));

    QDBusConnection::disconnectFromBus("file-manager");
    daemon.terminate();
    daemon.waitForFinished();
}

} // namespace
