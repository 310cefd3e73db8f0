#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <optional>

// A preferences domain kept in a property-list file holding a dictionary, read and written by several
// processes. The file is only touched under a lock file beside it ("<path>.lock") and replaced atomically,
// so a change made through modify() never loses what another process wrote meanwhile.
//
// A missing file is an empty domain. A file that cannot be read, or does not hold a dictionary, leaves the
// values as they were and is logged; a corrupt file is moved aside to "<path>.corrupt" only when a change
// is about to replace it, so nothing the user may still recover is overwritten.
class SharedPreferencesFile {
public:
    explicit SharedPreferencesFile(const QString &path) : m_path(path) {}

    QString path() const { return m_path; }

    // The value as of the last synchronize() or modify(); invalid when absent.
    QVariant value(const QString &key) const { return m_values.value(key); }

    // Re-reads the file. False when it could not be read.
    bool synchronize();

    // Re-reads the file, stores `change` applied to the current value of `key` (an invalid result removes
    // the key) and writes the file, all under the lock. False when nothing was written.
    bool modify(const QString &key, const std::function<QVariant(const QVariant &)> &change);

private:
    enum class Contents { Read, Unreadable, Corrupt };
    Contents read(QVariantMap *values) const; // caller holds the lock
    bool moveAside() const;

    const QString m_path;
    QVariantMap m_values;
};
