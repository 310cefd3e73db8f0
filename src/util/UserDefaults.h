#pragma once

#include <QColor>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <mutex>

// The application's preferences, looked up by key in two domains: the persistent domain, an XML property list
// file holding a dictionary, and under it the registration domain, the program's built-in defaults, which
// live in memory only and never reach the file.
//
// Values are property-list values (see PropertyList.h) and are stored in the form the file gives back, so a
// value reads the same before and after a restart (an int reads as qint64, a QStringList as a QVariantList).
// A value with no property-list form is refused with a log line. Colours are stored as an array of four reals
// [red, green, blue, alpha] in device RGB, each from 0 to 1.
//
// Changes are written atomically soon after they are made, on synchronize() and on destruction. Every method
// may be called from any thread. The object lives on the main thread, where valueChanged() is emitted.
class UserDefaults : public QObject {
    Q_OBJECT

public:
    // The program's defaults, in AppPaths::userDefaultsFile().
    static UserDefaults &standard();

    // Reads `filePath`. A missing file is an empty domain; an unreadable or corrupt one is logged, moved
    // aside to "<filePath>.corrupt" so that no save overwrites it, and replaced by an empty domain.
    explicit UserDefaults(const QString &filePath);
    ~UserDefaults() override;

    QString filePath() const { return m_filePath; }

    // Adds to the registration domain, replacing earlier registrations of the same keys.
    void registerDefaults(const QVariantMap &defaults);

    // The persistent value if there is one, else the registered one, else an invalid QVariant.
    QVariant value(const QString &key) const;
    // An invalid `value` removes the key.
    void setValue(const QString &key, const QVariant &value);
    // Removes the persistent value, so the registered one shows again.
    void removeValue(const QString &key);

    // Writes pending changes now. False if the write failed; the values stay in memory and are written with
    // the next change or synchronize().
    bool synchronize();

    // A missing value, or one of a type the getter does not read, reads as false, 0 or empty. The numeric
    // getters read integers, reals and booleans; a number the getter's type cannot hold reads as 0, and reals
    // are truncated towards zero.
    bool boolValue(const QString &key) const;
    qint64 integerValue(const QString &key) const;
    quint64 unsignedValue(const QString &key) const;
    double doubleValue(const QString &key) const;
    QString stringValue(const QString &key) const;
    QStringList stringListValue(const QString &key) const; // empty unless every element is a string
    QVariantMap dictionaryValue(const QString &key) const;
    QColor colourValue(const QString &key) const; // invalid unless four reals from 0 to 1

    // An invalid colour removes the key.
    void setColour(const QString &key, const QColor &colour);

    // Calls `callback` whenever the value of `key` changes, until `context` is destroyed. Runs in the
    // context's thread, normally the main thread.
    QMetaObject::Connection observe(const QString &key, const QObject *context,
                                    std::function<void()> callback);

Q_SIGNALS:
    // The value of `key` read through value() has changed. Emitted on the main thread only.
    void valueChanged(const QString &key);

private:
    QVariant effectiveValue(const QString &key) const; // caller holds m_mutex
    void persistentDomainChanged();                    // caller holds m_mutex
    void writeScheduled();
    void notify(const QStringList &keys);

    const QString m_filePath;
    std::mutex m_writeMutex; // keeps concurrent saves in order; taken before m_mutex
    mutable std::mutex m_mutex;
    QVariantMap m_registered;
    QVariantMap m_persistent;
    bool m_pendingWrite = false;
    bool m_writeScheduled = false;
};
