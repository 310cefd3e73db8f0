#include "TildePaths.h"

#include <QDir>

namespace TildePaths {

QString expandedTilde(const QString &path)
{
    if (path == u'~' || path.startsWith(QLatin1String("~/")))
        return QDir::homePath() + path.mid(1);
    return path;
}

QString abbreviatedTilde(const QString &path)
{
    const QString home = QDir::homePath();
    if (path == home)
        return QStringLiteral("~");
    if (home != QLatin1String("/") && path.startsWith(home + u'/'))
        return u'~' + path.mid(home.size());
    return path;
}

} // namespace TildePaths
