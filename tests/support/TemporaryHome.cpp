#include "TemporaryHome.h"

#include <QDateTime>
#include <QDir>
#include <QFile>

#include <sys/time.h>

namespace {
const char *const variables[] = {"HOME",           "XDG_DATA_HOME",  "XDG_CONFIG_HOME",
                                 "XDG_CACHE_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"};
}

TemporaryHome::TemporaryHome()
{
    const QString root = m_dir.path();
    const QMap<QByteArray, QString> targets = {
        {"HOME", root},
        {"XDG_DATA_HOME", root + "/.local/share"},
        {"XDG_CONFIG_HOME", root + "/.config"},
        {"XDG_CACHE_HOME", root + "/.cache"},
        {"XDG_STATE_HOME", root + "/.local/state"},
        {"XDG_RUNTIME_DIR", root + "/.runtime"},
    };
    for (const char *name : variables) {
        if (qEnvironmentVariableIsSet(name))
            m_saved.insert(name, qgetenv(name));
        QDir().mkpath(targets.value(name));
        qputenv(name, targets.value(name).toUtf8());
    }
    QFile::setPermissions(root + "/.runtime",
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

TemporaryHome::~TemporaryHome()
{
    for (const char *name : variables) {
        if (m_saved.contains(name))
            qputenv(name, m_saved.value(name));
        else
            qunsetenv(name);
    }
}

QString TemporaryHome::writeFile(const QString &relative, double ageSeconds) const
{
    const QString path = filePath(relative);
    QDir().mkpath(path.left(path.lastIndexOf(u'/')));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write("content");
    file.close();
    if (ageSeconds != 0) {
        const double when = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0 - ageSeconds;
        const timeval times[2] = {{time_t(when), 0}, {time_t(when), 0}};
        utimes(QFile::encodeName(path).constData(), times);
    }
    return path;
}
