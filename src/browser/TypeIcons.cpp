#include "TypeIcons.h"

#include <QApplication>
#include <QFileInfo>
#include <QHash>
#include <QMimeDatabase>
#include <QStyle>

namespace TypeIcons {

namespace {

QIcon themed(const QString &name, const QString &generic, QStyle::StandardPixmap standard)
{
    static QHash<QString, QIcon> cache; // main thread only
    const auto found = cache.constFind(name);
    if (found != cache.constEnd())
        return *found;
    QIcon icon = QIcon::fromTheme(name);
    if (icon.isNull() && !generic.isEmpty())
        icon = QIcon::fromTheme(generic);
    if (icon.isNull())
        icon = QApplication::style()->standardIcon(standard);
    cache.insert(name, icon);
    return icon;
}

} // namespace

QIcon folderIcon()
{
    return themed(QStringLiteral("folder"), QString(), QStyle::SP_DirIcon);
}

QIcon iconForPath(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return themed(QStringLiteral("image-missing"), QStringLiteral("dialog-question"),
                      QStyle::SP_MessageBoxQuestion);
    if (info.isDir())
        return folderIcon();
    // By name only: reading contents belongs to the type detection of the thumbnail renderer, not to
    // painting.
    static const QMimeDatabase database;
    const QMimeType type = database.mimeTypeForFile(info, QMimeDatabase::MatchExtension);
    QString generic = type.genericIconName();
    if (type.isDefault() || generic.isEmpty())
        generic = QStringLiteral("text-x-generic");
    return themed(type.iconName(), generic, QStyle::SP_FileIcon);
}

} // namespace TypeIcons
