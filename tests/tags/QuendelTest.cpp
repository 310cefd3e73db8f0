#include "Quendel.h"

#include "ExtendedAttributes.h"
#include "ProcessResult.h"
#include "PropertyList.h"
#include "SystemTags.h"
#include "TemporaryHome.h"
#include "TemporaryMount.h"
#include "WaitUntil.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <sys/mount.h>

void PrintTo(const QuendelError &error, std::ostream *out)
{
    *out << error.domain.toStdString() << ' ' << error.code << " \"" << error.info.toStdString() << '"';
}

namespace {

const QString schemeTags = "kMDItemQDUserTags";

QByteArray getfattr(const QString &name, const QString &path)
{
    return runProcess("getfattr", {"--only-values", "-n", name, path}).out;
}

QStringList storedSchemeTags(const QString &path)
{
    return Quendel::getXAttrMetaData(schemeTags, path).toStringList();
}

QVariant tagTime(const QString &path)
{
    return Quendel::getXAttrMetaData("kMDItemQDUserTagTime", path);
}

QuendelError posixError(int code, const char *text)
{
    return {QuendelError::posixDomain, code, QString("errno error: %1, %2").arg(code).arg(text)};
}

class QuendelTest : public ::testing::Test {
protected:
    TemporaryHome home;
    const QString file = home.writeFile("report.odt");
    const QString other = home.writeFile("budget.ods");
    const QString third = home.writeFile("plan.txt");
};

// A file on a small tmpfs of its own, which can be filled or made read-only. Mounting needs root.
class QuendelVolumeTest : public QuendelTest {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDir().mkpath(folder));
        mount.emplace(folder);
        if (!mount->isMounted())
            GTEST_SKIP() << "mounting needs root";
        QFile(onVolume).open(QIODevice::WriteOnly);
    }

    const QString folder = home.filePath("volume");
    const QString onVolume = folder + "/file";
    std::optional<TemporaryMount> mount;
};

TEST_F(QuendelTest, StoresValuesAsBinaryPlistsUnderTheMetadataPrefix)
{
    EXPECT_EQ(Quendel::setXAttrMetaData(QVariantMap{{"a", 1}}, "kMDItemQDBookmarks", file), std::nullopt);
    EXPECT_TRUE(getfattr("user.com.apple.metadata:kMDItemQDBookmarks", file).startsWith("bplist00"));
    EXPECT_EQ(Quendel::getString("kMDItemQDBookmarks", file), QVariant(QVariantMap{{"a", 1}}));
    EXPECT_EQ(Quendel::getNSArrayMetaData("kMDItemQDBookmarks", file), QVariant());
    EXPECT_EQ(Quendel::quendelKey("k"), "org.quendel:k");

    QuendelResult error = QuendelError{};
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDDocumentDate", file, &error), QVariant());
    EXPECT_EQ(error, QuendelError{}) << "an absent attribute is no error and leaves the argument alone";

    EXPECT_EQ(Quendel::setNSArrayMetaData("text", "kMDItemQDBookmarks", file)->info,
              "Quendel parameter error");
    EXPECT_EQ(Quendel::addToNSArrayMetaData({"a", "b"}, "kMDItemQDBookmarks", file), std::nullopt);
    EXPECT_EQ(Quendel::addToNSArrayMetaData({"A", "b", "c"}, "kMDItemQDBookmarks", file), std::nullopt);
    EXPECT_EQ(Quendel::getNSArrayMetaData("kMDItemQDBookmarks", file).toStringList(),
              QStringList({"a", "b", "A", "c"}));

    ASSERT_EQ(ExtendedAttributes::setValue(file, "com.apple.metadata:kMDItemQDBookmarks", "not a plist"), 0);
    Quendel::getXAttrMetaData("kMDItemQDBookmarks", file, &error);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, QuendelError::quendelDomain);
    EXPECT_EQ(error->code, QuendelError::plistError);
}

// ext4 keeps all of a file's attributes in one 4 KB block, too little for a single 4096-byte value.
TEST_F(QuendelVolumeTest, RefusesValuesOver4096BytesAndLeavesTheOldOne)
{
    QByteArray payload;
    while (PropertyList::toData(payload, PropertyList::Format::Binary).size() < Quendel::maximumValueSize)
        payload.append('x');
    ASSERT_EQ(PropertyList::toData(payload, PropertyList::Format::Binary).size(), Quendel::maximumValueSize);
    EXPECT_EQ(Quendel::setXAttrMetaData(payload, "kMDItemQDBookmarks", onVolume), std::nullopt);

    const QuendelResult error = Quendel::setXAttrMetaData(payload + 'x', "kMDItemQDBookmarks", onVolume);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, QuendelError::quendelDomain);
    EXPECT_EQ(error->code, QuendelError::tooBigError);
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDBookmarks", onVolume), QVariant(payload));

    // Another program may store more than one read buffer holds.
    ASSERT_EQ(ExtendedAttributes::setValue(onVolume, "com.apple.metadata:kMDItemQDBookmarks",
                                           QByteArray(5000, 'x')),
              0);
    QuendelResult readError;
    Quendel::getXAttrMetaData("kMDItemQDBookmarks", onVolume, &readError);
    EXPECT_EQ(readError, posixError(ERANGE, "Numerical result out of range"));
}

TEST_F(QuendelTest, ReportsAFullAttributeBlock)
{
    ASSERT_EQ(Quendel::setXAttrMetaData(QStringList{"kept"}, "kMDItemQDBookmarks", file), std::nullopt);
    const QuendelResult error = Quendel::setXAttrMetaData(QByteArray(4000, 'x'), "kMDItemQDBookmarks", file);
    if (!error)
        GTEST_SKIP() << "this file system has room for large attributes";
    EXPECT_EQ(*error, posixError(ENOSPC, "No space left on device"));
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDBookmarks", file), QVariant(QVariantList{"kept"}));
}

TEST_F(QuendelTest, KeepsOneSpellingPerTagInDecomposedForm)
{
    EXPECT_EQ(Quendel::setUserTags(QStringList{"Work", "work", "Home"}, file), std::nullopt);
    EXPECT_EQ(Quendel::getUserTags(file), QStringList({"Work", "Home"}));
    EXPECT_EQ(getfattr("user.xdg.tags", file), "Work,Home");
    EXPECT_TRUE(tagTime(file).isValid());

    const QString composed = QString::fromUtf8("caf\u00e9");
    const QString decomposed = QString::fromUtf8("cafe\u0301");
    EXPECT_EQ(Quendel::setUserTags(QStringList{composed, decomposed.toUpper()}, file), std::nullopt);
    EXPECT_EQ(Quendel::getUserTags(file), QStringList{decomposed});

    EXPECT_EQ(Quendel::removeDuplicateTags(QVariantList{"b", 3, "B", "a"}), QStringList({"b", "a"}));
    EXPECT_EQ(Quendel::orderedArrayWithDict({{"x", "X"}, {"y", "y"}}, {"Y"}), QStringList({"Y", "X"}));
}

TEST_F(QuendelTest, AddsAndRemovesTagsWritingOnlyOnChange)
{
    const QDateTime past = QDateTime::fromSecsSinceEpoch(1000000000, Qt::UTC);
    ASSERT_EQ(Quendel::setUserTags(QStringList{"a", "B"}, file, past), std::nullopt);

    EXPECT_EQ(Quendel::addUserTags(QStringList{"b", "A"}, file), std::nullopt);
    EXPECT_EQ(Quendel::clearUserTags(QStringList{"c"}, file), std::nullopt);
    EXPECT_EQ(tagTime(file), QVariant(past)) << "nothing changed, nothing written";

    EXPECT_EQ(Quendel::addUserTags(QStringList{"c", "a"}, file), std::nullopt);
    EXPECT_EQ(Quendel::getUserTags(file), QStringList({"a", "B", "c"}));
    EXPECT_NE(tagTime(file), QVariant(past));
    EXPECT_EQ(Quendel::clearUserTags(QStringList{"b", "A"}, file), std::nullopt);
    EXPECT_EQ(Quendel::getUserTags(file), QStringList{"c"});
    EXPECT_EQ(Quendel::clearUserTags(QStringList{"C"}, file), std::nullopt);
    EXPECT_EQ(Quendel::getUserTags(file), QStringList());
    EXPECT_EQ(getfattr("user.xdg.tags", file), QByteArray());
}

TEST_F(QuendelTest, FindsAndReplacesTheTagsAllFilesHave)
{
    Quendel::setUserTags(QStringList{"A", "b"}, file);
    Quendel::setUserTags(QStringList{"B", "c", "a"}, other);
    EXPECT_EQ(Quendel::getCommonUserTags({file, other}), QStringList({"A", "b"}));
    EXPECT_EQ(Quendel::getCommonUserTags({file, other, third}), QStringList());
    EXPECT_EQ(Quendel::getCommonUserTags({}), QStringList());
    EXPECT_EQ(Quendel::getCommonUserTags({other}), QStringList({"B", "c", "a"}));
    Quendel::setUserTags(QStringList{"d"}, third);
    EXPECT_EQ(Quendel::getCommonUserTags({file, other, third}), QStringList());

    Quendel::setUserTags(QStringList{"x", "p"}, file);
    Quendel::setUserTags(QStringList{"X", "q"}, other);
    const QString link = home.filePath("link");
    ASSERT_TRUE(QFile::link(third, link));
    EXPECT_EQ(Quendel::setCommonUserTags({file, link, other}, {"x"}, {"y"}),
              posixError(EPERM, "Operation not permitted"))
        << "a failing file is reported and the others are still written";
    EXPECT_EQ(Quendel::getUserTags(file), QStringList({"p", "y"}));
    EXPECT_EQ(Quendel::getUserTags(other), QStringList({"q", "y"}));
    EXPECT_EQ(Quendel::setCommonUserTags({file}, {}, {}), std::nullopt);
}

TEST_F(QuendelTest, MergesSchemeTagsIntoSystemTagsOncePerFile)
{
    ASSERT_EQ(runProcess("setfattr", {"-n", "user.xdg.tags", "-v", "a", file}).status, 0);
    ASSERT_EQ(Quendel::setXAttrMetaData(QStringList{"b"}, schemeTags, file), std::nullopt);

    EXPECT_EQ(Quendel::getUserTags(file), QStringList({"a", "b"}));
    EXPECT_EQ(getfattr("user.xdg.tags", file), "a,b");
    EXPECT_EQ(storedSchemeTags(file), QStringList({"a", "b"}));
    EXPECT_EQ(Quendel::getXAttr("kQD109SyncDone", file), QVariant(true));

    ASSERT_EQ(runProcess("setfattr", {"-n", "user.xdg.tags", "-v", "c, d", file}).status, 0);
    EXPECT_EQ(Quendel::getUserTags(file), QStringList({"c", "d"}));
    EXPECT_EQ(storedSchemeTags(file), QStringList({"a", "b"})) << "once merged, the system tags rule";

    // Untagged files get no marker.
    EXPECT_EQ(Quendel::getUserTags(other), QStringList());
    EXPECT_EQ(Quendel::getXAttr("kQD109SyncDone", other), QVariant());
}

TEST_F(QuendelTest, KeepsRatingsAndTheFileManagersStarsInStep)
{
    EXPECT_EQ(Quendel::getRating(file), 0.0);
    EXPECT_EQ(Quendel::setRating(file, 7), std::nullopt);
    EXPECT_EQ(Quendel::getRating(file), 5.0);
    EXPECT_EQ(getfattr("user.baloo.rating", file), "10");
    EXPECT_EQ(Quendel::setRating(file, 2.5), std::nullopt);
    EXPECT_EQ(Quendel::getRating(file), 2.5);
    EXPECT_EQ(getfattr("user.baloo.rating", file), "5");

    const QVariant ratingTime = Quendel::getXAttrMetaData("kMDItemQDRatingTime", file);
    ASSERT_TRUE(ratingTime.isValid());
    Quendel::setRating(file, 0);
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemStarRating", file), QVariant());
    EXPECT_EQ(Quendel::getXAttrMetaData("kMDItemQDRatingTime", file), ratingTime);
    EXPECT_EQ(getfattr("user.baloo.rating", file), QByteArray());
    EXPECT_EQ(Quendel::setRating(file, 0), posixError(ENOATTR, "No data available"));
}

TEST_F(QuendelTest, ReportsBadArgumentsAndFailingFilesAsErrors)
{
    const QuendelError parameter{QuendelError::quendelDomain, QuendelError::parameterError,
                                 "Quendel parameter error"};
    const QVariantList withNumber{"a", 1};
    EXPECT_EQ(Quendel::setUserTags(withNumber, file),
              QuendelError({QuendelError::quendelDomain, QuendelError::parameterError,
                            "Quendel SYNC parameter error"}));
    EXPECT_EQ(Quendel::addUserTags(withNumber, file), parameter);
    EXPECT_EQ(Quendel::clearUserTags(withNumber, file), parameter);

    QuendelResult error;
    EXPECT_EQ(Quendel::setUserTags(QStringList{"a"}, ""), parameter);
    EXPECT_EQ(Quendel::addUserTags(QStringList{"a"}, ""), parameter);
    EXPECT_EQ(Quendel::setRating("", 3), parameter);
    EXPECT_EQ(Quendel::setXAttr(1, "k", ""), parameter);
    Quendel::getUserTags("", &error);
    EXPECT_EQ(error, parameter);
    error.reset();
    Quendel::getRating("", &error);
    EXPECT_EQ(error, parameter);

    const QString link = home.filePath("link");
    ASSERT_TRUE(QFile::link(file, link));
    EXPECT_EQ(Quendel::setUserTags(QStringList{"a"}, link), posixError(EPERM, "Operation not permitted"));
    EXPECT_EQ(Quendel::setRating(link, 3), posixError(EPERM, "Operation not permitted"));
    EXPECT_EQ(Quendel::getUserTags(file), QStringList()) << "the link's target is never touched";

    const QString missing = home.filePath("missing");
    EXPECT_EQ(Quendel::setUserTags(QStringList{"a"}, missing),
              posixError(ENOENT, "No such file or directory"));
    Quendel::getUserTags(missing, &error);
    EXPECT_EQ(error, posixError(ENOENT, "No such file or directory"));

    // procfs keeps no user attributes.
    EXPECT_EQ(Quendel::setUserTags(QStringList{"a"}, "/proc/self/comm"),
              posixError(EOPNOTSUPP, "Operation not supported"));
}

TEST_F(QuendelVolumeTest, ReportsAReadOnlyFileSystem)
{
    ASSERT_EQ(Quendel::setUserTags(QStringList{"kept"}, onVolume), std::nullopt);
    ASSERT_EQ(
        ::mount(nullptr, QFile::encodeName(folder).constData(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);

    EXPECT_EQ(Quendel::setUserTags(QStringList{"new"}, onVolume), posixError(EROFS, "Read-only file system"));
    EXPECT_EQ(Quendel::getUserTags(onVolume), QStringList{"kept"});
}

TEST_F(QuendelTest, RegistersTheSchemaBrieflyForImporters)
{
    const QString schemaFile = home.filePath(".local/share/Quendel/schemaregister/" +
                                             QCoreApplication::applicationName() + ".quendelschema");
    EXPECT_EQ(Quendel::schemaRegisterFolder(), home.filePath(".local/share/Quendel/schemaregister"));
    Quendel::registerUsualQDAttributes();
    const QVariantMap schema = PropertyList::readFile(schemaFile).toMap();
    EXPECT_EQ(schema.value(schemeTags).toStringList(), QStringList({"quendel1", "quendel2"}));
    EXPECT_EQ(schema.value("kMDItemQDManaged"), QVariant(true));
    EXPECT_TRUE(waitUntil([&] { return !QFile::exists(schemaFile); }));

    Quendel::removeSchemaFile(file);
    EXPECT_TRUE(QFile::exists(file));
}

} // namespace
