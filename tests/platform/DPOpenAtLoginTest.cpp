#include "DPOpenAtLogin.h"

#include "TemporaryHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QScopeGuard>

#include <gtest/gtest.h>

namespace {

QStringList lines(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split(u'\n') : QStringList();
}

void write(const QString &path, const QByteArray &data)
{
    QDir().mkpath(path.section(u'/', 0, -2));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(data);
}

TEST(DPOpenAtLoginTest, WritesAnAutostartEntryForTheRunningProgramAndRemovesIt)
{
    TemporaryHome home;
    const QString entry = home.filePath(".config/autostart/vantry.desktop");
    EXPECT_EQ(DPOpenAtLogin::entryPath(), entry);
    EXPECT_FALSE(DPOpenAtLogin::openAtLoginEnabled());

    ASSERT_TRUE(DPOpenAtLogin::toggleLoginItem());
    EXPECT_TRUE(DPOpenAtLogin::openAtLoginEnabled());
    const QStringList written = lines(entry);
    EXPECT_EQ(written.value(0), "[Desktop Entry]");
    for (const QString &line :
         {QStringLiteral("Type=Application"), QStringLiteral("Name=Vantry"),
          QStringLiteral("X-GNOME-Autostart-enabled=true"),
          "Exec=" + DPOpenAtLogin::execValue(QCoreApplication::applicationFilePath()) + " --background"})
        EXPECT_TRUE(written.contains(line)) << qPrintable(line);
    EXPECT_FALSE(written.contains("Hidden=true"));

    ASSERT_TRUE(DPOpenAtLogin::toggleLoginItem());
    EXPECT_FALSE(DPOpenAtLogin::openAtLoginEnabled());
    EXPECT_FALSE(QFile::exists(entry));
}

TEST(DPOpenAtLoginTest, QuotesAndEscapesTheProgramPathAsDesktopEntriesRequire)
{
    EXPECT_EQ(DPOpenAtLogin::execValue("/usr/bin/vantry"), "/usr/bin/vantry");
    EXPECT_EQ(DPOpenAtLogin::execValue("/opt/100%/vantry"), "/opt/100%%/vantry");
    // Inside quotes "$" is escaped with a backslash, which the string level then doubles.
    EXPECT_EQ(DPOpenAtLogin::execValue("/home/a b/$x \"q\"/v"), R"("/home/a b/\\$x \\"q\\"/v")");
}

TEST(DPOpenAtLoginTest, HonoursEntriesSwitchedOffAndSystemEntries)
{
    TemporaryHome home;
    const QString entry = home.filePath(".config/autostart/vantry.desktop");
    write(entry, "[Desktop Entry]\nType=Application\nName=Vantry\nExec=vantry\nHidden=true\n");
    EXPECT_FALSE(DPOpenAtLogin::openAtLoginEnabled());
    write(entry, "[Desktop Entry]\nExec=vantry\nX-GNOME-Autostart-enabled=false\n");
    EXPECT_FALSE(DPOpenAtLogin::openAtLoginEnabled());
    write(entry, "[Desktop Entry]\nExec=vantry\n[Desktop Action x]\nHidden=true\n");
    EXPECT_TRUE(DPOpenAtLogin::openAtLoginEnabled());

    // An entry installed for all users can only be switched off by hiding it in the user's folder.
    const QByteArray savedDirs = qgetenv("XDG_CONFIG_DIRS");
    const auto restore = qScopeGuard([&] {
        if (savedDirs.isEmpty())
            qunsetenv("XDG_CONFIG_DIRS");
        else
            qputenv("XDG_CONFIG_DIRS", savedDirs);
    });
    qputenv("XDG_CONFIG_DIRS", home.filePath("xdg").toUtf8());
    write(home.filePath("xdg/autostart/vantry.desktop"), "[Desktop Entry]\nType=Application\nExec=vantry\n");
    QFile::remove(entry);
    EXPECT_TRUE(DPOpenAtLogin::openAtLoginEnabled());
    ASSERT_TRUE(DPOpenAtLogin::setOpenAtLoginEnabled(false));
    EXPECT_TRUE(lines(entry).contains("Hidden=true"));
    EXPECT_FALSE(DPOpenAtLogin::openAtLoginEnabled());
    ASSERT_TRUE(DPOpenAtLogin::toggleLoginItem());
    EXPECT_TRUE(DPOpenAtLogin::openAtLoginEnabled());
}

TEST(DPOpenAtLoginTest, ReportsAnAutostartFolderThatCannotBeWritten)
{
    TemporaryHome home;
    // A file where the folder should be stops even root, who ignores permission bits.
    write(home.filePath(".config/autostart"), "not a folder");
    EXPECT_FALSE(DPOpenAtLogin::setOpenAtLoginEnabled(true));
    EXPECT_FALSE(DPOpenAtLogin::toggleLoginItem());
    EXPECT_FALSE(DPOpenAtLogin::openAtLoginEnabled());
}

} // namespace
