#include "AppPaths.h"

#include <QStandardPaths>

namespace AppPaths {

namespace {
const QString appFolderName = QStringLiteral("Vantry");

QString inLocation(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::writableLocation(location) + QLatin1Char('/') + appFolderName;
}
} // namespace

QString dataFolder()
{
    return inLocation(QStandardPaths::GenericDataLocation);
}
QString cacheFolder()
{
    return inLocation(QStandardPaths::GenericCacheLocation);
}
QString configFolder()
{
    return inLocation(QStandardPaths::GenericConfigLocation);
}
QString userDefaultsFile()
{
    return configFolder() + QStringLiteral("/Vantry.plist");
}

} // namespace AppPaths
