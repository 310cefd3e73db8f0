#include "KeyedArchive.h"

#include "PropertyList.h"
#include "QtPrinters.h"
#include "SampleItem.h"
#include "TemporaryHome.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

QVariant uid(quint64 value)
{
    return QVariant::fromValue(PlistUid{value});
}

QVariantMap classEntry(const QStringList &chain)
{
    return {{"$classname", chain.first()}, {"$classes", chain}};
}

QByteArray archiveOf(const QVariantList &objects, quint64 root = 1)
{
    const QVariantMap archive = {{"$version", 100000},
                                 {"$archiver", "NSKeyedArchiver"},
                                 {"$top", QVariantMap{{"root", uid(root)}}},
                                 {"$objects", objects}};
    return PropertyList::toData(archive, PropertyList::Format::Binary);
}

QVariant unarchive(const QByteArray &data, QString *error = nullptr)
{
    return KeyedUnarchiver::unarchiveObjectWithData(data, SampleItem::classes(), error);
}

std::shared_ptr<SampleItem> sampleAt(const QVariant &value)
{
    return std::dynamic_pointer_cast<SampleItem>(value.value<ArchivableObjectRef>());
}

const QDateTime eventDate(QDate(2024, 1, 15), QTime(10, 30), Qt::UTC);

// The recent-events shape: an array of {path, date, files: [item...]}.
QVariantList recentEvents()
{
    auto stack = SampleItem::make("/home/u/Photos");
    auto *stackItem = static_cast<SampleItem *>(stack.get());
    stackItem->hasStack = true;
    for (const char *name : {"a.jpg", "b.jpg", "c.jpg", "d.jpg"})
        stackItem->stack.insert(
            QStringLiteral("/home/u/Photos/") + name,
            QVariant::fromValue(SampleItem::make(QStringLiteral("/home/u/Photos/") + name)));
    return {
        QVariantMap{
            {"path", "/a"},
            {"date", eventDate},
            {"files", QVariantList{QVariant::fromValue(SampleItem::make("/a/notes.txt", 727002000.0))}}},
        QVariantMap{{"path", "/home/u/Photos"},
                    {"date", eventDate.addSecs(-60)},
                    {"files", QVariantList{QVariant::fromValue(stack)}}},
    };
}

TEST(KeyedArchive, DecodesTheReferenceExampleLayout)
{
    // Object numbering as the platform's archiver lays it out, class entries after their objects' children.
    const QVariantList objects = {
        "$null",
        QVariantMap{{"NS.objects", QVariantList{uid(2)}}, {"$class", uid(16)}},
        QVariantMap{{"NS.keys", QVariantList{uid(3), uid(4), uid(5)}},
                    {"NS.objects", QVariantList{uid(6), uid(7), uid(9)}},
                    {"$class", uid(15)}},
        "path",
        "date",
        "files",
        "/a",
        QVariantMap{{"NS.time", 727007400.0}, {"$class", uid(8)}},
        classEntry({"NSDate", "NSObject"}),
        QVariantMap{{"NS.objects", QVariantList{uid(10)}}, {"$class", uid(14)}},
        QVariantMap{{"path", uid(11)}, {"overrideDate", 727002000.0}, {"$class", uid(13)}},
        "/a/notes.txt",
        "unused",
        classEntry({"SampleItem", "NSObject"}),
        classEntry({"NSArray", "NSObject"}),
        classEntry({"NSMutableDictionary", "NSDictionary", "NSObject"}),
        classEntry({"NSMutableArray", "NSArray", "NSObject"}),
    };
    QString error;
    const QVariantList root = unarchive(archiveOf(objects), &error).toList();
    ASSERT_EQ(root.size(), 1) << error.toStdString();
    const QVariantMap event = root.first().toMap();
    EXPECT_EQ(event.value("path").toString(), "/a");
    EXPECT_EQ(event.value("date").toDateTime(), eventDate);
    const auto item = sampleAt(event.value("files").toList().value(0));
    ASSERT_TRUE(item);
    EXPECT_EQ(item->path, "/a/notes.txt");
    EXPECT_EQ(item->overrideDate, 727002000.0);
    EXPECT_FALSE(item->hasStack);
}

TEST(KeyedArchive, CustomObjectsRoundTripWithTheirOwnKeys)
{
    QString error;
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(recentEvents(), &error);
    ASSERT_FALSE(data.isEmpty()) << error.toStdString();

    // The item writes only the keys it has, in its own dictionary; doubles stay inline.
    const QVariantList objects = PropertyList::fromData(data).toMap().value("$objects").toList();
    EXPECT_EQ(objects.first().toString(), "$null");
    QVariantMap notes;
    for (const QVariant &object : objects) {
        if (object.toMap().value("overrideDate").isValid())
            notes = object.toMap();
    }
    EXPECT_EQ(QSet<QString>(notes.keyBegin(), notes.keyEnd()),
              (QSet<QString>{"alias", "path", "overrideDate", "$class"}));
    EXPECT_EQ(notes.value("overrideDate").typeId(), QMetaType::Double);

    const QVariantList events = unarchive(data, &error).toList();
    ASSERT_EQ(events.size(), 2) << error.toStdString();
    EXPECT_EQ(events[0].toMap().value("date").toDateTime(), eventDate);
    const auto stack = sampleAt(events[1].toMap().value("files").toList().value(0));
    ASSERT_TRUE(stack);
    EXPECT_TRUE(stack->hasStack);
    EXPECT_EQ(stack->stack.size(), 4);
    const auto member = sampleAt(stack->stack.value("/home/u/Photos/c.jpg"));
    ASSERT_TRUE(member);
    EXPECT_EQ(member->alias, "alias:/home/u/Photos/c.jpg");
    EXPECT_EQ(member->overrideDate, 0.0);
}

TEST(KeyedArchive, SharedObjectsAreWrittenOnceAndStayShared)
{
    const auto item = SampleItem::make("/shared");
    const QVariantList root = {QVariant::fromValue(item), QVariant::fromValue(item), "/shared"};
    const QByteArray data = KeyedArchiver::archivedDataWithRootObject(root);
    const QVariantList objects = PropertyList::fromData(data).toMap().value("$objects").toList();
    EXPECT_EQ(objects.count(QVariant("/shared")), 1);

    const QVariantList back = unarchive(data).toList();
    ASSERT_EQ(back.size(), 3);
    EXPECT_EQ(sampleAt(back[0]).get(), sampleAt(back[1]).get());
}

TEST(KeyedArchive, NullNilAndDollarKeysSurvive)
{
    struct DollarItem : ArchivableObject {
        QStringList archiveClassChain() const override { return {"DollarItem", "NSObject"}; }
        void encodeWithCoder(KeyedArchiver &coder) const override
        {
            coder.encodeObject(QStringLiteral("x"), "$class");
            coder.encodeObject(QVariant(), "nothing");
            coder.encodeBool(true, "flag");
            coder.encodeInt64(-5, "count");
        }
    };
    const QVariantMap root = {
        {"null", QVariant::fromValue(nullptr)},
        {"item", QVariant::fromValue<ArchivableObjectRef>(std::make_shared<DollarItem>())}};
    const QVariantMap back = unarchive(KeyedArchiver::archivedDataWithRootObject(root)).toMap();
    EXPECT_EQ(back.value("null").typeId(), QMetaType::Nullptr);
    // Unknown classes come back as plain maps named by "$class"; the coder's own "$class" key was escaped.
    const QVariantMap item = back.value("item").toMap();
    EXPECT_EQ(item.value("$class").toString(), "DollarItem");
    EXPECT_FALSE(item.value("nothing").isValid());
    EXPECT_EQ(item.value("flag").toBool(), true);
    EXPECT_EQ(item.value("count").toLongLong(), -5);
}

TEST(KeyedArchive, HostileArchivesAreRefused)
{
    const QVariant arrayClass = classEntry({"NSArray", "NSObject"});
    struct Case {
        const char *name;
        QByteArray data;
        const char *expected;
    };
    QVariantList bomb = {"$null"};
    // Each array holds the next one twice: 40 levels describe 2^40 leaves in a few kilobytes.
    for (int level = 1; level <= 40; ++level)
        bomb.append(
            QVariantMap{{"NS.objects", QVariantList{uid(level + 1), uid(level + 1)}}, {"$class", uid(42)}});
    bomb.append("leaf");
    bomb.append(arrayClass);
    QVariantList deep = {"$null"};
    for (int level = 1; level <= 2000; ++level)
        deep.append(QVariantMap{{"NS.objects", QVariantList{uid(level + 1)}}, {"$class", uid(2002)}});
    deep.append("leaf");
    deep.append(arrayClass);

    const QList<Case> cases = {
        {"out of range",
         archiveOf(
             {"$null", QVariantMap{{"NS.objects", QVariantList{uid(99)}}, {"$class", uid(2)}}, arrayClass}),
         "points past"},
        {"self-containing",
         archiveOf(
             {"$null", QVariantMap{{"NS.objects", QVariantList{uid(1)}}, {"$class", uid(2)}}, arrayClass}),
         "contains itself"},
        {"no class", archiveOf({"$null", QVariantMap{{"NS.objects", QVariantList{}}}}), "no class"},
        {"bad class", archiveOf({"$null", QVariantMap{{"$class", uid(1)}}}), "no name"},
        {"uneven dictionary",
         archiveOf({"$null",
                    QVariantMap{{"NS.keys", QVariantList{uid(2)}},
                                {"NS.objects", QVariantList{}},
                                {"$class", uid(3)}},
                    "k", classEntry({"NSDictionary"})}),
         "keys for"},
        {"bad date",
         archiveOf({"$null", QVariantMap{{"NS.time", "soon"}, {"$class", uid(2)}}, classEntry({"NSDate"})}),
         "date"},
        {"root out of range", archiveOf({"$null"}, 5), "points past"},
        {"reference bomb", archiveOf(bomb), "expands"},
        {"deep nesting", archiveOf(deep), "too deeply"},
        {"plain plist", PropertyList::toData(QVariantMap{{"a", 1}}, PropertyList::Format::Binary),
         "not a keyed archive"},
    };
    for (const Case &c : cases) {
        QString error;
        EXPECT_FALSE(unarchive(c.data, &error).isValid()) << c.name;
        EXPECT_TRUE(error.contains(c.expected)) << c.name << ": " << error.toStdString();
    }
}

TEST(KeyedArchive, CustomObjectGraphsWithCyclesEncodeButDoNotDecode)
{
    auto parent = std::make_shared<SampleItem>();
    parent->path = "/loop";
    parent->hasStack = true;
    parent->stack.insert("/loop", QVariant::fromValue<ArchivableObjectRef>(parent));
    QString error;
    const QByteArray data =
        KeyedArchiver::archivedDataWithRootObject(QVariant::fromValue<ArchivableObjectRef>(parent), &error);
    parent->stack.clear(); // break the reference cycle so the test does not leak
    ASSERT_FALSE(data.isEmpty()) << error.toStdString();
    EXPECT_FALSE(unarchive(data, &error).isValid());
    EXPECT_TRUE(error.contains("contains itself"));
}

TEST(KeyedArchive, OurArchivesReadTheSameInPython)
{
    TemporaryHome home;
    const QString path = home.filePath("Vantry/recentItems.plist");
    QString error;
    ASSERT_TRUE(KeyedArchiver::archiveRootObject(recentEvents(), path, &error)) << error.toStdString();

    QProcess python;
    python.start("python3", {QStringLiteral(VANTRY_TEST_DATA "/resolve_keyed_archive.py"), path});
    ASSERT_TRUE(python.waitForFinished(30000));
    ASSERT_EQ(python.exitCode(), 0) << python.readAllStandardError().toStdString();
    const QVariant fromPython = QJsonDocument::fromJson(python.readAllStandardOutput()).toVariant();

    const QVariantList events = fromPython.toList();
    ASSERT_EQ(events.size(), 2);
    const QVariantMap first = events[0].toMap();
    EXPECT_EQ(first.value("path").toString(), "/a");
    EXPECT_EQ(first.value("date").toString(), "2024-01-15T10:30:00Z");
    const QVariantMap notes = first.value("files").toList().value(0).toMap();
    EXPECT_EQ(notes.value("$class").toString(), "SampleItem");
    EXPECT_EQ(notes.value("path").toString(), "/a/notes.txt");
    EXPECT_EQ(notes.value("overrideDate").toDouble(), 727002000.0);
    EXPECT_EQ(notes.value("alias").toString(),
              QString::fromLatin1(QByteArray("alias:/a/notes.txt").toBase64()));
    const QVariantMap stack =
        events[1].toMap().value("files").toList().value(0).toMap().value("stack").toMap();
    EXPECT_EQ(stack.size(), 4);
    EXPECT_EQ(stack.value("/home/u/Photos/d.jpg").toMap().value("path").toString(), "/home/u/Photos/d.jpg");
}

} // namespace
