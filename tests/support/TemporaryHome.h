#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QTemporaryDir>

// Points HOME and the XDG_* folders at a fresh temporary folder for the lifetime of the object, so no test
// touches the real home. Restores the previous environment afterwards.
class TemporaryHome {
public:
    TemporaryHome();
    ~TemporaryHome();
    TemporaryHome(const TemporaryHome &) = delete;
    TemporaryHome &operator=(const TemporaryHome &) = delete;

    QString path() const { return m_dir.path(); }
    QString filePath(const QString &relative) const { return m_dir.filePath(relative); }
    // Writes a small file (making its folders), dated `ageSeconds` in the past when that is not 0. Returns
    // its full path.
    QString writeFile(const QString &relative, double ageSeconds = 0) const;

private:
    QTemporaryDir m_dir;
    QMap<QByteArray, QByteArray> m_saved;
};
