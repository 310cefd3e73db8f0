#include "NotificationCenter.h"

#include <QCoreApplication>

#include <algorithm>
#include <atomic>

struct NotificationCenter::Observer {
    QString name;
    const QObject *context;
    const void *object;
    Callback callback;
    // Set on removal, so a delivery already under way skips the observer.
    std::atomic<bool> removed = false;
};

NotificationCenter &NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter::NotificationCenter()
{
    // Created wherever first used, but postOnMainThread() delivers through this object's thread.
    if (QCoreApplication *app = QCoreApplication::instance())
        moveToThread(app->thread());
}

void NotificationCenter::addObserver(const QString &name, const QObject *context, Callback callback,
                                     const void *object)
{
    {
        std::lock_guard lock(m_mutex);
        m_observers.push_back(std::make_shared<Observer>(name, context, object, std::move(callback)));
    }
    // Direct, so the observers are gone before the context's memory is, whatever thread it dies on.
    connect(context, &QObject::destroyed, this, &NotificationCenter::removeObservers,
            Qt::ConnectionType(Qt::DirectConnection | Qt::UniqueConnection));
}

void NotificationCenter::removeObservers(const QObject *context)
{
    std::lock_guard lock(m_mutex);
    std::erase_if(m_observers, [context](const std::shared_ptr<Observer> &observer) {
        if (observer->context != context)
            return false;
        observer->removed = true;
        return true;
    });
}

void NotificationCenter::post(const QString &name, const void *object, const QVariantMap &userInfo)
{
    const Notification notification{name, object, userInfo};
    std::vector<std::shared_ptr<Observer>> matching;
    {
        std::lock_guard lock(m_mutex);
        std::copy_if(m_observers.cbegin(), m_observers.cend(), std::back_inserter(matching),
                     [&](const std::shared_ptr<Observer> &observer) {
                         return observer->name == name && (!observer->object || observer->object == object);
                     });
    }
    // Called without the lock, so callbacks may add or remove observers.
    for (const std::shared_ptr<Observer> &observer : matching) {
        if (!observer->removed)
            observer->callback(notification);
    }
}

void NotificationCenter::postOnMainThread(const QString &name, const void *object,
                                          const QVariantMap &userInfo)
{
    QMetaObject::invokeMethod(
        this, [=, this] { post(name, object, userInfo); }, Qt::QueuedConnection);
}
