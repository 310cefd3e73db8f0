#include "DefaultsTable.h"
#include "FileSystemEventStream.h"
#include "ProcessResult.h"
#include "TemporaryHome.h"
#include "TemporaryMount.h"
#include "UserDefaults.h"
#include "VNRecentFiles.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

// The engine end to end on a temporary home: real files, real inotify, a real GTK client.
namespace {

class RecentEngineTest : public ::testing::Test {
protected:
    RecentEngineTest() { defaults.registerDefaults(DefaultsTable::registrationDomain()); }

    void startEngine()
    {
        stream.emplace(home.filePath(".local/share/Vantry/eventStream.plist"));
        collector.emplace(defaults, *stream, home.filePath(".local/share/Vantry/recentItems.plist"));
        collector->start();
        ASSERT_TRUE(stream->isActive());
    }

    void stopEngine()
    {
        collector->writeState();
        collector.reset();
        stream.reset();
    }

    QString path(const QString &relative) const { return QDir::homePath() + QLatin1Char('/') + relative; }

    // Waits until the main list, built from fresh file facts, holds `wanted` (a stack when stackSize > 0).
    bool listShows(const QString &wanted, int stackSize = 0)
    {
        return waitUntil([&] {
            for (const RecentEvent &event : collector->pastEvents()) {
                for (const VNItemRef &file : event.files)
                    file->calculateCache();
            }
            for (const VNItemRef &item : collector->recentFiles()) {
                if (item->path() == wanted && (stackSize == 0 || item->stackCount() == stackSize))
                    return true;
            }
            return false;
        });
    }

    TemporaryHome home;
    UserDefaults defaults{home.filePath(".config/Vantry/Vantry.plist")};
    std::optional<FileSystemEventStream> stream;
    std::optional<VNRecentFiles> collector;
};

TEST_F(RecentEngineTest, SavedFilesAppearAsSinglesAndStacks)
{
    QDir().mkpath(path("Documents/Project"));
    startEngine();
    home.writeFile("Documents/letter.odt");
    ASSERT_TRUE(listShows(path("Documents/letter.odt")));

    for (const char *name : {"a.txt", "b.txt", "c.txt", "d.txt"})
        home.writeFile(QStringLiteral("Documents/Project/") + name);
    EXPECT_TRUE(listShows(path("Documents/Project"), 4));

    // A new folder is watched at once; a rename brings the new name in.
    home.writeFile("Documents/Fresh/notes.md");
    EXPECT_TRUE(listShows(path("Documents/Fresh/notes.md")));
    ASSERT_TRUE(QFile::rename(path("Documents/letter.odt"), path("Documents/letter-final.odt")));
    EXPECT_TRUE(listShows(path("Documents/letter-final.odt")));
}

TEST_F(RecentEngineTest, ChangesWhileNotRunningAreReplayedAtTheNextStart)
{
    home.writeFile("Documents/before.txt", 7200);
    startEngine();
    home.writeFile("Documents/seen.txt");
    ASSERT_TRUE(listShows(path("Documents/seen.txt")));
    stopEngine();

    home.writeFile("Documents/while-away.txt");
    startEngine();
    EXPECT_TRUE(listShows(path("Documents/while-away.txt")));
    EXPECT_TRUE(listShows(path("Documents/seen.txt")));
}

TEST_F(RecentEngineTest, AVolumeMountedWhileRunningIsWatched)
{
    const passwd *entry = getpwuid(geteuid());
    ASSERT_TRUE(entry);
    const QString volume = QStringLiteral("/media/%1/vantry-test-%2")
                               .arg(qEnvironmentVariable("USER", QString::fromLocal8Bit(entry->pw_name)))
                               .arg(getpid());
    startEngine();
    ASSERT_TRUE(QDir().mkpath(volume)); // as the desktop does: the folder comes with the mount
    const auto cleanUp = qScopeGuard([&] { QDir().rmdir(volume); });
    TemporaryMount mount(volume);
    if (!mount.isMounted())
        GTEST_SKIP() << "cannot mount here";
    const QString document = volume + "/report.odt";
    QFile file(document);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("text");
    file.close();
    EXPECT_TRUE(listShows(document));
    mount.unmount();
}

TEST_F(RecentEngineTest, DocumentsOpenedInAGtkApplicationJoinTheList)
{
    const QString document = home.writeFile("Documents/opened.pdf", 86400 * 10);
    startEngine();
    // A GTK application records what it opens in recently-used.xbel under XDG_DATA_HOME.
    const ProcessResult gtk =
        runProcess("/usr/bin/python3",
                   {"-c",
                    "import sys, gi; gi.require_version('Gtk', '3.0'); from gi.repository import Gtk, GLib\n"
                    "manager = Gtk.RecentManager.get_default()\n"
                    "manager.add_item(GLib.filename_to_uri(sys.argv[1], None))\n"
                    "loop = GLib.MainLoop(); GLib.timeout_add(1500, loop.quit); loop.run()\n",
                    document});
    ASSERT_EQ(gtk.status, 0) << gtk.err.toStdString();
    EXPECT_TRUE(listShows(document));
}

} // namespace
