#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

struct Notification {
    QString name;
    const void *object = nullptr; // the sender, only ever compared
    QVariantMap userInfo;
};

// Delivers named notifications to the observers registered for them. Every method may be called from any
// thread, also from inside an observer's callback.
class NotificationCenter : public QObject {
    Q_OBJECT

public:
    using Callback = std::function<void(const Notification &)>;

    static NotificationCenter &defaultCenter();

    NotificationCenter();

    // Calls `callback` for each notification named `name` from `object` (from any sender when null), until
    // `context` is destroyed or passed to removeObservers().
    void addObserver(const QString &name, const QObject *context, Callback callback,
                     const void *object = nullptr);
    void removeObservers(const QObject *context);

    // Calls the matching observers now, on this thread, in the order they were added. Observers added during
    // the delivery wait for the next notification; observers removed during it are no longer called.
    void post(const QString &name, const void *object = nullptr, const QVariantMap &userInfo = {});
    // Posts from the main thread's event loop, after the current event.
    void postOnMainThread(const QString &name, const void *object = nullptr,
                          const QVariantMap &userInfo = {});

private:
    struct Observer;

    std::mutex m_mutex;
    std::vector<std::shared_ptr<Observer>> m_observers;
};
