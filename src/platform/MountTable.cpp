#include "MountTable.h"

#include "Log.h"

#include <QSocketNotifier>

#include <mutex>
#include <optional>
#include <poll.h>
#include <pwd.h>
#include <unistd.h>

namespace {

const QString mountInfoPath = QStringLiteral("/proc/self/mountinfo");

// mountinfo writes space, tab, newline and backslash in names as three octal digits after a backslash.
QString unescaped(const QByteArray &field)
{
    QByteArray bytes;
    bytes.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int code = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok && code < 256) {
                bytes.append(char(code));
                i += 3;
                continue;
            }
        }
        bytes.append(field[i]);
    }
    return QFile::decodeName(bytes);
}

bool isAtOrBelow(const QString &path, const QString &folder)
{
    if (folder == u"/")
        return path.startsWith(u'/');
    return path.startsWith(folder) && (path.size() == folder.size() || path[folder.size()] == u'/');
}

QStringList readMountPoints()
{
    QFile file(mountInfoPath);
    if (!file.open(QIODevice::ReadOnly)) {
        Log::line(QStringLiteral("cannot read %1: %2").arg(mountInfoPath, file.errorString()));
        return {QStringLiteral("/")};
    }
    QStringList points;
    for (const QByteArray &line : file.readAll().split('\n')) {
        // "36 35 98:0 /root /mount/point options ... - type source options": the fifth field.
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() > 4)
            points.append(unescaped(fields[4]));
    }
    return points;
}

// The table is read again only after it changed: polling an open mountinfo file reports POLLPRI once for
// the changes since the previous poll, which costs far less than reading and parsing the file.
class MountPointCache {
public:
    static MountPointCache &shared()
    {
        static MountPointCache cache;
        return cache;
    }

    QStringList mountPoints()
    {
        const std::lock_guard lock(m_lock);
        pollfd changes{m_watch.handle(), POLLPRI, 0};
        if (!m_points || m_watch.handle() < 0 || (::poll(&changes, 1, 0) > 0 && (changes.revents & POLLPRI)))
            m_points = readMountPoints();
        return *m_points;
    }

private:
    MountPointCache() : m_watch(mountInfoPath) { m_watch.open(QIODevice::ReadOnly); }

    std::mutex m_lock;
    QFile m_watch;
    std::optional<QStringList> m_points;
};

QString userName()
{
    passwd entry;
    passwd *found = nullptr;
    char buffer[4096];
    if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) != 0 || !found)
        return QString();
    return QFile::decodeName(found->pw_name);
}

} // namespace

QStringList MountTable::mountPoints()
{
    return MountPointCache::shared().mountPoints();
}

QString MountTable::mountPointOf(const QString &path)
{
    QString best = QStringLiteral("/");
    for (const QString &point : mountPoints()) {
        if (point.size() > best.size() && isAtOrBelow(path, point))
            best = point;
    }
    return best;
}

bool MountTable::isMountPoint(const QString &path)
{
    return mountPoints().contains(path);
}

QString MountTable::volumeFolderOf(const QString &path)
{
    static const QString user = userName();
    if (user.isEmpty())
        return QString();
    for (const QString &media : {QStringLiteral("/media/"), QStringLiteral("/run/media/")}) {
        const QString userFolder = media + user + u'/';
        if (!path.startsWith(userFolder) || path.size() == userFolder.size())
            continue;
        const qsizetype end = path.indexOf(u'/', userFolder.size());
        return end < 0 ? path : path.left(end);
    }
    return QString();
}

bool MountTable::isOnMissingVolume(const QString &path)
{
    const QString folder = volumeFolderOf(path);
    return !folder.isEmpty() && !isMountPoint(folder);
}

MountTable::MountTable(QObject *parent) : QObject(parent), m_mountInfo(mountInfoPath)
{
    if (!m_mountInfo.open(QIODevice::ReadOnly)) {
        Log::line(QStringLiteral("cannot watch %1: %2").arg(mountInfoPath, m_mountInfo.errorString()));
        return;
    }
    // The kernel flags the open table with POLLPRI after every change, and polling clears the flag again.
    auto *notifier = new QSocketNotifier(m_mountInfo.handle(), QSocketNotifier::Exception, this);
    connect(notifier, &QSocketNotifier::activated, this, &MountTable::changed);
}
