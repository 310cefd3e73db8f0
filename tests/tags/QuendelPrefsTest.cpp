#include "QuendelPrefs.h"

#include "PropertyList.h"
#include "QtPrinters.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <thread>

namespace {

class QuendelPrefsTest : public ::testing::Test {
protected:
    static QStringList numbered(int count, const QString &stem)
    {
        QStringList tags;
        for (int i = 0; i < count; ++i)
            tags.append(stem + QString::number(i));
        return tags;
    }
    QVariant storedList() const
    {
        return PropertyList::readFile(sharedFile).toMap().value("recentlyEnteredTags");
    }

    TemporaryHome home;
    UserDefaults ownDefaults{home.filePath("config/Vantry/Vantry.plist")};
    const QString sharedFile = QuendelPrefs::prefsFilePath(QuendelPrefs::sharedIdentifier());
    QuendelPrefs prefs{ownDefaults};
};

TEST_F(QuendelPrefsTest, OnlyNewlyEnteredTagsGoToTheFrontInTheirNewSpelling)
{
    EXPECT_EQ(prefs.recentTags(), QStringList{});
    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, {"x", "a", "work"}));
    ASSERT_TRUE(prefs.updatePrefsRecentTags({"a"}, {"a", "B"}));
    EXPECT_EQ(prefs.recentTags(), (QStringList{"B", "x", "a", "work"}));
    ASSERT_TRUE(prefs.updatePrefsRecentTags({"Work"}, {"Work"}));
    EXPECT_EQ(prefs.recentTags(), (QStringList{"B", "x", "a", "work"}));

    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, {"Work"}));
    EXPECT_EQ(prefs.recentTags(), (QStringList{"Work", "B", "x", "a"}));
    EXPECT_EQ(storedList(), QVariant(QVariantList{"Work", "B", "x", "a"}));
}

TEST_F(QuendelPrefsTest, AFullListDropsItsOldestTags)
{
    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, numbered(1401, "old")));
    ASSERT_EQ(prefs.recentTags().size(), 1401);
    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, {"new1", "new2"}));
    const QStringList tags = prefs.recentTags();
    ASSERT_EQ(tags.size(), 1401);
    EXPECT_EQ(tags.mid(0, 3), (QStringList{"new1", "new2", "old0"}));
    EXPECT_EQ(tags.last(), "old1398");
}

TEST_F(QuendelPrefsTest, RemovalIgnoresCaseAndDropsRepeats)
{
    PropertyList::writeFile(sharedFile,
                            QVariantMap{{"recentlyEnteredTags", QVariantList{"work", "a", "A", "b"}}},
                            PropertyList::Format::Xml);
    ASSERT_TRUE(prefs.removeTagsFromRecents({"WORK"}));
    EXPECT_EQ(prefs.recentTags(), (QStringList{"a", "b"}));
}

TEST_F(QuendelPrefsTest, OtherKeysAndForeignValuesInTheSharedFileSurvive)
{
    const QVariantMap foreign{{"otherProgramSetting", qint64(7)},
                              {"recentlyEnteredTags", QVariantList{"kept", qint64(3), QVariantMap{}}}};
    ASSERT_TRUE(PropertyList::writeFile(sharedFile, foreign, PropertyList::Format::Binary));
    EXPECT_EQ(prefs.recentTags(), QStringList{"kept"});
    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, {"new"}));
    const QVariantMap stored = PropertyList::readFile(sharedFile).toMap();
    EXPECT_EQ(stored.value("otherProgramSetting"), QVariant(qint64(7)));
    EXPECT_EQ(stored.value("recentlyEnteredTags"), QVariant(QVariantList{"new", "kept"}));
}

TEST_F(QuendelPrefsTest, TwoProcessesKeepEachOthersEntries)
{
    QuendelPrefs other(ownDefaults);
    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, {"mine"}));
    ASSERT_TRUE(other.updatePrefsRecentTags({}, {"theirs"}));
    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, {"mine again"}));
    ASSERT_TRUE(other.removeTagsFromRecents({"MINE"}));
    ASSERT_TRUE(prefs.synchPrefs());
    EXPECT_EQ(prefs.recentTags(), (QStringList{"mine again", "theirs"}));
}

TEST_F(QuendelPrefsTest, ConcurrentWritersLoseNothing)
{
    constexpr int perWriter = 40;
    const auto writer = [&](const QString &stem) {
        QuendelPrefs process(ownDefaults);
        for (const QString &tag : numbered(perWriter, stem))
            EXPECT_TRUE(process.updatePrefsRecentTags({}, {tag}));
    };
    std::thread first(writer, QStringLiteral("first"));
    std::thread second(writer, QStringLiteral("second"));
    first.join();
    second.join();

    ASSERT_TRUE(prefs.synchPrefs());
    const QStringList tags = prefs.recentTags();
    EXPECT_EQ(tags.size(), 2 * perWriter);
    for (const QString &tag : numbered(perWriter, "first") + numbered(perWriter, "second"))
        EXPECT_TRUE(tags.contains(tag)) << tag.toStdString();
}

TEST_F(QuendelPrefsTest, ACorruptSharedFileReadsEmptyAndIsMovedAsideBeforeAWrite)
{
    const QByteArray garbage = "<?xml version=\"1.0\"?><plist><dict><key>recent";
    {
        QFile file(sharedFile);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(garbage);
    }
    EXPECT_EQ(prefs.recentTags(), QStringList{});
    EXPECT_FALSE(prefs.synchPrefs());
    {
        QFile file(sharedFile);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), garbage) << "reading must leave the file alone";
    }

    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, {"fresh"}));
    EXPECT_EQ(storedList(), QVariant(QVariantList{"fresh"}));
    QFile aside(sharedFile + ".corrupt");
    ASSERT_TRUE(aside.open(QIODevice::ReadOnly));
    EXPECT_EQ(aside.readAll(), garbage);
}

TEST_F(QuendelPrefsTest, WithoutTheSharedFileTheListLivesInTheApplicationsDefaults)
{
    EXPECT_EQ(QFileInfo(sharedFile).fileName(), QuendelPrefs::sharedIdentifier() + ".plist");
    EXPECT_TRUE(sharedFile.startsWith(home.path()));
    EXPECT_TRUE(QuendelPrefs::sharedIdentifier().endsWith(".shared"));
    prefs.setPrefsFile(QuendelPrefs::applicationIdentifier());
    ASSERT_TRUE(prefs.updatePrefsRecentTags({}, {"local", "tag"}));
    ASSERT_TRUE(prefs.removeTagsFromRecents({"TAG"}));
    EXPECT_EQ(prefs.recentTags(), QStringList{"local"});
    EXPECT_EQ(PropertyList::readFile(ownDefaults.filePath()).toMap().value("recentlyEnteredTags"),
              QVariant(QVariantList{"local"}));
    EXPECT_FALSE(QFileInfo::exists(sharedFile));

    prefs.setPrefsFile(QuendelPrefs::sharedIdentifier());
    EXPECT_EQ(prefs.recentTags(), QStringList{});
}

} // namespace
