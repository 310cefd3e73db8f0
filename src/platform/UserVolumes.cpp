#include "UserVolumes.h"

#include <QDir>

#include <pwd.h>
#include <unistd.h>

namespace UserVolumes {

namespace {

QString userName()
{
    const QString fromEnvironment = qEnvironmentVariable("USER");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    const passwd *entry = getpwuid(geteuid());
    return entry ? QString::fromLocal8Bit(entry->pw_name) : QString();
}

} // namespace

QStringList roots()
{
    QStringList roots{QDir::homePath()};
    const QString user = userName();
    if (user.isEmpty())
        return roots;
    for (const QString &place : {QStringLiteral("/media/"), QStringLiteral("/run/media/")}) {
        const QDir volumes(place + user);
        for (const QString &name : volumes.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            roots.append(volumes.filePath(name));
    }
    return roots;
}

} // namespace UserVolumes
