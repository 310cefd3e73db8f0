#include "InotifyWatcher.h"

#include "FolderWalk.h"
#include "Log.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

// Changes of a folder's entries (their names, contents and status); the kernel adds IN_IGNORED and
// IN_UNMOUNT by itself. Entries already unlinked (open temporary files) stay quiet.
constexpr uint32_t watchMask =
    IN_CREATE | IN_DELETE | IN_MODIFY | IN_ATTRIB | IN_MOVED_FROM | IN_MOVED_TO | IN_ONLYDIR | IN_EXCL_UNLINK;

// The kernel's default before max_user_watches became tunable upwards.
constexpr qsizetype fallbackMaxUserWatches = 8192;

// Bounds one read so that a flood of changes cannot keep the caller's event loop from its timers.
constexpr int readsPerCall = 16;

} // namespace

qsizetype InotifyWatcher::defaultWatchBudget()
{
    QFile limit(QStringLiteral("/proc/sys/fs/inotify/max_user_watches"));
    bool ok = false;
    qsizetype maxUserWatches = 0;
    if (limit.open(QIODevice::ReadOnly))
        maxUserWatches = limit.readAll().trimmed().toLongLong(&ok);
    if (!ok || maxUserWatches <= 0)
        maxUserWatches = fallbackMaxUserWatches;
    return maxUserWatches - maxUserWatches / 10;
}

InotifyWatcher::InotifyWatcher(qsizetype watchBudget)
    : m_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), m_budget(watchBudget)
{
    if (m_fd < 0)
        Log::line(
            QStringLiteral("inotify is not available: %1").arg(QString::fromLocal8Bit(strerror(errno))));
}

InotifyWatcher::~InotifyWatcher()
{
    if (m_fd >= 0)
        close(m_fd); // drops every watch with it
}

void InotifyWatcher::watchTree(const QString &root)
{
    m_roots.append(QFile::encodeName(root));
    addTree(m_roots.last(), nullptr);
}

bool InotifyWatcher::isWatched(const QString &folder) const
{
    return m_watchesByPath.count(QFile::encodeName(folder)) != 0;
}

void InotifyWatcher::addTree(const QByteArray &root, QStringList *newFolders)
{
    FolderWalk::visitFolders(root, [&](const QByteArray &folder) {
        if (!addWatch(folder))
            return false;
        if (newFolders)
            newFolders->append(QFile::decodeName(folder));
        return true;
    });
}

bool InotifyWatcher::addWatch(const QByteArray &folder)
{
    if (m_fd < 0)
        return false;
    int watch = -1;
    if (m_pathByWatch.size() < m_budget)
        watch = inotify_add_watch(m_fd, folder.constData(), watchMask);
    else
        errno = ENOSPC;
    if (watch >= 0) {
        record(watch, folder);
        return true;
    }
    if (errno != ENOSPC)
        return true; // this folder is out of reach (gone, unreadable); its neighbours are not
    if (!m_budgetReported) {
        m_budgetReported = true;
        Log::line(
            QStringLiteral("The inotify watch budget is used up after %1 folders; changes in %2 and other "
                           "unwatched folders go unseen (raise fs.inotify.max_user_watches)")
                .arg(m_pathByWatch.size())
                .arg(QFile::decodeName(folder)));
    }
    return false;
}

void InotifyWatcher::record(int watch, const QByteArray &folder)
{
    // The kernel hands out one watch per folder: adding a folder again, under a new path, gives the old one.
    const auto known = m_pathByWatch.constFind(watch);
    if (known != m_pathByWatch.cend()) {
        if (known.value()->first == folder)
            return;
        m_watchesByPath.erase(known.value());
    }
    const auto [entry, inserted] = m_watchesByPath.try_emplace(folder, watch);
    if (!inserted) {
        // The path now names another folder; the watch on the old one goes when that folder does.
        m_pathByWatch.remove(entry->second);
        entry->second = watch;
    }
    m_pathByWatch.insert(watch, entry);
}

void InotifyWatcher::removeTree(const QByteArray &root)
{
    const auto drop = [this](WatchesByPath::iterator entry) {
        inotify_rm_watch(m_fd, entry->second);
        m_pathByWatch.remove(entry->second);
        return m_watchesByPath.erase(entry);
    };
    if (const auto exact = m_watchesByPath.find(root); exact != m_watchesByPath.end())
        drop(exact);
    // Paths below `root` sort together: from root + "/" up to root + "0", the character after "/".
    auto entry = m_watchesByPath.lower_bound(root + '/');
    const QByteArray end = root + '0';
    while (entry != m_watchesByPath.end() && entry->first < end)
        entry = drop(entry);
}

void InotifyWatcher::forget(int watch)
{
    const auto known = m_pathByWatch.find(watch);
    if (known == m_pathByWatch.end())
        return;
    m_watchesByPath.erase(known.value());
    m_pathByWatch.erase(known);
}

InotifyWatcher::Changes InotifyWatcher::readChanges()
{
    Changes changes;
    QByteArray lastFolder;
    alignas(inotify_event) char buffer[64 * 1024];
    for (int round = 0; round < readsPerCall; ++round) {
        const ssize_t length = read(m_fd, buffer, sizeof buffer);
        if (length <= 0)
            break;
        for (const char *at = buffer; at < buffer + length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(at);
            handle(*event, changes, lastFolder);
            at += sizeof(inotify_event) + event->len;
        }
    }
    if (changes.overflowed) {
        for (const QByteArray &root : std::as_const(m_roots))
            addTree(root, nullptr);
    }
    return changes;
}

void InotifyWatcher::handle(const inotify_event &event, Changes &changes, QByteArray &lastFolder)
{
    if (event.mask & IN_Q_OVERFLOW) {
        changes.overflowed = true;
        return;
    }
    const auto known = m_pathByWatch.constFind(event.wd);
    if (known == m_pathByWatch.cend())
        return; // a watch already dropped
    if (event.mask & IN_IGNORED) {
        forget(event.wd); // the folder was removed, or its file system unmounted
        return;
    }
    if (event.mask & IN_UNMOUNT)
        return; // IN_IGNORED follows
    const QByteArray folder = known.value()->first;
    if (folder != lastFolder) {
        changes.folders.append(QFile::decodeName(folder));
        lastFolder = folder;
    }
    if (!(event.mask & IN_ISDIR) || event.len == 0 || event.name[0] == '.')
        return;
    const QByteArray child = FolderWalk::childPath(folder, event.name);
    if (event.mask & IN_MOVED_FROM)
        removeTree(child);
    else if (event.mask & IN_CREATE)
        addTree(child, &changes.folders);
    else if (event.mask & IN_MOVED_TO)
        addTree(child, nullptr);
}
