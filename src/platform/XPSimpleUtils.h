#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

// Alias data: a small record that lets an item find its file again after a rename or a replacement. It holds
// the file's device and inode, its parent folder's inode, its name, its path and the mount point of its
// volume.
class XPSimpleUtils {
public:
    // Result codes of alias resolution, with the values callers compare against.
    static constexpr qint16 noErr = 0;
    static constexpr qint16 nsvErr = -35;   // no such volume: the recorded volume is not mounted
    static constexpr qint16 fnfErr = -43;   // file not found
    static constexpr qint16 paramErr = -50; // no alias data, or data that is not an alias

    // Alias data for the file at absolute `path` (a symbolic link stands for itself); empty when `path` is
    // not absolute or cannot be examined.
    static QByteArray aliasDataForPath(const QString &path);

    // Paths that may hold a given inode now, on any volume; called on any thread.
    using InodeLocator = std::function<QStringList(quint64 inode)>;

    // Where the file of `data` is now, found in this order: the recorded path if it still holds the same
    // inode; a path from the inode locator that holds the inode on the recorded volume; the recorded parent
    // folder, if it still has its inode, holding the file's inode under any name or else an entry of the
    // recorded name. `osErr` receives noErr on success, nsvErr when the file is not found and its volume is
    // gone, fnfErr when it is not found otherwise, and paramErr for missing or damaged data or for a request
    // with UI off the main thread. Nothing here asks the user anything, so `withUI` only restricts the call
    // to the main thread.
    static QString resolveAliasDataToPath(const QByteArray &data, qint16 &osErr, bool withUI = false);

    // Installs the locator consulted for files that left their folder (none by default; an empty function
    // removes it). Safe to call while aliases are being resolved.
    static void setInodeLocator(InodeLocator locator);
};
