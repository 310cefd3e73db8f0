#include "VNPreferencesController.h"

#include "ColourButton.h"
#include "DPOpenAtLogin.h"
#include "DefaultsTable.h"
#include "QtPrinters.h"
#include "RuleListEditor.h"
#include "TemporaryHome.h"
#include "WaitUntil.h"
#include "XPHotKeyControl.h"

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include <gtest/gtest.h>

namespace {

struct RegisteredDefaults : UserDefaults {
    explicit RegisteredDefaults(const QString &path) : UserDefaults(path)
    {
        registerDefaults(DefaultsTable::registrationDomain());
    }
};

class PreferencesTest : public ::testing::Test {
protected:
    PreferencesTest() : defaults(home.filePath(".config/Vantry/Vantry.plist")), controller(defaults) {}

    template <typename Widget> Widget *control(const QString &name) const
    {
        auto *widget = controller.window()->findChild<Widget *>(name);
        EXPECT_NE(widget, nullptr) << qPrintable(name);
        return widget;
    }

    RuleListEditor *ruleList(const QString &key) const
    {
        for (RuleListEditor *editor : controller.window()->findChildren<RuleListEditor *>())
            if (editor->key() == key)
                return editor;
        return nullptr;
    }

    // Written to the file rather than only registered.
    bool stored(const QString &key)
    {
        defaults.synchronize();
        return UserDefaults(defaults.filePath()).value(key).isValid();
    }

    // Shows the window at the list of `key`, ready for the keyboard.
    RuleListEditor *showRuleList(const QString &key)
    {
        controller.unwantedDirectoriesAction();
        auto *choice = controller.window()->findChild<QComboBox *>();
        choice->setCurrentIndex(choice->findData(key));
        EXPECT_TRUE(QTest::qWaitForWindowActive(controller.window()));
        RuleListEditor *editor = ruleList(key);
        editor->list()->setFocus();
        return editor;
    }

    // Types into the row being edited and presses Return, which commits once the event loop runs.
    static void typeAndCommit(QListWidget *list, const QString &text)
    {
        const QPersistentModelIndex row = list->currentIndex();
        auto *editor = qobject_cast<QLineEdit *>(list->indexWidget(row));
        ASSERT_NE(editor, nullptr);
        editor->selectAll();
        QTest::keyClick(editor, Qt::Key_Backspace);
        QTest::keyClicks(editor, text);
        QTest::keyClick(editor, Qt::Key_Return);
        EXPECT_TRUE(waitUntil([&] { return !list->indexWidget(row); }));
    }

    TemporaryHome home;
    RegisteredDefaults defaults;
    VNPreferencesController controller;
};

TEST_F(PreferencesTest, ControlsWriteTheirDefaultsAtOnce)
{
    auto *fade = control<QCheckBox>("VNFadeIn");
    EXPECT_FALSE(fade->isChecked());
    fade->click();
    EXPECT_TRUE(defaults.boolValue("VNFadeIn"));

    // Unset, the trash warning is on.
    auto *warn = control<QCheckBox>("KPDONTWarnAboutTrashingFiles");
    EXPECT_TRUE(warn->isChecked());
    warn->click();
    EXPECT_TRUE(defaults.boolValue("KPDONTWarnAboutTrashingFiles"));

    auto *taskbar = control<QRadioButton>("KPRunInDock");
    EXPECT_FALSE(taskbar->isChecked());
    taskbar->click();
    EXPECT_TRUE(defaults.boolValue("KPRunInDock"));
    QAbstractButton *tray = taskbar->group()->buttons().first();
    ASSERT_NE(tray, taskbar);
    tray->click();
    EXPECT_FALSE(defaults.boolValue("KPRunInDock"));

    control<QCheckBox>("XPSkipTagAutoComplete")->click();
    EXPECT_TRUE(defaults.boolValue("XPSkipTagAutoComplete"));
}

TEST_F(PreferencesTest, ControlsFollowChangesMadeElsewhere)
{
    defaults.setValue("VNFadeIn", true);
    EXPECT_TRUE(control<QCheckBox>("VNFadeIn")->isChecked());
    defaults.removeValue("VNFadeIn");
    EXPECT_FALSE(control<QCheckBox>("VNFadeIn")->isChecked());

    auto *recorder = controller.window()->findChild<XPHotKeyControl *>();
    ASSERT_NE(recorder, nullptr);
    defaults.setValue("XPUseGlobalHotKey", false);
    EXPECT_FALSE(control<QCheckBox>("XPUseGlobalHotKey")->isChecked());
    EXPECT_FALSE(recorder->isEnabled());
    defaults.setValue("XPUseGlobalHotKey", true);
    EXPECT_TRUE(recorder->isEnabled());

    defaults.setValue("KPShowDropZone2", false);
    EXPECT_FALSE(control<QRadioButton>("KPDropZoneLeftEdge")->isEnabled());

    // Showing a value never writes it back: a reset key stays unset.
    auto *commas = control<QRadioButton>("KPUseCommas");
    defaults.setValue("KPUseCommas", false);
    EXPECT_FALSE(commas->isChecked());
    defaults.removeValue("KPUseCommas");
    EXPECT_TRUE(commas->isChecked());
    EXPECT_FALSE(stored("KPUseCommas"));

    auto *swatch = control<ColourButton>("VNCoolerTextColour");
    defaults.setColour("VNCoolerTextColour", QColor(200, 30, 40));
    const QImage shown = swatch->icon().pixmap(swatch->iconSize()).toImage();
    EXPECT_EQ(shown.pixelColor(shown.rect().center()), QColor(200, 30, 40));
}

TEST_F(PreferencesTest, OpenAtLoginBoxShowsAndChangesTheLoginItem)
{
    auto *box = control<QCheckBox>("openAtLogin");
    box->click();
    EXPECT_TRUE(DPOpenAtLogin::openAtLoginEnabled());
    ASSERT_TRUE(DPOpenAtLogin::toggleLoginItem()); // as from the tray menu
    controller.showWindow();
    EXPECT_FALSE(box->isChecked());

    QFile blocker(home.filePath(".config/autostart"));
    QFile::remove(blocker.fileName() + "/vantry.desktop");
    QDir(blocker.fileName()).removeRecursively();
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    box->click();
    EXPECT_FALSE(box->isChecked()); // the failure is not shown as success
}

TEST_F(PreferencesTest, PathListsShowTildeButStoreExpandedPaths)
{
    RuleListEditor *folders = showRuleList("unwantedDirectories");
    folders->addEntries({"~/Projects/old", home.path() + "/Projects/old/", "/srv/cache", "relative"});
    EXPECT_EQ(defaults.stringListValue("unwantedDirectories"),
              QStringList({home.path() + "/Projects/old", "/srv/cache", "relative"}));
    EXPECT_EQ(folders->list()->item(0)->text(), "~/Projects/old");

    folders->list()->setCurrentRow(2);
    QTest::keyClick(folders->list(), Qt::Key_Delete);
    folders->list()->setCurrentRow(0);
    folders->removeSelected();
    EXPECT_EQ(defaults.stringListValue("unwantedDirectories"), QStringList{"/srv/cache"});
    EXPECT_EQ(folders->list()->count(), 1);

    VNPreferencesController::addUnwantedDirectory("~/Music", defaults);
    EXPECT_EQ(folders->list()->item(1)->text(), "~/Music");
}

TEST_F(PreferencesTest, TextListsAreTypedInPlace)
{
    RuleListEditor *extensions = showRuleList("unwantedExtensions");
    extensions->addEntries({".TMP", " Log"});
    EXPECT_EQ(defaults.stringListValue("unwantedExtensions"), QStringList({"xcodeproj", "tmp", "log"}));

    QListWidget *list = extensions->list();
    list->setCurrentRow(0);
    QTest::keyClick(list, Qt::Key_F2);
    typeAndCommit(list, ".PSD");
    EXPECT_EQ(defaults.stringListValue("unwantedExtensions"), QStringList({"psd", "tmp", "log"}));
    EXPECT_TRUE(waitUntil([&] { return list->item(0)->text() == "psd"; }));

    list->setCurrentRow(1);
    QTest::keyClick(list, Qt::Key_F2);
    typeAndCommit(list, ""); // a row emptied goes
    EXPECT_EQ(defaults.stringListValue("unwantedExtensions"), QStringList({"psd", "log"}));
    EXPECT_TRUE(waitUntil([&] { return list->count() == 2; }));

    QPushButton *add = nullptr;
    for (QPushButton *button : extensions->findChildren<QPushButton *>())
        if (button->text() == "&Add")
            add = button;
    ASSERT_NE(add, nullptr);
    add->click();
    typeAndCommit(list, "bak");
    EXPECT_EQ(defaults.stringListValue("unwantedExtensions"), QStringList({"psd", "log", "bak"}));

    add->click(); // and abandoned: no blank row stays
    QTest::keyClick(list->indexWidget(list->currentIndex()), Qt::Key_Escape);
    EXPECT_TRUE(waitUntil([&] { return list->count() == 3; }));
    EXPECT_EQ(defaults.stringListValue("unwantedExtensions"), QStringList({"psd", "log", "bak"}));

    defaults.setValue("unwantedPathFragments", QStringList{"/build/"});
    ASSERT_EQ(ruleList("unwantedPathFragments")->list()->count(), 1);
    EXPECT_EQ(ruleList("unwantedPathFragments")->list()->item(0)->text(), "/build/");
}

TEST_F(PreferencesTest, ExclusionHelpersAppendWithoutDuplicates)
{
    for (const char *path : {"/u/Report.PDF", "/u/b/report.pdf", "/u/.bashrc", "/u/README"})
        VNPreferencesController::addUnwantedExtensionFromFilePath(path, defaults);
    EXPECT_EQ(defaults.stringListValue("unwantedExtensions"), QStringList({"xcodeproj", "tmp", "pdf"}));

    for (const QString &path : {home.path() + "/a.txt", QStringLiteral("/srv/b"), QStringLiteral("~/a.txt")})
        VNPreferencesController::addUnwantedItem(path, defaults);
    EXPECT_EQ(defaults.stringListValue("unwantedItems"), QStringList({home.path() + "/a.txt", "/srv/b"}));

    for (const QString &path : {QStringLiteral("/srv/z"), QStringLiteral("~/Music"), home.path() + "/Music"})
        VNPreferencesController::addUnwantedDirectory(path, defaults);
    EXPECT_EQ(defaults.stringListValue("unwantedDirectories"),
              QStringList({"/srv/z", home.path() + "/Music"}));
}

TEST_F(PreferencesTest, ResetColoursRemovesOnlyTheFourColours)
{
    const QStringList colours = DefaultsTable::colourDefaults().keys();
    ASSERT_EQ(colours.size(), 4);
    for (const QString &key : colours)
        defaults.setColour(key, Qt::red);
    defaults.setValue("VNFadeIn", true);
    defaults.setValue("unwantedItems", QStringList{"/srv/b"});

    control<QPushButton>("resetColours")->click();
    for (const QString &key : colours) {
        EXPECT_FALSE(stored(key)) << qPrintable(key);
        EXPECT_NE(defaults.colourValue(key), QColor(Qt::red));
    }
    EXPECT_TRUE(stored("VNFadeIn"));
    EXPECT_TRUE(stored("unwantedItems"));
}

TEST_F(PreferencesTest, UnwantedDirectoriesActionShowsThatList)
{
    controller.unwantedDirectoriesAction();
    EXPECT_TRUE(controller.window()->isVisible());
    EXPECT_TRUE(ruleList("unwantedDirectories")->isVisible());
    EXPECT_FALSE(ruleList("wantedDirectories")->isVisible());

    ASSERT_TRUE(QTest::qWaitForWindowActive(controller.window()));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(controller.window()->isVisible());
}

} // namespace
