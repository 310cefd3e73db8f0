#include "FolderWalk.h"

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace FolderWalk {

namespace {

bool isFolder(int folderFd, const dirent64 &entry)
{
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    // Some file systems do not fill in the kind.
    struct stat status;
    return fstatat(folderFd, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

// Depth first with an explicit stack of paths, so that deep trees hold one descriptor at a time. Entries are
// read with getdents64 straight into one buffer: opendir would add a status call and an allocation per
// folder, a third of the cost of a walk. `onFolder(path, fd)` runs before the folder is read and returns
// false to stop; `onOther(fd, name)` sees every entry that is not a folder.
template <typename OnFolder, typename OnOther>
void walk(const QByteArray &root, OnFolder onFolder, OnOther onOther)
{
    alignas(dirent64) char buffer[32 * 1024];
    std::vector<QByteArray> pending{root};
    int openFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC; // the root may be a link to a folder
    while (!pending.empty()) {
        const QByteArray folder = std::move(pending.back());
        pending.pop_back();
        const int fd = open(folder.constData(), openFlags);
        openFlags |= O_NOFOLLOW;
        if (fd < 0)
            continue;
        if (!onFolder(folder, fd)) {
            close(fd);
            return;
        }
        ssize_t length;
        while ((length = getdents64(fd, buffer, sizeof buffer)) > 0) {
            for (ssize_t at = 0; at < length;) {
                const auto *entry = reinterpret_cast<const dirent64 *>(buffer + at);
                at += entry->d_reclen;
                if (entry->d_name[0] == '.')
                    continue;
                if (isFolder(fd, *entry))
                    pending.push_back(childPath(folder, entry->d_name));
                else
                    onOther(fd, entry->d_name);
            }
        }
        close(fd);
    }
}

qint64 msecs(const struct timespec &time)
{
    return qint64(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

qint64 lastChangeMSecs(const struct stat &status)
{
    return std::max(msecs(status.st_mtim), msecs(status.st_ctim));
}

} // namespace

QByteArray childPath(const QByteArray &folder, const char *name)
{
    QByteArray path;
    path.reserve(folder.size() + 1 + qsizetype(strlen(name)));
    path.append(folder);
    if (!folder.endsWith('/'))
        path.append('/');
    path.append(name);
    return path;
}

void visitFolders(const QByteArray &root, const std::function<bool(const QByteArray &folder)> &visit)
{
    walk(
        root, [&](const QByteArray &folder, int) { return visit(folder); }, [](int, const char *) {});
}

void visitChangedFolders(const QByteArray &root, qint64 sinceMSecs,
                         const std::function<void(const QByteArray &folder)> &changed, std::stop_token stop)
{
    // Once a folder is reported, the rest of its entries need no status.
    QByteArray current;
    bool reported = false;
    const auto report = [&] {
        reported = true;
        changed(current);
    };
    walk(
        root,
        [&](const QByteArray &folder, int fd) {
            current = folder;
            reported = false;
            struct stat status;
            if (fstat(fd, &status) == 0 && lastChangeMSecs(status) > sinceMSecs)
                report();
            return !stop.stop_requested();
        },
        [&](int fd, const char *name) {
            struct stat status;
            if (!reported && fstatat(fd, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                lastChangeMSecs(status) > sinceMSecs)
                report();
        });
}

} // namespace FolderWalk
