#include "XPSimpleUtils.h"

#include "MountTable.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QIODevice>
#include <QThread>

#include <dirent.h>
#include <memory>
#include <mutex>
#include <optional>
#include <sys/stat.h>

namespace {

// The blob starts with a tag and a format version, so that data from elsewhere or from a later format is
// refused instead of misread.
constexpr quint32 aliasTag = 0x564e416c; // "VNAl"
constexpr quint16 aliasVersion = 1;

struct AliasRecord {
    quint64 device = 0;
    quint64 inode = 0;
    quint64 parentInode = 0;
    QString name;
    QString path;
    QString mountPoint;

    QString parentPath() const { return QFileInfo(path).path(); }
};

QDataStream &operator<<(QDataStream &stream, const AliasRecord &record)
{
    return stream << aliasTag << aliasVersion << record.device << record.inode << record.parentInode
                  << record.name << record.path << record.mountPoint;
}

std::optional<AliasRecord> decodedRecord(const QByteArray &data)
{
    QDataStream stream(data);
    stream.setVersion(QDataStream::Qt_6_0);
    quint32 tag = 0;
    quint16 version = 0;
    stream >> tag >> version;
    if (tag != aliasTag || version != aliasVersion)
        return std::nullopt;
    AliasRecord record;
    stream >> record.device >> record.inode >> record.parentInode >> record.name >> record.path >>
        record.mountPoint;
    if (stream.status() != QDataStream::Ok || !stream.atEnd() || !record.path.startsWith(u'/'))
        return std::nullopt;
    return record;
}

std::optional<struct stat> status(const QString &path)
{
    struct stat result;
    if (lstat(QFile::encodeName(path).constData(), &result) != 0)
        return std::nullopt;
    return result;
}

bool holdsInode(const QString &path, quint64 inode)
{
    const auto found = status(path);
    return found && found->st_ino == inode;
}

QString joined(const QString &folder, const QString &name)
{
    return folder.endsWith(u'/') ? folder + name : folder + u'/' + name;
}

// The entry of `folder` that is the file `inode`, under whatever name it has now.
QString entryWithInode(const QString &folder, quint64 inode)
{
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(opendir(QFile::encodeName(folder).constData()),
                                                         closedir);
    if (!directory)
        return QString();
    while (const dirent *entry = readdir(directory.get())) {
        if (entry->d_ino != inode || qstrcmp(entry->d_name, ".") == 0 || qstrcmp(entry->d_name, "..") == 0)
            continue;
        // Some file systems fill d_ino with other numbers than lstat does; lstat decides.
        const QString candidate = joined(folder, QFile::decodeName(entry->d_name));
        if (holdsInode(candidate, inode))
            return candidate;
    }
    return QString();
}

std::mutex locatorMutex;
std::shared_ptr<const XPSimpleUtils::InodeLocator> inodeLocator;

std::shared_ptr<const XPSimpleUtils::InodeLocator> currentInodeLocator()
{
    const std::lock_guard lock(locatorMutex);
    return inodeLocator;
}

// A file moved out of its folder, as the locator knows it. Its answers may be stale, and inode numbers repeat
// across volumes: a candidate counts only if it holds the inode now, on the recorded volume.
QString locatedElsewhere(const AliasRecord &record)
{
    const auto locator = currentInodeLocator();
    if (!locator)
        return QString();
    for (const QString &candidate : (*locator)(record.inode)) {
        if (candidate != record.path && holdsInode(candidate, record.inode) &&
            MountTable::mountPointOf(candidate) == record.mountPoint)
            return candidate;
    }
    return QString();
}

// Identity rests on inode numbers within a known folder or volume. Device numbers are not compared: those of
// btrfs subvolumes and of virtual file systems change from one boot to the next.
QString locate(const AliasRecord &record)
{
    if (holdsInode(record.path, record.inode))
        return record.path;
    if (const QString moved = locatedElsewhere(record); !moved.isEmpty())
        return moved;
    const QString parent = record.parentPath();
    if (!holdsInode(parent, record.parentInode))
        return QString();
    if (const QString renamed = entryWithInode(parent, record.inode); !renamed.isEmpty())
        return renamed;
    const QString replaced = joined(parent, record.name);
    return status(replaced) ? replaced : QString();
}

bool isMainThread()
{
    const QCoreApplication *application = QCoreApplication::instance();
    return application && QThread::currentThread() == application->thread();
}

} // namespace

QByteArray XPSimpleUtils::aliasDataForPath(const QString &path)
{
    if (!path.startsWith(u'/'))
        return QByteArray();
    const auto file = status(path);
    if (!file)
        return QByteArray();
    AliasRecord record;
    record.device = file->st_dev;
    record.inode = file->st_ino;
    record.path = path;
    record.name = QFileInfo(path).fileName();
    if (const auto parent = status(record.parentPath()))
        record.parentInode = parent->st_ino;
    record.mountPoint = MountTable::mountPointOf(path);

    QByteArray data;
    QDataStream stream(&data, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_0);
    stream << record;
    return data;
}

QString XPSimpleUtils::resolveAliasDataToPath(const QByteArray &data, qint16 &osErr, bool withUI)
{
    osErr = paramErr;
    if (data.isNull() || (withUI && !isMainThread()))
        return QString();
    const std::optional<AliasRecord> record = decodedRecord(data);
    if (!record)
        return QString();
    const QString path = locate(*record);
    if (!path.isEmpty())
        osErr = noErr;
    else if (!MountTable::isMountPoint(record->mountPoint))
        osErr = nsvErr;
    else
        osErr = fnfErr;
    return path;
}

void XPSimpleUtils::setInodeLocator(InodeLocator locator)
{
    auto installed = locator ? std::make_shared<const InodeLocator>(std::move(locator)) : nullptr;
    const std::lock_guard lock(locatorMutex);
    inodeLocator = std::move(installed);
}
