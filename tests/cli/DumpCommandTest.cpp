#include "KeyedArchive.h"
#include "ProcessResult.h"
#include "PropertyList.h"
#include "SampleItem.h"
#include "TemporaryHome.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace {

TEST(CommandLine, HelpVersionAndMistakes)
{
    const ProcessResult version = runVantry({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.out.startsWith("vantry ")) << version.out.toStdString();

    for (const QStringList &arguments : {QStringList{"--help"}, QStringList{"help"}}) {
        const ProcessResult help = runVantry(arguments);
        EXPECT_EQ(help.status, 0);
        EXPECT_TRUE(help.out.contains("dump")) << help.out.toStdString();
    }
    const ProcessResult commandHelp = runVantry({"help", "dump"});
    EXPECT_EQ(commandHelp.status, 0);
    EXPECT_TRUE(commandHelp.out.startsWith("usage: vantry dump [--json] FILE"));

    const ProcessResult unknown = runVantry({"frobnicate"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(unknown.err.contains("unknown command 'frobnicate'"));
    EXPECT_TRUE(unknown.out.isEmpty());

    EXPECT_EQ(runVantry({"dump"}).status, 2);
    EXPECT_EQ(runVantry({"dump", "--yaml", "x"}).status, 2);
    EXPECT_EQ(runVantry({"help", "nothing"}).status, 2);
}

TEST(DumpCommand, ReadsAnArchiveWrittenByPythonsPlistlib)
{
    TemporaryHome home;
    const QString path = home.filePath("fromPython.plist");
    const ProcessResult writer =
        runProcess("python3", {QStringLiteral(VANTRY_TEST_DATA "/write_keyed_archive.py"), path});
    ASSERT_EQ(writer.status, 0) << writer.err.toStdString();

    const ProcessResult dump = runVantry({"dump", "--json", path});
    ASSERT_EQ(dump.status, 0) << dump.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(dump.out), QJsonDocument::fromJson(writer.out))
        << dump.out.toStdString();
    EXPECT_TRUE(dump.out.contains("18446744073709551615")); // exact, not rounded through a double

    const ProcessResult text = runVantry({"dump", path});
    ASSERT_EQ(text.status, 0);
    EXPECT_TRUE(text.out.contains("VNItem {"));
    EXPECT_TRUE(text.out.contains("\"path\" => \"/home/u/Documents/Grüße 🎉.txt\""));
    EXPECT_TRUE(text.out.contains("2024-01-15T10:30:00.250Z"));
}

TEST(DumpCommand, PrintsPlainPropertyListsInBothFormats)
{
    TemporaryHome home;
    const QVariantMap settings = {{"lastHandledFSEvent", QVariant::fromValue(~quint64(0))},
                                  {"unwantedExtensions", QStringList{"xcodeproj", "tmp"}},
                                  {"blob", QByteArray("\x01\x02", 2)},
                                  {"when", QDateTime(QDate(2026, 11, 21), QTime(9, 0), Qt::UTC)}};
    for (const auto format : {PropertyList::Format::Xml, PropertyList::Format::Binary}) {
        const QString path = home.filePath("settings.plist");
        ASSERT_TRUE(PropertyList::writeFile(path, settings, format));
        const ProcessResult dump = runVantry({"dump", "--json", path});
        ASSERT_EQ(dump.status, 0);
        const QVariantMap json = QJsonDocument::fromJson(dump.out).toVariant().toMap();
        EXPECT_EQ(json.value("unwantedExtensions").toStringList(), (QStringList{"xcodeproj", "tmp"}));
        EXPECT_EQ(json.value("blob").toString(), "AQI=");
        EXPECT_EQ(json.value("when").toString(), "2026-11-21T09:00:00Z");
        EXPECT_TRUE(dump.out.contains("\"lastHandledFSEvent\": 18446744073709551615"));
    }
}

TEST(DumpCommand, RefusesWhatIsNotAPropertyList)
{
    TemporaryHome home;
    const QString text = home.filePath("notes.txt");
    QFile file(text);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("just some words\n");
    file.close();

    const ProcessResult notPlist = runVantry({"dump", text});
    EXPECT_EQ(notPlist.status, 1);
    EXPECT_TRUE(notPlist.out.isEmpty());
    EXPECT_TRUE(notPlist.err.contains("notes.txt: not a property list")) << notPlist.err.toStdString();

    const ProcessResult missing = runVantry({"dump", home.filePath("nowhere.plist")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.err.contains("nowhere.plist"));

    const QString damaged = home.filePath("damaged.plist");
    QByteArray archive =
        KeyedArchiver::archivedDataWithRootObject(QVariantList{QVariant::fromValue(SampleItem::make("/x"))});
    ASSERT_TRUE(PropertyList::writeFile(
        damaged,
        [&] {
            QVariantMap map = PropertyList::fromData(archive).toMap();
            map["$top"] = QVariantMap{{"root", QVariant::fromValue(PlistUid{999})}};
            return map;
        }(),
        PropertyList::Format::Binary));
    const ProcessResult bad = runVantry({"dump", damaged});
    EXPECT_EQ(bad.status, 1);
    EXPECT_TRUE(bad.err.contains("damaged keyed archive")) << bad.err.toStdString();
}

} // namespace
