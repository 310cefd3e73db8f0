#include "UserDefaults.h"

#include "AppPaths.h"
#include "Log.h"
#include "PropertyList.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QRgba64>
#include <QThread>

#include <array>
#include <cmath>
#include <filesystem>
#include <limits>
#include <utility>

namespace {

// Passing values through the file format up front refuses what could never be saved, instead of failing every
// later save, and makes a value read the same before and after a restart.
QVariant storedForm(const QString &key, const QVariant &value)
{
    QString error;
    const QByteArray data = PropertyList::toData(value, PropertyList::Format::Xml, &error);
    const QVariant stored = data.isEmpty() ? QVariant() : PropertyList::fromData(data, &error);
    if (!stored.isValid())
        Log::line(QStringLiteral("user defaults: cannot store the value of %1: %2").arg(key, error));
    return stored;
}

QVariantMap readPersistentDomain(const QString &path)
{
    if (!QFileInfo::exists(path))
        return {};
    QString error;
    const QVariant root = PropertyList::readFile(path, &error);
    if (root.typeId() == QMetaType::QVariantMap)
        return root.toMap();
    if (root.isValid())
        error = QStringLiteral("%1 does not hold a dictionary").arg(path);

    // Moved rather than left in place, so the next save cannot overwrite what the user may still recover.
    const QString aside = path + QStringLiteral(".corrupt");
    std::error_code moveError;
    std::filesystem::rename(QFile::encodeName(path).constData(), QFile::encodeName(aside).constData(),
                            moveError);
    if (moveError)
        Log::line(QStringLiteral("user defaults: %1; cannot move it aside: %2")
                      .arg(error, QString::fromStdString(moveError.message())));
    else
        Log::line(QStringLiteral("user defaults: %1; moved it to %2 and started with empty defaults")
                      .arg(error, aside));
    return {};
}

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

template <typename Integer> Integer toInteger(const QVariant &value)
{
    const auto fitted = [](auto number) {
        return std::in_range<Integer>(number) ? Integer(number) : Integer(0);
    };
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::LongLong:
        return fitted(value.toLongLong());
    case QMetaType::ULongLong:
        return fitted(value.toULongLong());
    case QMetaType::Double: {
        const double number = std::trunc(value.toDouble());
        const double limit = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
        return number >= double(std::numeric_limits<Integer>::min()) && number < limit ? Integer(number) : 0;
    }
    default:
        return 0;
    }
}

constexpr double colourComponentMax = 65535.0; // QRgba64 components

} // namespace

UserDefaults &UserDefaults::standard()
{
    static UserDefaults defaults(AppPaths::userDefaultsFile());
    return defaults;
}

UserDefaults::UserDefaults(const QString &filePath)
    : m_filePath(filePath), m_persistent(readPersistentDomain(filePath))
{
    // Created wherever first used, but observers expect the main thread.
    if (QCoreApplication *app = QCoreApplication::instance())
        moveToThread(app->thread());
}

UserDefaults::~UserDefaults()
{
    synchronize();
}

void UserDefaults::registerDefaults(const QVariantMap &defaults)
{
    QVariantMap stored;
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it) {
        const QVariant value = storedForm(it.key(), it.value());
        if (value.isValid())
            stored.insert(it.key(), value);
    }

    QStringList changed;
    {
        std::lock_guard lock(m_mutex);
        for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
            if (!m_persistent.contains(it.key()) && m_registered.value(it.key()) != it.value())
                changed.append(it.key());
            m_registered.insert(it.key(), it.value());
        }
    }
    notify(changed);
}

QVariant UserDefaults::value(const QString &key) const
{
    std::lock_guard lock(m_mutex);
    return effectiveValue(key);
}

QVariant UserDefaults::effectiveValue(const QString &key) const
{
    const auto persistent = m_persistent.constFind(key);
    return persistent != m_persistent.cend() ? *persistent : m_registered.value(key);
}

void UserDefaults::setValue(const QString &key, const QVariant &value)
{
    if (!value.isValid())
        return removeValue(key);
    const QVariant stored = storedForm(key, value);
    if (!stored.isValid())
        return;

    bool changed;
    {
        std::lock_guard lock(m_mutex);
        changed = effectiveValue(key) != stored;
        m_persistent.insert(key, stored);
        persistentDomainChanged();
    }
    if (changed)
        notify({key});
}

void UserDefaults::removeValue(const QString &key)
{
    bool changed;
    {
        std::lock_guard lock(m_mutex);
        if (!m_persistent.contains(key))
            return;
        changed = m_persistent.take(key) != m_registered.value(key);
        persistentDomainChanged();
    }
    if (changed)
        notify({key});
}

void UserDefaults::persistentDomainChanged()
{
    m_pendingWrite = true;
    if (m_writeScheduled)
        return;
    m_writeScheduled = true;
    QMetaObject::invokeMethod(this, &UserDefaults::writeScheduled, Qt::QueuedConnection);
}

void UserDefaults::writeScheduled()
{
    {
        std::lock_guard lock(m_mutex);
        m_writeScheduled = false;
    }
    synchronize();
}

bool UserDefaults::synchronize()
{
    std::lock_guard writeLock(m_writeMutex);
    QVariantMap snapshot;
    {
        std::lock_guard lock(m_mutex);
        if (!m_pendingWrite)
            return true;
        m_pendingWrite = false;
        snapshot = m_persistent;
    }

    QString error;
    if (PropertyList::writeFile(m_filePath, snapshot, PropertyList::Format::Xml, &error))
        return true;
    Log::line(QStringLiteral("user defaults: %1; the changes are kept in memory").arg(error));
    std::lock_guard lock(m_mutex);
    m_pendingWrite = true;
    return false;
}

void UserDefaults::notify(const QStringList &keys)
{
    if (keys.isEmpty())
        return;
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(
            this, [this, keys] { notify(keys); }, Qt::QueuedConnection);
        return;
    }
    for (const QString &key : keys)
        Q_EMIT valueChanged(key);
}

QMetaObject::Connection UserDefaults::observe(const QString &key, const QObject *context,
                                              std::function<void()> callback)
{
    return connect(this, &UserDefaults::valueChanged, context,
                   [key, callback = std::move(callback)](const QString &changed) {
                       if (changed == key)
                           callback();
                   });
}

bool UserDefaults::boolValue(const QString &key) const
{
    const QVariant stored = value(key);
    return isNumber(stored) && stored.toDouble() != 0.0;
}

qint64 UserDefaults::integerValue(const QString &key) const
{
    return toInteger<qint64>(value(key));
}

quint64 UserDefaults::unsignedValue(const QString &key) const
{
    return toInteger<quint64>(value(key));
}

double UserDefaults::doubleValue(const QString &key) const
{
    const QVariant stored = value(key);
    return isNumber(stored) ? stored.toDouble() : 0.0;
}

QString UserDefaults::stringValue(const QString &key) const
{
    const QVariant stored = value(key);
    return stored.typeId() == QMetaType::QString ? stored.toString() : QString();
}

QStringList UserDefaults::stringListValue(const QString &key) const
{
    const QVariant stored = value(key);
    if (stored.typeId() != QMetaType::QVariantList)
        return {};
    QStringList strings;
    for (const QVariant &element : stored.toList()) {
        if (element.typeId() != QMetaType::QString)
            return {};
        strings.append(element.toString());
    }
    return strings;
}

QVariantMap UserDefaults::dictionaryValue(const QString &key) const
{
    const QVariant stored = value(key);
    return stored.typeId() == QMetaType::QVariantMap ? stored.toMap() : QVariantMap();
}

QColor UserDefaults::colourValue(const QString &key) const
{
    const QVariant stored = value(key);
    if (stored.typeId() != QMetaType::QVariantList)
        return {};
    const QVariantList components = stored.toList();
    if (components.size() != 4)
        return {};
    std::array<float, 4> rgba;
    for (qsizetype i = 0; i < components.size(); ++i) {
        const double component = components[i].toDouble();
        if (!isNumber(components[i]) || !(component >= 0.0 && component <= 1.0))
            return {};
        rgba[i] = float(component);
    }
    return QColor::fromRgbF(rgba[0], rgba[1], rgba[2], rgba[3]);
}

void UserDefaults::setColour(const QString &key, const QColor &colour)
{
    if (!colour.isValid())
        return removeValue(key);
    const QRgba64 rgba = colour.rgba64();
    setValue(key, QVariantList{rgba.red() / colourComponentMax, rgba.green() / colourComponentMax,
                               rgba.blue() / colourComponentMax, rgba.alpha() / colourComponentMax});
}
