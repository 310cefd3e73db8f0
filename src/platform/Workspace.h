#pragma once

#include <QString>

// The desktop's services for a file: opening it, showing it in the file manager, and the trash. Paths are
// absolute.
namespace Workspace {

// Opens `path` with the application the desktop chooses for it. False, with the reason in `errorText`, when
// no application could be started.
bool openFile(const QString &path, QString *errorText = nullptr);

// Shows `path` selected in a file manager window, or when no file manager answers on the session bus, opens
// the folder holding it. Asynchronous: the thread needs an event loop.
void revealFile(const QString &path);

// Opens the file manager's properties window for `path`, or reveals it when the file manager cannot.
// Asynchronous like revealFile().
void showFileInfo(const QString &path);

// Moves the file or folder at `path` (a symbolic link itself, never its target; a leading "~" stands for the
// home folder) to the trash. When that is
// not possible and `useDeleteOnFail` is set, deletes it instead, a folder with its contents. True when
// nothing is left at `path`, which includes a path where nothing was; otherwise `errorText` says why.
bool moveFileToTrash(const QString &path, bool useDeleteOnFail, QString *errorText = nullptr);

} // namespace Workspace
