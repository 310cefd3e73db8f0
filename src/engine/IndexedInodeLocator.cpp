#include "IndexedInodeLocator.h"

#include "MetadataCrawler.h"
#include "MetadataIndex.h"
#include "XPSimpleUtils.h"

#include <QFileInfo>

namespace IndexedInodeLocator {

void install()
{
    XPSimpleUtils::setInodeLocator([](quint64 inode) {
        const QString databasePath = MetadataCrawler::defaultDatabasePath();
        MetadataIndex index;
        if (!QFileInfo::exists(databasePath) || !index.open(databasePath))
            return QStringList();
        return index.pathsForInode(qint64(inode));
    });
}

} // namespace IndexedInodeLocator
