#pragma once

#include <QByteArray>

#include <functional>
#include <stop_token>

// Fast walks over folder trees: one open and one directory read per folder, entry kinds taken from the
// directory itself, per-entry status only where a caller needs dates. Paths are in the file system's own
// encoding (QFile::encodeName). Entries whose names begin with "." are left out, symbolic links below the
// root are not followed, and folders that cannot be opened are passed over.
namespace FolderWalk {

// `folder` + "/" + `name`, with no doubled "/" below the root.
QByteArray childPath(const QByteArray &folder, const char *name);

// Calls `visit` for `root` and every folder below it, parents before children, each one before its entries
// are read, so that a watch placed in `visit` misses none of the folder's later entries. Returning false
// ends the walk.
void visitFolders(const QByteArray &root, const std::function<bool(const QByteArray &folder)> &visit);

// Calls `changed` for every folder in the tree that itself, or one of whose other entries, was modified or
// had its status changed after `sinceMSecs` (milliseconds since the Unix epoch). Ends early when `stop` is
// requested.
void visitChangedFolders(const QByteArray &root, qint64 sinceMSecs,
                         const std::function<void(const QByteArray &folder)> &changed,
                         std::stop_token stop = {});

} // namespace FolderWalk
