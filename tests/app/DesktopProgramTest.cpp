#include "ProcessResult.h"
#include "TemporaryHome.h"
#include "TemporaryXServer.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>

#include <gtest/gtest.h>

namespace {

// The desktop program as a user runs it: the real `vantry` in a private X server and a temporary home,
// driven with real key presses.
class DesktopProgramTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!server.isRunning())
            GTEST_SKIP() << "Xvfb is not available";
        vantry.setProgram(vantryProgram());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "xcb"); // the tests themselves run offscreen
        vantry.setProcessEnvironment(environment);
        vantry.setProcessChannelMode(QProcess::ForwardedChannels);
        vantry.start();
        ASSERT_TRUE(waitUntil([this] { return windowFocused(); }, std::chrono::seconds(20)));
    }
    void TearDown() override
    {
        if (vantry.state() == QProcess::NotRunning)
            return;
        vantry.terminate();
        vantry.waitForFinished(10000);
    }

    bool windowVisible() const
    {
        return server.run("xdotool", {"search", "--onlyvisible", "--name", "^Vantry$"});
    }
    bool windowHidden() const { return !windowVisible(); }
    bool windowFocused() const
    {
        QByteArray window, focus;
        return server.run("xdotool", {"search", "--onlyvisible", "--name", "^Vantry$"}, &window) &&
               server.run("xdotool", {"getwindowfocus"}, &focus) && window == focus;
    }

    TemporaryHome home;
    TemporaryXServer server;
    QProcess vantry;
};

TEST_F(DesktopProgramTest, TheHotKeyHidesAndShowsTheWindow)
{
    ASSERT_TRUE(server.run("xdotool", {"key", "super+slash"}));
    EXPECT_TRUE(waitUntil([this] { return windowHidden(); }, std::chrono::seconds(10)));
    ASSERT_TRUE(server.run("xdotool", {"key", "super+slash"}));
    EXPECT_TRUE(waitUntil([this] { return windowFocused(); }, std::chrono::seconds(10)));
}

TEST_F(DesktopProgramTest, LaterStartsHandOverToTheRunningProgram)
{
    ProcessResult toggled = runVantry({"--activate"});
    EXPECT_EQ(toggled.status, 0) << toggled.err.constData();
    EXPECT_TRUE(waitUntil([this] { return windowHidden(); }, std::chrono::seconds(10)));

    ProcessResult second = runVantry({});
    EXPECT_EQ(second.status, 0) << second.err.constData();
    EXPECT_TRUE(waitUntil([this] { return windowVisible(); }, std::chrono::seconds(10)));
    EXPECT_EQ(vantry.state(), QProcess::Running) << "still the one program";

    const QString file = home.writeFile("Documents/letter.txt");
    EXPECT_EQ(runVantry({file}).status, 0);
    // The running program keeps the metadata index current from the same events.
    EXPECT_TRUE(waitUntil(
        [&] {
            return runVantry({"query", "kMDItemFSName == letter.txt"}).out == file.toUtf8() + '\n';
        },
        std::chrono::seconds(20)));
}

TEST_F(DesktopProgramTest, TerminationSavesTheStateAndThePreferences)
{
    vantry.terminate();
    ASSERT_TRUE(vantry.waitForFinished(10000));
    EXPECT_EQ(vantry.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(vantry.exitCode(), 0);
    EXPECT_TRUE(QFile::exists(QDir::homePath() + "/.local/share/Vantry/recentItems.plist"));
    const ProcessResult dump =
        runVantry({"dump", "--json", QDir::homePath() + "/.config/Vantry/Vantry.plist"});
    EXPECT_TRUE(dump.out.contains("\"VNVirginLaunch\": false")) << dump.out.constData();
}

} // namespace
