#include "SharedPreferencesFile.h"

#include "Log.h"
#include "PropertyList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>

#include <chrono>
#include <filesystem>

namespace {

// Holders keep the lock for one read or one read and write; waiting longer means a hung holder.
constexpr std::chrono::seconds lockTimeout(10);

class FileLock {
public:
    explicit FileLock(const QString &path) : m_lock(path + QStringLiteral(".lock"))
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        m_locked = m_lock.tryLock(lockTimeout);
        if (!m_locked)
            Log::line(QStringLiteral("shared preferences: cannot lock %1 (error %2)")
                          .arg(path)
                          .arg(int(m_lock.error())));
    }
    bool locked() const { return m_locked; }

private:
    QLockFile m_lock;
    bool m_locked = false;
};

} // namespace

SharedPreferencesFile::Contents SharedPreferencesFile::read(QVariantMap *values) const
{
    QFile file(m_path);
    if (!file.exists()) {
        values->clear();
        return Contents::Read;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        Log::line(QStringLiteral("shared preferences: cannot read %1: %2").arg(m_path, file.errorString()));
        return Contents::Unreadable;
    }
    QString error;
    const QVariant root = PropertyList::fromData(file.readAll(), &error);
    if (root.typeId() != QMetaType::QVariantMap) {
        Log::line(QStringLiteral("shared preferences: %1 does not hold a dictionary%2")
                      .arg(m_path, error.isEmpty() ? QString() : QStringLiteral(": ") + error));
        return Contents::Corrupt;
    }
    *values = root.toMap();
    return Contents::Read;
}

bool SharedPreferencesFile::moveAside() const
{
    const QString aside = m_path + QStringLiteral(".corrupt");
    std::error_code error;
    std::filesystem::rename(QFile::encodeName(m_path).constData(), QFile::encodeName(aside).constData(),
                            error);
    if (error) {
        Log::line(QStringLiteral("shared preferences: cannot move %1 aside: %2")
                      .arg(m_path, QString::fromStdString(error.message())));
        return false;
    }
    Log::line(QStringLiteral("shared preferences: moved %1 to %2 and started afresh").arg(m_path, aside));
    return true;
}

bool SharedPreferencesFile::synchronize()
{
    const FileLock lock(m_path);
    return lock.locked() && read(&m_values) == Contents::Read;
}

bool SharedPreferencesFile::modify(const QString &key,
                                   const std::function<QVariant(const QVariant &)> &change)
{
    const FileLock lock(m_path);
    if (!lock.locked())
        return false;
    QVariantMap values;
    switch (read(&values)) {
    case Contents::Read:
        break;
    case Contents::Unreadable:
        return false;
    case Contents::Corrupt:
        if (!moveAside())
            return false;
        break;
    }

    const QVariant changed = change(values.value(key));
    if (changed.isValid())
        values.insert(key, changed);
    else
        values.remove(key);
    QString error;
    if (!PropertyList::writeFile(m_path, values, PropertyList::Format::Xml, &error)) {
        Log::line(QStringLiteral("shared preferences: cannot write %1: %2").arg(m_path, error));
        return false;
    }
    m_values = values;
    return true;
}
