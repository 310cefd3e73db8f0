#include "MetadataAttributeHolderQuery.h"

#include "ExtendedAttributes.h"
#include "MetadataCrawler.h"
#include "MetadataIndex.h"
#include "Quendel.h"
#include "TagStoreAttributes.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"
#include "XAttrKeyRenaming.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

TEST(TagStoreAttributesTest, ReadsTagsAndEveryMetadataValueWithoutOverridingTheFileSystem)
{
    TemporaryHome home;
    const QString path = home.writeFile("notes.txt");
    ASSERT_EQ(Quendel::setUserTags(QStringList{"red", "blue"}, path), std::nullopt);
    ASSERT_EQ(Quendel::setRating(path, 4), std::nullopt);
    ASSERT_EQ(Quendel::setXAttrMetaData(QStringList{"x", "y"}, "kMDItemQDOldKey", path), std::nullopt);
    ASSERT_EQ(Quendel::setXAttrMetaData(QString("elsewhere"), "kMDItemFSName", path), std::nullopt);
    ASSERT_EQ(Quendel::setXAttrMetaData(QVariantMap{{"a", 1}}, "kMDItemQDDictionary", path), std::nullopt);
    ASSERT_EQ(ExtendedAttributes::setValue(path, Quendel::spotlightKey("kMDItemQDDamaged"), "bplist00"), 0);
    ASSERT_EQ(ExtendedAttributes::setValue(path, "other.key", "1"), 0);

    QVariantMap attributes{{"kMDItemFSName", "notes.txt"}};
    TagStoreAttributes::read(path, attributes);

    EXPECT_EQ(attributes.value("kMDItemUserTags").toStringList(), (QStringList{"red", "blue"}));
    EXPECT_EQ(attributes.value("kMDItemStarRating").toDouble(), 4);
    EXPECT_TRUE(attributes.value("kMDItemQDRatingTime").toDateTime().isValid());
    EXPECT_EQ(attributes.value("kMDItemQDOldKey"), QVariant(QVariantList{"x", "y"}));
    EXPECT_EQ(attributes.value("kMDItemFSName"), "notes.txt");
    EXPECT_FALSE(attributes.contains("kMDItemQDDictionary"));
    EXPECT_FALSE(attributes.contains("kMDItemQDDamaged"));
}

// The one-time renaming against a real index of a real home.
class MetadataAttributeHolderQueryTest : public ::testing::Test {
protected:
    void crawl()
    {
        QDir().mkpath(QFileInfo(MetadataCrawler::defaultDatabasePath()).path());
        MetadataIndex index;
        ASSERT_TRUE(index.open(MetadataCrawler::defaultDatabasePath())) << index.errorText().toStdString();
        MetadataCrawler crawler(index);
        crawler.setAttributeReader(TagStoreAttributes::read);
        ASSERT_TRUE(crawler.update({home.path()})) << crawler.errorText().toStdString();
    }

    TemporaryHome home;
    UserDefaults defaults{home.filePath(".config/defaults.plist")};
    const QString marker = XAttrKeyRenaming::markerName("kMDItemQDOldKey", "kMDItemQDNewKey");
};

TEST_F(MetadataAttributeHolderQueryTest, RenamesTheAttributeOnEveryFileTheIndexKnowsToHoldIt)
{
    const QString first = home.writeFile("docs/first.txt");
    const QString second = home.writeFile("photos/deep/second.jpg");
    const QString plain = home.writeFile("docs/plain.txt");
    ASSERT_EQ(Quendel::setXAttrMetaData(QStringList{"a"}, "kMDItemQDOldKey", first), std::nullopt);
    ASSERT_EQ(Quendel::setXAttrMetaData(3.5, "kMDItemQDOldKey", second), std::nullopt);
    ASSERT_EQ(Quendel::setXAttrMetaData(true, "kMDItemQDOtherKey", plain), std::nullopt);
    crawl();

    MetadataAttributeHolderQuery query;
    std::optional<QStringList> holders = query.pathsHavingKey("kMDItemQDOldKey");
    ASSERT_TRUE(holders);
    holders->sort();
    EXPECT_EQ(*holders, (QStringList{first, second}));

    XAttrKeyRenaming::crunchThroughChangingXAttr("kMDItemQDOldKey", "kMDItemQDNewKey", marker, query,
                                                 defaults);
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDNewKey", first), QVariant(QVariantList{"a"}));
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDNewKey", second), QVariant(3.5));
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDOldKey", first), QVariant());
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDOldKey", second), QVariant());
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDOtherKey", plain), QVariant(true));
    EXPECT_TRUE(defaults.boolValue(marker));
}

TEST_F(MetadataAttributeHolderQueryTest, CannotRunWithoutAnIndexOrWithAKeyThatIsNoAttributeName)
{
    MetadataAttributeHolderQuery query;
    EXPECT_EQ(query.pathsHavingKey("kMDItemQDOldKey"), std::nullopt);
    XAttrKeyRenaming::crunchThroughChangingXAttr("kMDItemQDOldKey", "kMDItemQDNewKey", marker, query,
                                                 defaults);
    EXPECT_FALSE(defaults.boolValue(marker));
    EXPECT_FALSE(QFileInfo::exists(MetadataCrawler::defaultDatabasePath()));

    crawl();
    EXPECT_EQ(query.pathsHavingKey("kMDItemQDOldKey"), QStringList());
    for (const QString &notAKey : QStringList{"not a key", "*", "kMDItemFSName == * || kMDItemFSName"})
        EXPECT_EQ(query.pathsHavingKey(notAKey), std::nullopt) << notAKey.toStdString();
}

} // namespace
