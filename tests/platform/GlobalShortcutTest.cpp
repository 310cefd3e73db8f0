#include "GlobalShortcut.h"

#include "GlobalShortcutsPortal.h"
#include "KeyboardLayout.h"
#include "QtPrinters.h"
#include "TemporaryXServer.h"
#include "VirtualKeyCodes.h"
#include "WaitUntil.h"
#include "X11HotKeyGrab.h"

#include <QDBusConnection>
#include <QProcess>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

constexpr quint32 slashKeycode = 61; // evdev KEY_SLASH + 8

class X11HotKeyGrabTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!server.isRunning())
            GTEST_SKIP() << "no Xvfb";
    }

    bool type(const QString &keys) const { return server.run("xdotool", {"key", keys}); }

    TemporaryXServer server;
};

TEST(VirtualKeyCodesTest, KeysKeepTheirPositions)
{
    EXPECT_EQ(VirtualKeyCodes::xkbKeycode(44), slashKeycode);
    EXPECT_EQ(VirtualKeyCodes::xkbKeycode(0), 38u);    // A
    EXPECT_EQ(VirtualKeyCodes::xkbKeycode(87), 84u);   // keypad 5
    EXPECT_EQ(VirtualKeyCodes::xkbKeycode(0x60), 71u); // F5
    EXPECT_EQ(VirtualKeyCodes::xkbKeycode(0x34), std::nullopt);
    EXPECT_EQ(VirtualKeyCodes::virtualKeyCode(14), quint16(0x17));  // main-row 5
    EXPECT_EQ(VirtualKeyCodes::virtualKeyCode(146), quint16(0x72)); // Help reads as Insert's position
    EXPECT_EQ(VirtualKeyCodes::virtualKeyCode(0), std::nullopt);
    for (quint16 code = 0; code < 128; ++code) {
        if (const std::optional<quint32> keycode = VirtualKeyCodes::xkbKeycode(code)) {
            EXPECT_EQ(VirtualKeyCodes::virtualKeyCode(*keycode), code) << code;
        }
    }
}

TEST_F(X11HotKeyGrabTest, APressOfTheCombinationIsReportedOnce)
{
    X11HotKeyGrab grab;
    QSignalSpy pressed(&grab, &X11HotKeyGrab::pressed);
    ASSERT_TRUE(grab.grab(slashKeycode, X11HotKeyGrab::Mod4));

    ASSERT_TRUE(type("slash"));
    ASSERT_TRUE(type("super+slash"));
    ASSERT_TRUE(waitUntil([&] { return pressed.size() == 1; }));

    // With Num Lock on the server adds its modifier to the state; the grab still has to catch the key.
    ASSERT_TRUE(type("Num_Lock"));
    ASSERT_TRUE(type("super+slash"));
    ASSERT_TRUE(waitUntil([&] { return pressed.size() == 2; }));
    ASSERT_TRUE(type("Num_Lock"));

    grab.ungrab();
    ASSERT_TRUE(type("super+slash"));
    ASSERT_TRUE(type("super+slash"));
    X11HotKeyGrab other;
    ASSERT_TRUE(other.grab(slashKeycode, X11HotKeyGrab::Mod4));
    QSignalSpy otherPressed(&other, &X11HotKeyGrab::pressed);
    ASSERT_TRUE(type("super+slash"));
    ASSERT_TRUE(waitUntil([&] { return otherPressed.size() == 1; }));
    EXPECT_EQ(pressed.size(), 2);
}

TEST_F(X11HotKeyGrabTest, ACombinationHeldByAnotherClientIsRefused)
{
    auto holder = std::make_unique<X11HotKeyGrab>();
    ASSERT_TRUE(holder->grab(slashKeycode, X11HotKeyGrab::Mod4 | X11HotKeyGrab::Shift));

    X11HotKeyGrab grab;
    EXPECT_FALSE(grab.grab(slashKeycode, X11HotKeyGrab::Mod4 | X11HotKeyGrab::Shift));
    EXPECT_TRUE(grab.grab(slashKeycode, X11HotKeyGrab::Mod4));

    holder.reset();
    EXPECT_TRUE(grab.grab(slashKeycode, X11HotKeyGrab::Mod4 | X11HotKeyGrab::Shift));
}

TEST_F(X11HotKeyGrabTest, GlobalShortcutMapsTheStoredModifiers)
{
    GlobalShortcut shortcut;
    QSignalSpy pressed(&shortcut, &GlobalShortcut::pressed);
    ASSERT_TRUE(shortcut.registerKey(44, GlobalShortcut::CommandFlag | GlobalShortcut::OptionFlag |
                                             GlobalShortcut::ControlFlag | GlobalShortcut::ShiftFlag));
    ASSERT_TRUE(type("super+slash"));
    ASSERT_TRUE(type("super+alt+ctrl+shift+slash"));
    ASSERT_TRUE(waitUntil([&] { return pressed.size() == 1; }));

    // Freed on unregistering, so another program may take it.
    X11HotKeyGrab other;
    EXPECT_FALSE(other.grab(slashKeycode, X11HotKeyGrab::Mod4 | X11HotKeyGrab::Mod1 | X11HotKeyGrab::Control |
                                              X11HotKeyGrab::Shift));
    shortcut.unregister();
    EXPECT_TRUE(other.grab(slashKeycode, X11HotKeyGrab::Mod4 | X11HotKeyGrab::Mod1 | X11HotKeyGrab::Control |
                                             X11HotKeyGrab::Shift));
}

TEST_F(X11HotKeyGrabTest, KeyboardLayoutNamesTheKeys)
{
    EXPECT_EQ(KeyboardLayout::keyText(44), "/");
    EXPECT_EQ(KeyboardLayout::keyText(0), "a");
    EXPECT_EQ(KeyboardLayout::keyText(0x60), ""); // F5 types nothing
    EXPECT_EQ(KeyboardLayout::keysymName(44), "slash");
    EXPECT_EQ(KeyboardLayout::keysymName(0x60), "F5");
}

TEST(GlobalShortcutsPortalTest, ABusWithoutThePortalFailsCleanly)
{
    QProcess daemon;
    daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address=1"});
    if (!daemon.waitForStarted() || !daemon.waitForReadyRead())
        GTEST_SKIP() << "no dbus-daemon";
    const QString address = QString::fromLatin1(daemon.readLine().trimmed());
    {
        QDBusConnection bus = QDBusConnection::connectToBus(address, "portal-test");
        ASSERT_TRUE(bus.isConnected());
        GlobalShortcutsPortal portal(bus);
        EXPECT_FALSE(portal.bind("LOGO+slash", "test"));
    }
    QDBusConnection::disconnectFromBus("portal-test");
    daemon.terminate();
    daemon.waitForFinished();
}

} // namespace
