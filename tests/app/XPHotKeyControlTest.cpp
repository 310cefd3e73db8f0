#include "XPHotKeyControl.h"

#include "DefaultsTable.h"
#include "GlobalShortcut.h"
#include "PropertyList.h"
#include "QtPrinters.h"
#include "TemporaryHome.h"
#include "TemporaryXServer.h"
#include "UserDefaults.h"
#include "WaitUntil.h"
#include "X11HotKeyGrab.h"

#include <QAction>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>
#include <QWidget>

#include <gtest/gtest.h>

namespace {

constexpr quint64 command = GlobalShortcut::CommandFlag;
constexpr quint64 option = GlobalShortcut::OptionFlag;
constexpr quint32 slashKeycode = 61;

// The program's defaults, kept in a home of their own for the whole test program.
UserDefaults &sandboxedDefaults()
{
    static TemporaryHome home;
    static UserDefaults &defaults = []() -> UserDefaults & {
        UserDefaults &standard = UserDefaults::standard();
        standard.registerDefaults(DefaultsTable::registrationDomain());
        return standard;
    }();
    return defaults;
}

class XPHotKeyControlTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!server.isRunning())
            GTEST_SKIP() << "no Xvfb";
        for (const char *key :
             {"XPUseGlobalHotKey", "XPHotKeyKeyCode", "XPHotKeyCharacter", "XPModifierFlags"})
            defaults.removeValue(key);
        XPHotKeyControl::setApplicationToggle([this](bool activate) { toggles << activate; });
    }
    void TearDown() override
    {
        XPHotKeyControl::unInstallHotKey();
        XPHotKeyControl::setApplicationToggle({});
    }

    static void press(QWidget *field, int key, Qt::KeyboardModifiers modifiers, quint32 scanCode)
    {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, scanCode, 0, 0);
        QCoreApplication::sendEvent(field, &event);
    }
    bool type(const QString &keys) const { return server.run("xdotool", {"key", keys}); }

    UserDefaults &defaults = sandboxedDefaults();
    TemporaryXServer server;
    // Another client of the server, which also keeps it from resetting whenever our own connections close.
    X11HotKeyGrab otherClient;
    QList<bool> toggles;
};

TEST_F(XPHotKeyControlTest, KeysAreNamedByTheirCharacter)
{
    EXPECT_EQ(XPHotKeyControl::stringForKeyCode(44, '/', command), "⌘/");
    EXPECT_EQ(XPHotKeyControl::stringForKeyCode(87, '5', command), "⌘[5]");
    EXPECT_EQ(XPHotKeyControl::stringForKeyCode(23, '5', command), "⌘5");
    EXPECT_EQ(XPHotKeyControl::stringForKeyCode(0, 'a', option), "⌥A");
    EXPECT_EQ(XPHotKeyControl::stringForModifiers(0x1E0000), "⌃⌥⇧⌘");

    const QList<std::pair<quint16, QString>> names{
        {3, "↵"},         {9, "⇥"},          {13, "↩"},
        {27, "Esc"},      {32, "Space"},     {127, "Del"},
        {0xF700, "↑"},    {0xF703, "→"},     {0xF708, "F5"},
        {0xF726, "F35"},  {0xF727, "Ins"},   {0xF729, "↖"},
        {0xF72D, "PgDn"}, {0xF72E, "Print"}, {0xF738, "Print"},
        {0xF73E, "⌦"},    {0xF742, "Exec"},  {0xF747, "ModeSwitch"}};
    for (const auto &[character, name] : names)
        EXPECT_EQ(XPHotKeyControl::stringForKeyCode(0x7F, character), name) << character;
    // A key the layout cannot name shows its character.
    EXPECT_EQ(XPHotKeyControl::stringForKeyCode(0x34, 0xE9), "é");
}

TEST_F(XPHotKeyControlTest, TheFieldRecordsOnlyCombinationsThatCanBeHotKeys)
{
    XPHotKeyControl field;
    QSignalSpy recorded(&field, &XPHotKeyControl::recorded);
    EXPECT_EQ(field.text(), "⌘/");

    press(&field, Qt::Key_A, Qt::NoModifier, 38);
    EXPECT_EQ(recorded.size(), 0);
    EXPECT_EQ(field.text(), "⌘/");

    press(&field, Qt::Key_A, Qt::AltModifier, 38);
    EXPECT_EQ(field.text(), "⌥A");
    EXPECT_EQ(XPHotKeyControl::keyCode(), 0);
    EXPECT_EQ(XPHotKeyControl::character(), 'a');
    EXPECT_EQ(XPHotKeyControl::modifierFlags(), option);

    press(&field, Qt::Key_F5, Qt::NoModifier, 71);
    EXPECT_EQ(field.text(), "F5");
    press(&field, Qt::Key_5, Qt::MetaModifier | Qt::KeypadModifier, 84);
    EXPECT_EQ(field.text(), "⌘[5]");
    press(&field, Qt::Key_5, Qt::MetaModifier, 14);
    EXPECT_EQ(field.text(), "⌘5");
    EXPECT_EQ(recorded.size(), 4);

    ASSERT_TRUE(defaults.synchronize());
    const QVariantMap stored = PropertyList::readFile(defaults.filePath()).toMap();
    EXPECT_EQ(stored.value("XPHotKeyKeyCode").toInt(), 0x17);
    EXPECT_EQ(stored.value("XPHotKeyCharacter").toInt(), '5');
    EXPECT_EQ(stored.value("XPModifierFlags").toULongLong(), command);

    // A change made elsewhere shows in the field.
    defaults.setValue("XPHotKeyCharacter", 0xF709);
    EXPECT_EQ(field.text(), "⌘F6");
}

TEST_F(XPHotKeyControlTest, TheHotKeyTogglesTheApplication)
{
    const bool active = QGuiApplication::applicationState() == Qt::ApplicationActive;
    XPHotKeyControl::installHotKey();
    ASSERT_TRUE(type("super+slash"));
    ASSERT_TRUE(waitUntil([&] { return toggles.size() == 1; }));
    EXPECT_EQ(toggles.last(), !active);

    QWidget window;
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    // Installing the same combination again keeps the one registration, so a press still toggles once.
    XPHotKeyControl::installHotKey();
    ASSERT_TRUE(type("super+slash"));
    ASSERT_TRUE(waitUntil([&] { return toggles.size() == 2; }));
    EXPECT_FALSE(toggles.last());
}

TEST_F(XPHotKeyControlTest, TheFocusedFieldTakesKeysBeforeShortcuts)
{
    QWidget window;
    auto *field = new XPHotKeyControl(&window);
    (new QVBoxLayout(&window))->addWidget(field);
    QAction quit(&window);
    quit.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    window.addAction(&quit);
    QSignalSpy triggered(&quit, &QAction::triggered);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    field->setFocus();

    QTest::keyClick(field, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(triggered.size(), 0);
    field->clearFocus();
    QTest::keyClick(&window, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(triggered.size(), 1);
}

TEST_F(XPHotKeyControlTest, RegistrationFollowsTheDefaults)
{
    XPHotKeyControl field;
    X11HotKeyGrab &other = otherClient;
    EXPECT_FALSE(other.grab(slashKeycode, X11HotKeyGrab::Mod4));

    defaults.setValue("XPUseGlobalHotKey", false);
    EXPECT_TRUE(other.grab(slashKeycode, X11HotKeyGrab::Mod4));

    // Taken by another program: the failure is not remembered as a registration, so the next try succeeds.
    defaults.setValue("XPUseGlobalHotKey", true);
    other.ungrab();
    XPHotKeyControl::installHotKey();
    ASSERT_TRUE(type("super+slash"));
    ASSERT_TRUE(waitUntil([&] { return toggles.size() == 1; }));
}

} // namespace
