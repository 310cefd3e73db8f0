#include "UserDefaults.h"

#include "AppPaths.h"
#include "PropertyList.h"
#include "TemporaryHome.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QThread>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

namespace {

constexpr quint64 allBitsSet = std::numeric_limits<quint64>::max();

class UserDefaultsTest : public ::testing::Test {
protected:
    QVariantMap fileContents() const { return PropertyList::readFile(path).toMap(); }

    TemporaryHome home;
    const QString path = AppPaths::userDefaultsFile();
};

TEST_F(UserDefaultsTest, PersistentValuesOverrideRegisteredOnesWhichNeverReachTheFile)
{
    UserDefaults defaults(path);
    defaults.registerDefaults({{"width", 300}, {"title", "Recent"}});
    defaults.setValue("width", 480);
    defaults.registerDefaults({{"width", 310}, {"columns", 3}});
    EXPECT_EQ(defaults.integerValue("width"), 480);
    EXPECT_EQ(defaults.stringValue("title"), "Recent");
    EXPECT_EQ(defaults.integerValue("columns"), 3);
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_EQ(fileContents(), (QVariantMap{{"width", qint64(480)}}));

    defaults.removeValue("width");
    EXPECT_EQ(defaults.integerValue("width"), 310);
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_EQ(fileContents(), QVariantMap());
}

TEST_F(UserDefaultsTest, ValuesReadTheSameBeforeAndAfterARestart)
{
    UserDefaults defaults(path);
    defaults.registerDefaults({{"lastHandledFSEvent", allBitsSet}});
    EXPECT_EQ(defaults.unsignedValue("lastHandledFSEvent"), allBitsSet);
    defaults.setValue("lastHandledFSEvent", allBitsSet);
    defaults.setValue("ratio", 0.1);
    defaults.setValue("paths", QStringList{"/a", "/b"});
    defaults.setValue("count", 7);
    defaults.setColour("labelColour", QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.8f));
    ASSERT_TRUE(defaults.synchronize());

    UserDefaults reopened(path);
    EXPECT_EQ(reopened.unsignedValue("lastHandledFSEvent"), allBitsSet);
    EXPECT_EQ(reopened.doubleValue("ratio"), 0.1);
    EXPECT_EQ(reopened.colourValue("labelColour"), QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.8f));
    EXPECT_EQ(reopened.stringListValue("paths"), QStringList({"/a", "/b"}));
    EXPECT_EQ(defaults.value("paths"), reopened.value("paths"));
    EXPECT_EQ(defaults.value("count").typeId(), QMetaType::LongLong);
    const QVariantList components = fileContents().value("labelColour").toList();
    ASSERT_EQ(components.size(), 4);
    EXPECT_EQ(components[0].typeId(), QMetaType::Double);
    EXPECT_DOUBLE_EQ(components[3].toDouble(), 0.8);
}

TEST_F(UserDefaultsTest, MissingWronglyTypedAndUnstorableValuesReadAsEmpty)
{
    UserDefaults defaults(path);
    defaults.setValue("text", "yes");
    defaults.setValue("mixed", QVariantList{"a", 1});
    defaults.setValue("negative", -1);
    defaults.setValue("huge", allBitsSet);
    defaults.setValue("real", -2.9);
    defaults.setValue("outOfRange", 1e30);
    defaults.setValue("flag", true);
    defaults.setValue("notAColour", QVariantList{0.1, 0.2, 1.5, 1.0});
    defaults.setValue("text", QColor(Qt::blue)); // refused: has no file form

    EXPECT_FALSE(defaults.value("missing").isValid());
    EXPECT_EQ(defaults.stringValue("text"), "yes");
    EXPECT_FALSE(defaults.boolValue("text"));
    EXPECT_EQ(defaults.integerValue("text"), 0);
    EXPECT_EQ(defaults.stringValue("negative"), QString());
    EXPECT_EQ(defaults.stringListValue("mixed"), QStringList());
    EXPECT_EQ(defaults.dictionaryValue("mixed"), QVariantMap());
    EXPECT_EQ(defaults.unsignedValue("negative"), 0u);
    EXPECT_EQ(defaults.integerValue("huge"), 0);
    EXPECT_EQ(defaults.integerValue("real"), -2);
    EXPECT_EQ(defaults.unsignedValue("real"), 0u);
    EXPECT_EQ(defaults.integerValue("outOfRange"), 0);
    EXPECT_EQ(defaults.integerValue("flag"), 1);
    EXPECT_TRUE(defaults.boolValue("real"));
    EXPECT_FALSE(defaults.colourValue("notAColour").isValid());
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(fileContents().size(), 8);
}

TEST_F(UserDefaultsTest, ChangesAreWrittenSoonAndOnDestruction)
{
    {
        UserDefaults defaults(path);
        defaults.setValue("soon", 1);
        EXPECT_TRUE(waitUntil([&] { return fileContents().contains("soon"); }));
        defaults.setValue("onDestruction", 2);
    }
    EXPECT_EQ(fileContents(), (QVariantMap{{"soon", qint64(1)}, {"onDestruction", qint64(2)}}));
}

TEST_F(UserDefaultsTest, CorruptFilesAreMovedAsideAndTheProgramStartsEmpty)
{
    QDir().mkpath(AppPaths::configFolder());
    for (const QByteArray &bytes : {QByteArray("<?xml version=\"1.0\"?><plist><dict><key>broken"),
                                    PropertyList::toData(QVariantList{1, 2}, PropertyList::Format::Xml)}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        {
            UserDefaults defaults(path);
            EXPECT_FALSE(defaults.value("broken").isValid());
            defaults.setValue("fresh", true);
        }
        QFile aside(path + ".corrupt");
        ASSERT_TRUE(aside.open(QIODevice::ReadOnly));
        EXPECT_EQ(aside.readAll(), bytes);
        ASSERT_TRUE(aside.remove());
        EXPECT_EQ(fileContents(), (QVariantMap{{"fresh", true}}));
    }
}

TEST_F(UserDefaultsTest, FailedWriteKeepsValuesInMemoryAndRetries)
{
    // A file where the folder should be fails every write, even for root, which ignores permissions.
    const QString blocked = home.writeFile("blocked");
    UserDefaults defaults(blocked + "/Vantry.plist");
    defaults.setValue("kept", 42);
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_EQ(defaults.integerValue("kept"), 42);
    ASSERT_TRUE(QFile::remove(blocked));
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(PropertyList::readFile(blocked + "/Vantry.plist").toMap().value("kept"), qint64(42));
}

TEST_F(UserDefaultsTest, NotifiesOnTheMainThreadOncePerChangeOfTheEffectiveValue)
{
    UserDefaults defaults(path);
    QObject context;
    int calls = 0;
    defaults.observe("key", &context, [&] {
        ++calls;
        EXPECT_EQ(QThread::currentThread(), qApp->thread());
    });
    defaults.registerDefaults({{"key", 1}}); // unset, so the effective value changes
    EXPECT_EQ(calls, 1);
    defaults.setValue("key", 1);
    defaults.setValue("other", 2);
    EXPECT_EQ(calls, 1);
    defaults.setValue("key", 2);
    defaults.setValue("key", 2);
    EXPECT_EQ(calls, 2);
    defaults.registerDefaults({{"key", 3}}); // hidden by the persistent value
    EXPECT_EQ(calls, 2);
    defaults.removeValue("key"); // reveals the registered 3
    EXPECT_EQ(calls, 3);
    defaults.setValue("key", 3);
    defaults.removeValue("key");
    defaults.removeValue("key");
    EXPECT_EQ(calls, 3);

    std::unique_ptr<QThread> worker(QThread::create([&] { defaults.setValue("key", "from worker"); }));
    worker->start();
    worker->wait();
    EXPECT_TRUE(waitUntil([&] { return calls == 4; }));
}

TEST_F(UserDefaultsTest, ConcurrentWritersLoseNothing)
{
    constexpr int threads = 4;
    constexpr int keysEach = 200;
    UserDefaults defaults(path);
    std::vector<std::unique_ptr<QThread>> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back(QThread::create([&defaults, t] {
            for (int k = 0; k < keysEach; ++k) {
                defaults.setValue(QString("%1.%2").arg(t).arg(k), k);
                if (k % 20 == 19)
                    defaults.synchronize();
            }
        }));
        workers.back()->start();
    }
    for (const auto &worker : workers)
        worker->wait();
    EXPECT_EQ(UserDefaults(path).value("3.199"), qint64(199));
    EXPECT_EQ(fileContents().size(), threads * keysEach);
}

} // namespace
