#include "XAttrKeyRenaming.h"

#include "Quendel.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"

#include <gtest/gtest.h>

namespace {

// Stands in for the metadata index: the files it knows to carry the key.
class KnownHolders : public AttributeHolderQuery {
public:
    explicit KnownHolders(std::optional<QStringList> paths) : m_paths(std::move(paths)) {}
    std::optional<QStringList> pathsHavingKey(const QString &) override { return m_paths; }

private:
    std::optional<QStringList> m_paths;
};

class XAttrKeyRenamingTest : public ::testing::Test {
protected:
    TemporaryHome home;
    UserDefaults defaults{home.filePath(".config/defaults.plist")};
    const QString marker = XAttrKeyRenaming::markerName("kOld", "kNew");
};

TEST_F(XAttrKeyRenamingTest, MovesTheValueOnEveryHolderAndMarksThePairDone)
{
    EXPECT_EQ(marker, "UpdatedXAttr_kOldkNew");
    const QString tagged = home.writeFile("tagged.txt");
    const QString untouched = home.writeFile("untouched.txt");
    ASSERT_EQ(Quendel::setXAttrMetaData(QStringList{"a"}, "kOld", tagged), std::nullopt);

    KnownHolders query(QStringList{tagged, untouched, home.filePath("gone.txt")});
    XAttrKeyRenaming::crunchThroughChangingXAttr("kOld", "kNew", marker, query, defaults);

    EXPECT_EQ(Quendel::getXAttrMetaData("kNew", tagged), QVariant(QVariantList{"a"}));
    EXPECT_EQ(Quendel::getXAttrMetaData("kOld", tagged), QVariant());
    EXPECT_EQ(Quendel::getXAttrMetaData("kNew", untouched), QVariant());
    EXPECT_TRUE(defaults.boolValue(marker));
}

TEST_F(XAttrKeyRenamingTest, LeavesTheMarkerUnsetWhenTheQueryCannotRun)
{
    KnownHolders query(std::nullopt);
    XAttrKeyRenaming::crunchThroughChangingXAttr("kOld", "kNew", marker, query, defaults);
    EXPECT_FALSE(defaults.boolValue(marker));
}

} // namespace
