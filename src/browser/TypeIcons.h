#pragma once

#include <QIcon>
#include <QString>

// Icons from the desktop's icon theme for files by type, until cells get thumbnails.
namespace TypeIcons {

// The icon of the file's type (by name; a folder's is the folder icon). Missing files get the missing-image
// icon.
QIcon iconForPath(const QString &path);
QIcon folderIcon();

} // namespace TypeIcons
