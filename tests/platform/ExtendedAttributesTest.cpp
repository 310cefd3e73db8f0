#include "ExtendedAttributes.h"

#include "ProcessResult.h"
#include "SystemTags.h"
#include "TemporaryHome.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

QByteArray getfattr(const QString &name, const QString &path)
{
    return runProcess("getfattr", {"--only-values", "-h", "-n", name, path}).out;
}

TEST(ExtendedAttributesTest, StoresValuesInTheUserNamespaceWithoutFollowingLinks)
{
    TemporaryHome home;
    const QString file = home.writeFile("notes.txt");
    const QString name = "com.apple.metadata:kMDItemQDUserTags";
    int error = -1;

    EXPECT_EQ(ExtendedAttributes::setValue(file, name, "value"), 0);
    EXPECT_EQ(ExtendedAttributes::value(file, name, 4096, &error), "value");
    EXPECT_EQ(error, 0);
    EXPECT_EQ(getfattr("user." + name, file), "value");
    EXPECT_TRUE(ExtendedAttributes::names(file, &error).contains(name));

    ExtendedAttributes::value(file, name, 3, &error);
    EXPECT_EQ(error, ERANGE);

    EXPECT_EQ(ExtendedAttributes::remove(file, name), 0);
    EXPECT_EQ(ExtendedAttributes::value(file, name, 4096, &error), QByteArray());
    EXPECT_EQ(error, ENOATTR);
    EXPECT_EQ(ExtendedAttributes::remove(file, name), ENOATTR);
    EXPECT_FALSE(ExtendedAttributes::names(file, &error).contains(name));

    const QString link = home.filePath("link");
    ASSERT_TRUE(QFile::link(file, link));
    EXPECT_EQ(ExtendedAttributes::setValue(link, name, "value"), EPERM);
    EXPECT_EQ(ExtendedAttributes::setValue(home.filePath("missing"), name, "value"), ENOENT);
    ExtendedAttributes::names(home.filePath("missing"), &error);
    EXPECT_EQ(error, ENOENT);
}

TEST(SystemTagsTest, ReadsAndWritesTheCommaFormOtherProgramsUse)
{
    TemporaryHome home;
    const QString file = home.writeFile("photo.jpg");
    int error = -1;
    EXPECT_EQ(SystemTags::names(file, &error), QStringList());
    EXPECT_EQ(error, 0);

    EXPECT_EQ(SystemTags::setNames(file, {"x", "two words", "ünï"}), 0);
    EXPECT_EQ(getfattr("user.xdg.tags", file), "x,two words,ünï");

    ASSERT_EQ(runProcess("setfattr", {"-n", "user.xdg.tags", "-v", " x, y ,,z", file}).status, 0);
    EXPECT_EQ(SystemTags::names(file, &error), QStringList({"x", "y", "z"}));

    EXPECT_EQ(SystemTags::setNames(file, {}), 0);
    EXPECT_EQ(SystemTags::setNames(file, {}), 0);
    EXPECT_EQ(ExtendedAttributes::names(file, &error), QStringList());
}

TEST(SystemTagsTest, KeepsTheFileManagersRatingInHalfStars)
{
    TemporaryHome home;
    const QString file = home.writeFile("song.ogg");
    int error = -1;
    EXPECT_EQ(SystemTags::setRating(file, 3), 0);
    EXPECT_EQ(getfattr("user.baloo.rating", file), "6");
    EXPECT_EQ(SystemTags::setRating(file, 4.5), 0);
    EXPECT_EQ(getfattr("user.baloo.rating", file), "9");
    EXPECT_EQ(SystemTags::setRating(file, 0), 0);
    EXPECT_EQ(SystemTags::setRating(file, 0), 0);
    ExtendedAttributes::value(file, "baloo.rating", 16, &error);
    EXPECT_EQ(error, ENOATTR);
}

} // namespace
