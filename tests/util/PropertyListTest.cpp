#include "PropertyList.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QPoint>
#include <QProcess>

#include <gtest/gtest.h>

#include <limits>

namespace {

using PropertyList::Format;

constexpr quint64 allOnes = std::numeric_limits<quint64>::max();

QVariant roundTrip(const QVariant &value, Format format)
{
    QString error;
    const QByteArray data = PropertyList::toData(value, format, &error);
    EXPECT_FALSE(data.isEmpty()) << error.toStdString();
    const QVariant back = PropertyList::fromData(data, &error);
    EXPECT_TRUE(back.isValid()) << error.toStdString();
    return back;
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int msec = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, msec), Qt::UTC);
}

QVariantMap sampleTree()
{
    return {
        {"text", QStringLiteral("Grüße, 日本 and 🎉")},
        {"empty", QString("")},
        {"negative", qint64(-42)},
        {"zero", qint64(0)},
        {"large", qint64(std::numeric_limits<qint64>::max())},
        {"real", 0.1},
        {"yes", true},
        {"no", false},
        {"date", utc(2024, 1, 15, 10, 30, 0)},
        {"before2001", utc(1990, 6, 1, 12, 0, 0)},
        {"data", QByteArray("\x00\x01\xfe\xff", 4)},
        {"list", QVariantList{qint64(1), QStringLiteral("two"), QVariantList{}, QVariantMap{}}},
        {"nested", QVariantMap{{"inner", QVariantList{QVariantMap{{"deep", true}}}}}},
        {"uid", QVariant::fromValue(PlistUid{7})},
    };
}

TEST(PropertyList, AllTypesRoundTripInBothFormats)
{
    for (const Format format : {Format::Binary, Format::Xml}) {
        const QVariant back = roundTrip(sampleTree(), format);
        EXPECT_EQ(back, QVariant(sampleTree())) << (format == Format::Xml ? "xml" : "binary");
        EXPECT_EQ(back.toMap().value("uid").value<PlistUid>().value, 7u);
        EXPECT_EQ(back.toMap().value("negative").typeId(), QMetaType::LongLong);
    }
}

TEST(PropertyList, UnsignedValuesAboveInt64MaxRoundTripExactly)
{
    const QVariantMap tree = {{"allOnes", QVariant::fromValue(allOnes)},
                              {"twoTo63", QVariant::fromValue(quint64(1) << 63)},
                              {"minusOne", qint64(-1)},
                              {"smallUnsigned", QVariant::fromValue(quint64(5))}};
    for (const Format format : {Format::Binary, Format::Xml}) {
        const QVariantMap back = roundTrip(tree, format).toMap();
        EXPECT_EQ(back.value("allOnes").typeId(), QMetaType::ULongLong);
        EXPECT_EQ(back.value("allOnes").toULongLong(), allOnes);
        EXPECT_EQ(back.value("twoTo63").toULongLong(), quint64(1) << 63);
        EXPECT_EQ(back.value("minusOne").typeId(), QMetaType::LongLong);
        EXPECT_EQ(back.value("minusOne").toLongLong(), -1);
        EXPECT_EQ(back.value("smallUnsigned").toLongLong(), 5);
    }
}

TEST(PropertyList, BinaryOutputReadsBackInPython)
{
    TemporaryHome home;
    const QString path = home.filePath("numbers.plist");
    const QVariantList values = {QVariant::fromValue(allOnes), qint64(-1), utc(2030, 2, 3, 4, 5, 6, 250)};
    ASSERT_TRUE(PropertyList::writeFile(path, values, Format::Binary));

    QProcess python;
    python.start("python3", {"-c",
                             "import plistlib,sys; v=plistlib.load(open(sys.argv[1],'rb')); "
                             "print(v[0], v[1], v[2].isoformat())",
                             path});
    ASSERT_TRUE(python.waitForFinished(30000));
    EXPECT_EQ(python.readAllStandardOutput().trimmed(), "18446744073709551615 -1 2030-02-03T04:05:06.250000");
}

TEST(PropertyList, XmlArchiveReferencesBecomeUids)
{
    const QByteArray xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>ref</key><dict><key>CF$UID</key><integer>12</integer></dict>
  <key>notRef</key><dict><key>CF$UID</key><integer>3</integer><key>other</key><true/></dict>
</dict></plist>)";
    const QVariantMap map = PropertyList::fromData(xml).toMap();
    ASSERT_EQ(map.value("ref").typeId(), qMetaTypeId<PlistUid>());
    EXPECT_EQ(map.value("ref").value<PlistUid>().value, 12u);
    EXPECT_EQ(map.value("notRef").typeId(), QMetaType::QVariantMap);
}

TEST(PropertyList, DatesKeepMillisecondsInBinaryAndRejectTheUnrepresentable)
{
    const QDateTime precise = utc(2024, 2, 29, 23, 59, 59, 123);
    EXPECT_EQ(roundTrip(QVariantList{precise}, Format::Binary).toList().value(0).toDateTime(), precise);
    // XML keeps whole seconds only.
    EXPECT_EQ(roundTrip(QVariantList{precise}, Format::Xml).toList().value(0).toDateTime(),
              utc(2024, 2, 29, 23, 59, 59));

    QString error;
    EXPECT_TRUE(
        PropertyList::toData(QVariantList{utc(2200, 1, 1, 0, 0, 0)}, Format::Binary, &error).isEmpty());
    EXPECT_TRUE(error.contains("out of range"));
}

TEST(PropertyList, DamagedInputGivesAnErrorNotACrash)
{
    const QByteArray good = PropertyList::toData(sampleTree(), Format::Binary);
    const QList<QByteArray> bad = {
        QByteArray(),
        "not a plist at all",
        "bplist00",
        good.left(good.size() / 2),
        good.left(good.size() - 1),
        "<?xml version=\"1.0\"?><plist><dict><key>a</key>",
        // A null marker (0x00) as an array element.
        QByteArray::fromHex("62706c6973743030a10100080a00000000000001010000000000000002000000000000000000"
                            "0000000000000b"),
    };
    for (const QByteArray &data : bad) {
        QString error;
        EXPECT_FALSE(PropertyList::fromData(data, &error).isValid()) << data.toHex().toStdString();
        EXPECT_FALSE(error.isEmpty());
    }
}

TEST(PropertyList, ValuesWithoutAPlistFormAreRefused)
{
    QString error;
    EXPECT_TRUE(PropertyList::toData(QVariantMap{{"point", QPoint(1, 2)}}, Format::Xml, &error).isEmpty());
    EXPECT_TRUE(error.contains("QPoint")) << error.toStdString();
    EXPECT_TRUE(PropertyList::toData(QVariantList{QVariant()}, Format::Binary, &error).isEmpty());
}

TEST(PropertyList, FilesAreReadAndReplacedSafely)
{
    TemporaryHome home;
    QString error;
    EXPECT_FALSE(PropertyList::readFile(home.filePath("missing.plist"), &error).isValid());
    EXPECT_TRUE(error.contains("missing.plist"));

    const QString path = home.filePath("deep/folder/state.plist");
    ASSERT_TRUE(PropertyList::writeFile(path, QVariantMap{{"a", 1}}, Format::Xml, &error))
        << error.toStdString();
    EXPECT_EQ(PropertyList::readFile(path).toMap().value("a").toInt(), 1);

    // A folder we may not write to: the old file survives whole.
    if (geteuid() != 0) {
        QFile::setPermissions(home.filePath("deep/folder"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        EXPECT_FALSE(PropertyList::writeFile(path, QVariantMap{{"a", 2}}, Format::Xml, &error));
        EXPECT_FALSE(error.isEmpty());
        QFile::setPermissions(home.filePath("deep/folder"),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }
    // A file in the way of the folder.
    EXPECT_FALSE(PropertyList::writeFile(path + "/below", QVariantMap{}, Format::Xml, &error));
    EXPECT_EQ(PropertyList::readFile(path).toMap().value("a").toInt(), 1);
}

} // namespace
