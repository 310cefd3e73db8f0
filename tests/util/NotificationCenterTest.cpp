#include "NotificationCenter.h"

#include "WaitUntil.h"

#include <QThread>

#include <gtest/gtest.h>

#include <memory>

namespace {

class NotificationCenterTest : public ::testing::Test {
protected:
    // Records the notifications `context` receives as "<observer>:<name>".
    void record(const QString &observer, const QString &name, const QObject *context,
                const void *object = nullptr)
    {
        center.addObserver(
            name, context,
            [this, observer](const Notification &n) { received.append(observer + ":" + n.name); }, object);
    }

    NotificationCenter center;
    QObject context;
    QStringList received;
};

TEST_F(NotificationCenterTest, DeliversByNameAndSenderInRegistrationOrder)
{
    const int sender = 0;
    const int otherSender = 0;
    record("any", "VNChanged", &context);
    record("sender", "VNChanged", &context, &sender);
    record("other", "VNOther", &context);
    Notification delivered;
    center.addObserver("VNChanged", &context, [&](const Notification &n) { delivered = n; });

    center.post("VNChanged", &otherSender);
    center.post("VNChanged", &sender, {{"path", "/tmp/a"}});
    center.post("VNUnobserved", &sender);
    EXPECT_EQ(received, QStringList({"any:VNChanged", "any:VNChanged", "sender:VNChanged"}));
    EXPECT_EQ(delivered.object, &sender);
    EXPECT_EQ(delivered.userInfo.value("path"), "/tmp/a");
}

TEST_F(NotificationCenterTest, ObserversGoWithTheirContextEvenDuringDelivery)
{
    auto shortLived = std::make_unique<QObject>();
    QObject removed;
    record("kept", "VNChanged", &context);
    record("destroyed", "VNChanged", shortLived.get());
    record("removed", "VNChanged", &removed);
    shortLived.reset();
    center.removeObservers(&removed);
    center.post("VNChanged");
    EXPECT_EQ(received, QStringList({"kept:VNChanged"}));

    auto second = std::make_unique<QObject>();
    received.clear();
    center.addObserver("VNChanged", &context, [&](const Notification &) {
        received.append("first");
        second.reset(); // an observer destroyed mid-delivery must not be called
        record("added", "VNChanged", &context);
    });
    record("second", "VNChanged", second.get());
    center.post("VNChanged");
    EXPECT_EQ(received, QStringList({"kept:VNChanged", "first"}));
    center.post("VNChanged");
    EXPECT_EQ(received,
              QStringList({"kept:VNChanged", "first", "kept:VNChanged", "first", "added:VNChanged"}));
}

TEST_F(NotificationCenterTest, PostDeliversOnThePostingThreadAndPostOnMainThreadLaterOnTheMainThread)
{
    QThread *deliveredOn = nullptr;
    QVariantMap userInfo;
    center.addObserver("VNChanged", &context, [&](const Notification &n) {
        deliveredOn = QThread::currentThread();
        userInfo = n.userInfo;
    });
    std::unique_ptr<QThread> worker(QThread::create([this] { center.post("VNChanged"); }));
    worker->start();
    worker->wait();
    EXPECT_EQ(deliveredOn, worker.get());

    deliveredOn = nullptr;
    worker.reset(QThread::create([this] { center.postOnMainThread("VNChanged", nullptr, {{"count", 3}}); }));
    worker->start();
    worker->wait();
    EXPECT_EQ(deliveredOn, nullptr);
    EXPECT_TRUE(waitUntil([&] { return deliveredOn != nullptr; }));
    EXPECT_EQ(deliveredOn, qApp->thread());
    EXPECT_EQ(userInfo.value("count"), 3);

    deliveredOn = nullptr;
    center.postOnMainThread("VNChanged");
    EXPECT_EQ(deliveredOn, nullptr);
    EXPECT_TRUE(waitUntil([&] { return deliveredOn != nullptr; }));
}

} // namespace
