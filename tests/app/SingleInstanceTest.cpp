#include "SingleInstance.h"

#include "TemporaryHome.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>

#include <gtest/gtest.h>

#include <future>

namespace {

TEST(SingleInstance, LaterStartsHandTheirRequestToTheFirst)
{
    const TemporaryHome home;
    SingleInstance first;
    ASSERT_TRUE(first.claim());

    QList<std::pair<SingleInstance::Request, QStringList>> received;
    QObject::connect(&first, &SingleInstance::requestReceived,
                     [&received](SingleInstance::Request request, const QStringList &paths) {
                         received.append({request, paths});
                     });
    // The later start runs in its own thread here, as it would in its own process.
    const QStringList paths{"/home/a b.txt", "/tmp/ü.pdf"};
    std::future<bool> sent = std::async(std::launch::async, [&paths] {
        return SingleInstance::sendToRunningInstance(SingleInstance::Request::open, paths);
    });
    ASSERT_TRUE(
        waitUntil([&] { return sent.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_TRUE(sent.get());
    ASSERT_EQ(received.size(), 1);
    EXPECT_EQ(received[0].first, SingleInstance::Request::open);
    EXPECT_EQ(received[0].second, paths);

    std::future<bool> claimed = std::async(std::launch::async, [] { return SingleInstance().claim(); });
    ASSERT_TRUE(
        waitUntil([&] { return claimed.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_FALSE(claimed.get()) << "only one instance";
}

TEST(SingleInstance, ASocketLeftByACrashIsTakenOver)
{
    const TemporaryHome home;
    QFile stale(SingleInstance::socketPath());
    QDir().mkpath(QFileInfo(stale).path());
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.close();
    EXPECT_FALSE(SingleInstance::sendToRunningInstance(SingleInstance::Request::show));
    SingleInstance instance;
    EXPECT_TRUE(instance.claim());
}

} // namespace
