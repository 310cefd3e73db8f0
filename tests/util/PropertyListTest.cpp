#include "PropertyList.h"

#include "ProcessResult.h"
#include "QtPrinters.h"
#include "TemporaryHome.h"

#include <QDateTime>
#include <QFile>
#include <QPoint>
#include <QtEndian>

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
        {"allOnes", QVariant::fromValue(allOnes)},
        {"twoTo63", QVariant::fromValue(quint64(1) << 63)},
        {"smallUnsigned", QVariant::fromValue(quint64(5))},
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
        const QVariantMap back = roundTrip(sampleTree(), format).toMap();
        EXPECT_EQ(back, sampleTree()) << (format == Format::Xml ? "xml" : "binary");
        EXPECT_EQ(back.value("uid").value<PlistUid>().value, 7u);
        // QVariant compares numbers by value across types: the types themselves must be checked.
        EXPECT_EQ(back.value("negative").typeId(), QMetaType::LongLong);
        EXPECT_EQ(back.value("allOnes").typeId(), QMetaType::ULongLong);
        EXPECT_EQ(back.value("twoTo63").typeId(), QMetaType::ULongLong);
        EXPECT_EQ(back.value("allOnes").toULongLong(), allOnes);
    }
}

TEST(PropertyList, BinaryOutputReadsBackInPython)
{
    TemporaryHome home;
    const QString path = home.filePath("numbers.plist");
    const QVariantList values = {QVariant::fromValue(allOnes), qint64(-1), utc(2030, 2, 3, 4, 5, 6, 250)};
    ASSERT_TRUE(PropertyList::writeFile(path, values, Format::Binary));

    const ProcessResult python =
        runProcess("python3", {"-c",
                               "import plistlib,sys; v=plistlib.load(open(sys.argv[1],'rb')); "
                               "print(v[0], v[1], v[2].isoformat())",
                               path});
    EXPECT_EQ(python.out.trimmed(), "18446744073709551615 -1 2030-02-03T04:05:06.250000");
}

TEST(PropertyList, ReadsBinaryListsWrittenByPython)
{
    const ProcessResult python = runProcess(
        "python3",
        {"-c", "import plistlib,sys,datetime; sys.stdout.buffer.write(plistlib.dumps({"
               "'ints': [0, 255, 256, 65536, 2**32, -1, -2**63, 2**63, 2**64-1],"
               "'text': 'Grüße \\U0001F389', 'ascii': 'plain', 'real': 2.5, 'flags': [True, False],"
               "'data': bytes(range(20)), 'when': datetime.datetime(1999, 12, 31, 23, 59, 58, 500000),"
               "'many': list(range(40)), 'uid': plistlib.UID(300)}, fmt=plistlib.FMT_BINARY))"});
    ASSERT_EQ(python.status, 0) << python.err.toStdString();
    QString error;
    const QVariantMap map = PropertyList::fromData(python.out, &error).toMap();
    ASSERT_FALSE(map.isEmpty()) << error.toStdString();
    const QVariantList ints = map.value("ints").toList();
    ASSERT_EQ(ints.size(), 9);
    EXPECT_EQ(ints[0].toLongLong(), 0);
    EXPECT_EQ(ints[1].toLongLong(), 255);
    EXPECT_EQ(ints[2].toLongLong(), 256);
    EXPECT_EQ(ints[3].toLongLong(), 65536);
    EXPECT_EQ(ints[4].toLongLong(), qint64(1) << 32);
    EXPECT_EQ(ints[5].toLongLong(), -1);
    EXPECT_EQ(ints[6].toLongLong(), std::numeric_limits<qint64>::min());
    EXPECT_EQ(ints[7].toULongLong(), quint64(1) << 63);
    EXPECT_EQ(ints[8].toULongLong(), allOnes);
    EXPECT_EQ(map.value("text").toString(), QStringLiteral("Grüße 🎉"));
    EXPECT_EQ(map.value("ascii").toString(), "plain");
    EXPECT_EQ(map.value("real").toDouble(), 2.5);
    EXPECT_EQ(map.value("flags"), QVariant(QVariantList{true, false}));
    EXPECT_EQ(map.value("data").toByteArray().size(), 20);
    EXPECT_EQ(map.value("when").toDateTime(), utc(1999, 12, 31, 23, 59, 58, 500));
    EXPECT_EQ(map.value("many").toList().size(), 40);
    EXPECT_EQ(map.value("uid").value<PlistUid>().value, 300u);
}

TEST(PropertyList, HostileBinaryStructureIsRefused)
{
    // Builds "bplist00" data from raw object bytes; offsets are worked out here, the trailer can be doctored.
    const auto bplist = [](const QList<QByteArray> &objects, quint64 top = 0, int doctorCount = 0) {
        QByteArray data = "bplist00";
        QByteArray offsets;
        for (const QByteArray &object : objects) {
            offsets.append(char(data.size()));
            data.append(object);
        }
        const quint64 tableOffset = quint64(data.size());
        data.append(offsets);
        QByteArray trailer(32, '\0');
        trailer[6] = 1;
        trailer[7] = 1;
        qToBigEndian<quint64>(quint64(objects.size() + doctorCount), trailer.data() + 8);
        qToBigEndian<quint64>(top, trailer.data() + 16);
        qToBigEndian<quint64>(tableOffset, trailer.data() + 24);
        return data + trailer;
    };
    const QByteArray ascii = QByteArray::fromHex("5161"); // "a"
    EXPECT_TRUE(PropertyList::fromData(bplist({ascii})).isValid());

    struct Case {
        const char *name;
        QByteArray data;
    };
    const QList<Case> cases = {
        {"array holding itself", bplist({QByteArray::fromHex("a100")})},
        {"two arrays holding each other", bplist({QByteArray::fromHex("a101"), QByteArray::fromHex("a100")})},
        {"reference past the objects", bplist({QByteArray::fromHex("a105")})},
        {"top object past the objects", bplist({ascii}, 3)},
        {"object count larger than the table", bplist({ascii}, 0, 1)},
        {"string longer than the file", bplist({QByteArray::fromHex("5f10ff61")})},
        {"integer wider than 128 bits", bplist({QByteArray::fromHex("15") + QByteArray(32, '\1')})},
        {"128-bit integer above 2^64", bplist({QByteArray::fromHex("14") + QByteArray(16, '\1')})},
        {"non-string dictionary key", bplist({QByteArray::fromHex("d10101"), QByteArray::fromHex("1001")})},
        {"unknown marker", bplist({QByteArray::fromHex("70")})},
        {"null marker as an array element", bplist({QByteArray::fromHex("a101"), QByteArray::fromHex("00")})},
        {"date that is not a number", bplist({QByteArray::fromHex("337ff8000000000000")})},
    };
    for (const Case &c : cases) {
        QString error;
        EXPECT_FALSE(PropertyList::fromData(c.data, &error).isValid()) << c.name;
        EXPECT_TRUE(error.startsWith("damaged binary property list"))
            << c.name << ": " << error.toStdString();
    }

    // Each array holds the next twice: 40 levels describe 2^40 leaves in a few hundred bytes.
    QList<QByteArray> bomb;
    for (int level = 0; level < 40; ++level)
        bomb.append(QByteArray::fromHex("a2") + char(level + 1) + char(level + 1));
    bomb.append(ascii);
    QString error;
    EXPECT_FALSE(PropertyList::fromData(bplist(bomb), &error).isValid());
    EXPECT_TRUE(error.contains("expands")) << error.toStdString();
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
