#include "VNRecentFilesRules.h"

#include "DefaultsTable.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"
#include "VNItem.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

class RulesTest : public ::testing::Test {
protected:
    RulesTest() : defaults(home.filePath(".config/Vantry/Vantry.plist")), rules(defaults)
    {
        defaults.registerDefaults(DefaultsTable::registrationDomain());
        rules.loadPrefs();
    }

    void set(const QString &key, const QStringList &values)
    {
        defaults.setValue(key, values);
        rules.loadPrefs();
    }

    QString homePath(const QString &relative) const { return QDir::homePath() + QLatin1Char('/') + relative; }

    TemporaryHome home;
    UserDefaults defaults;
    VNRecentFilesRules rules;
};

TEST_F(RulesTest, ExtensionsAreLowerCasedBeforeComparing)
{
    EXPECT_TRUE(rules.filterOutUnwantedExtensions("/u/notes.TMP").isNull());
    EXPECT_TRUE(rules.filterOutUnwantedExtensions("/u/App.xcodeproj").isNull());
    EXPECT_EQ(rules.filterOutUnwantedExtensions("/u/notes.txt"), "/u/notes.txt");
    EXPECT_TRUE(rules.filterOutUnwantedExtensions(QString()).isNull());

    set("unwantedExtensions", {"TMP"}); // typed in upper case, it can never match
    EXPECT_EQ(rules.filterOutUnwantedExtensions("/u/notes.TMP"), "/u/notes.TMP");
    EXPECT_EQ(rules.filterOutUnwantedExtensions("/u/notes.tmp"), "/u/notes.tmp");

    EXPECT_EQ(VNRecentFilesRules::pathExtension("/u/archive.tar.gz"), "gz");
    EXPECT_EQ(VNRecentFilesRules::pathExtension("/u/.bashrc"), "");
    EXPECT_EQ(VNRecentFilesRules::pathExtension("/u.d/readme"), "");
}

TEST_F(RulesTest, FixedExclusionsKeepTheirOrder)
{
    EXPECT_TRUE(
        VNRecentFilesRules::passesHardCodedExcludePaths(homePath("Library/Mobile Documents/x/y.pages")));
    EXPECT_FALSE(VNRecentFilesRules::passesHardCodedExcludePaths(homePath("Library/Preferences/z.plist")));
    EXPECT_FALSE(VNRecentFilesRules::passesHardCodedExcludePaths("/Volumes/B/Backups.backupdb/x"));
    EXPECT_FALSE(VNRecentFilesRules::passesHardCodedExcludePaths(homePath("Music/iTunes/lib.xml")));
    EXPECT_FALSE(VNRecentFilesRules::passesHardCodedExcludePaths(homePath(".cache/x")));
    EXPECT_TRUE(VNRecentFilesRules::passesHardCodedExcludePaths(homePath("Documents/report.odt")));

    EXPECT_TRUE(VNRecentFilesRules::cullPrivateAndInvisibleEtc("/private/var/log"));
    EXPECT_TRUE(VNRecentFilesRules::cullPrivateAndInvisibleEtc(homePath("Downloads/file.inProgress/")));
    EXPECT_FALSE(VNRecentFilesRules::cullPrivateAndInvisibleEtc(homePath("Documents")));
}

TEST_F(RulesTest, FolderTestDecidesByTheFirstRuleThatApplies)
{
    // A wanted folder beats the fixed "/Library/" exclusion and an unwanted folder above it.
    set("unwantedDirectories", {"~/Library"});
    set("wantedDirectories", {"~/Library/Scripts"});
    EXPECT_TRUE(rules.userWantsFolderIncluded(homePath("Library/Scripts")));
    EXPECT_FALSE(rules.userWantsFolderIncluded(homePath("Library/Other")));

    // The always-included mail downloads lose to an unwanted folder above them...
    EXPECT_FALSE(rules.userWantsFolderIncluded(homePath("Library/Mail Downloads")));
    // ...and win over the fixed "/Library/" exclusion otherwise.
    set("unwantedDirectories", {});
    EXPECT_TRUE(rules.userWantsFolderIncluded(homePath("Library/Mail Downloads")));
    EXPECT_FALSE(rules.userWantsFolderIncluded(homePath("Library/Caches")));

    // Fragments match case-insensitively, and a folder named like the fragment is caught through the "/".
    set("unwantedPathFragments", {"/build/"});
    EXPECT_FALSE(rules.userWantsFolderIncluded(homePath("src/project/build")));
    EXPECT_FALSE(rules.userWantsFolderIncluded(homePath("src/project/BUILD/debug")));
    EXPECT_TRUE(rules.userWantsFolderIncluded(homePath("src/project/builder")));

    set("unwantedItems", {"~/Documents/Private"});
    EXPECT_FALSE(rules.userWantsFolderIncluded(homePath("Documents/Private")));
    EXPECT_TRUE(rules.userWantsFolderIncluded(homePath("Documents/Private/inner")));
    EXPECT_FALSE(rules.userWantsFolderIncluded(homePath("Projects/App.xcodeproj")));
}

TEST_F(RulesTest, SingleItemsAndPackagesAreComparedLiterally)
{
    EXPECT_TRUE(rules.userExcludesSingleFile("~/Pictures/iPhoto Library"));
    EXPECT_FALSE(rules.userExcludesSingleFile(homePath("Pictures/iPhoto Library")));
    set("unwantedItems", {"~/Pictures/iPhoto Library"});
    EXPECT_TRUE(rules.userExcludesSingleFile(homePath("Pictures/iPhoto Library")));

    EXPECT_TRUE(VNRecentFilesRules::filterOutUnwantedPackages(homePath("Pictures/iPhoto Library")).isNull());
    EXPECT_TRUE(VNRecentFilesRules::filterOutUnwantedPackages(homePath("Pictures/Trip.aplibrary")).isNull());
    EXPECT_FALSE(VNRecentFilesRules::filterOutUnwantedPackages(homePath("Pictures/Trip")).isNull());
}

TEST_F(RulesTest, ItemTestNeedsAVisibleExistingFileThatPassesEveryRule)
{
    QDir().mkpath(homePath("Documents/Caches"));
    const auto write = [](const QString &path) {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write("x");
    };
    write(homePath("Documents/report.odt"));
    write(homePath("Documents/scratch.tmp"));
    write(homePath("Documents/Caches/a.txt"));
    set("unwantedPathFragments", {"cache"});

    const auto included = [&](const QString &relative) {
        VNItem item(homePath(relative));
        item.calculateCache();
        return rules.userWantsItemIncluded(item);
    };
    EXPECT_TRUE(included("Documents/report.odt"));
    EXPECT_FALSE(included("Documents/scratch.tmp"));
    EXPECT_FALSE(included("Documents/Caches/a.txt"));
    EXPECT_FALSE(included("Documents/missing.odt"));
    EXPECT_FALSE(included(".hidden-folder/report.odt"));
}

TEST_F(RulesTest, ListsFollowTheDefaultsWhenObserved)
{
    QObject context;
    for (const QString &key : VNRecentFilesRules::observedKeys())
        defaults.observe(key, &context, [this] { rules.loadPrefs(); });
    defaults.setValue("unwantedExtensions", QStringList{"odt"});
    ASSERT_TRUE(waitUntil([&] { return rules.filterOutUnwantedExtensions("/u/a.odt").isNull(); }));
    EXPECT_FALSE(rules.filterOutUnwantedExtensions("/u/a.tmp").isNull());
}

} // namespace
