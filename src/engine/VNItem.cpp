#include "VNItem.h"

#include "HiddenFiles.h"
#include "MountTable.h"
#include "ReferenceTime.h"
#include "StringTable.h"
#include "Workspace.h"
#include "XPSimpleUtils.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QLocale>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <functional>
#include <sys/stat.h>
#include <utility>

namespace {

constexpr qint64 cacheLifetimeMSecs = 3000;

// Every accessor asks whether a refresh is due; a clock of a few milliseconds' grain answers that far
// cheaper.
qint64 coarseMSecs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1000000 + 1; // never 0
}
// Added to the image version while the missing-file image stands in, so the grid redraws when a file goes
// or comes back.
constexpr quint64 missingImageVersionShift = 8787879;
constexpr qsizetype longFolderName = 14;
constexpr qsizetype shortenedFolderName = 11;

// The one thread that refreshes the facts of all items, started on first use. It stops when the application
// object goes away, so that no refresh outlives the program and queued refreshes let go of their items.
class CacheThread {
public:
    static void schedule(std::function<void()> job)
    {
        const std::lock_guard lock(s_lock);
        if (s_stopped)
            return;
        if (!s_shared) {
            s_shared = new CacheThread;
            qAddPostRoutine(&CacheThread::stop);
        }
        QMetaObject::invokeMethod(s_shared->m_context, std::move(job), Qt::QueuedConnection);
    }

private:
    CacheThread()
    {
        m_thread.setObjectName(QStringLiteral("VNItem cache"));
        m_context->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::finished, m_context, &QObject::deleteLater);
        m_thread.start();
    }

    static void stop()
    {
        CacheThread *shared = nullptr;
        {
            const std::lock_guard lock(s_lock);
            shared = std::exchange(s_shared, nullptr);
            s_stopped = true;
        }
        shared->m_thread.quit();
        shared->m_thread.wait();
        delete shared;
    }

    QThread m_thread;
    QObject *m_context = new QObject; // deleted on the thread as it finishes, with the jobs still queued

    static inline std::mutex s_lock;
    static inline CacheThread *s_shared = nullptr;
    static inline bool s_stopped = false;
};

// Volumes that were found unmounted, so that their items are not probed again and again.
class UnreachableVolumes {
public:
    static UnreachableVolumes &shared()
    {
        static UnreachableVolumes volumes;
        return volumes;
    }

    void add(const QString &folder)
    {
        const std::lock_guard lock(m_lock);
        if (!m_folders.contains(folder))
            m_folders.append(folder);
    }

    bool holds(const QString &path) const
    {
        const std::lock_guard lock(m_lock);
        return std::any_of(m_folders.cbegin(), m_folders.cend(),
                           [&](const QString &folder) { return path.startsWith(folder); });
    }

    void clear()
    {
        const std::lock_guard lock(m_lock);
        m_folders.clear();
    }

private:
    mutable std::mutex m_lock;
    QStringList m_folders;
};

// Any mount or unmount may bring a volume back, so the unreachable list starts over after each. The watch
// lives on the main thread, whichever thread first makes an item.
void watchMountsOnce()
{
    static std::once_flag once;
    std::call_once(once, [] {
        QCoreApplication *application = QCoreApplication::instance();
        if (!application)
            return;
        QMetaObject::invokeMethod(application, [application] {
            auto *mounts = new MountTable(application);
            QObject::connect(mounts, &MountTable::changed, mounts,
                             [] { UnreachableVolumes::shared().clear(); });
        });
    });
}

bool isAtOrBelow(const QString &path, const QString &folder)
{
    return path.startsWith(folder) && (path.size() == folder.size() || path[folder.size()] == u'/');
}

bool isInSystemLocation(const QString &path)
{
    static const QStringList roots = {
        "/tmp",       "/Network", "/mach", "/mach.sym", "/sbin",  "/dev",     "/net",
        "/automount", "/var",     "/etc",  "/bin",      "/cores", "/private", "/usr",
        "/proc",      "/sys",     "/run",  "/boot",     "/lib",   "/lib64",   "/snap",
    };
    return std::any_of(roots.cbegin(), roots.cend(),
                       [&](const QString &root) { return isAtOrBelow(path, root); });
}

QString parentOf(const QString &path)
{
    return QFileInfo(path).path();
}

} // namespace

VNItem::VNItem()
{
    watchMountsOnce();
}

VNItem::VNItem(const QString &path) : VNItem()
{
    setAlias(XPSimpleUtils::aliasDataForPath(path), path);
}

ArchivableObjectRef VNItem::initWithCoder(KeyedUnarchiver &coder)
{
    const VNItemRef item(new VNItem);
    const QVariant path = coder.decodeObjectForKey(QStringLiteral("path"));
    item->setAlias(coder.decodeBytesForKey(QStringLiteral("alias")),
                   path.typeId() == QMetaType::QString ? path.toString() : QString());
    item->setDate(coder.decodeDoubleForKey(QStringLiteral("overrideDate")));
    const QVariant stack = coder.decodeObjectForKey(QStringLiteral("stack"));
    if (stack.typeId() == QMetaType::QVariantMap) {
        const QVariantMap archived = stack.toMap();
        QMap<QString, VNItemRef> members;
        for (auto it = archived.cbegin(); it != archived.cend(); ++it) {
            if (auto member = std::dynamic_pointer_cast<VNItem>(it.value().value<ArchivableObjectRef>()))
                members.insert(it.key(), std::move(member));
        }
        item->m_stack = std::move(members);
    }
    item->updateCacheInfoOnThread();
    return item;
}

KeyedUnarchiver::ClassTable VNItem::archiveClasses()
{
    return {{QStringLiteral("VNItem"), &VNItem::initWithCoder}};
}

QStringList VNItem::archiveClassChain() const
{
    return {QStringLiteral("VNItem"), QStringLiteral("NSObject")};
}

void VNItem::encodeWithCoder(KeyedArchiver &coder) const
{
    QByteArray alias;
    QString path;
    double overrideDate = 0;
    {
        const std::lock_guard lock(m_lock);
        alias = m_alias;
        path = m_lastKnownPath;
        overrideDate = m_overrideDate;
    }
    std::optional<QVariantMap> stack;
    {
        const std::lock_guard lock(m_stackLock);
        if (m_stack) {
            stack.emplace();
            for (auto it = m_stack->cbegin(); it != m_stack->cend(); ++it)
                stack->insert(it.key(), QVariant::fromValue(ArchivableObjectRef(it.value())));
        }
    }
    if (!alias.isNull())
        coder.encodeObject(alias, QStringLiteral("alias"));
    if (!path.isNull())
        coder.encodeObject(path, QStringLiteral("path"));
    if (overrideDate != 0) // NaN is written too
        coder.encodeDouble(overrideDate, QStringLiteral("overrideDate"));
    if (stack)
        coder.encodeObject(*stack, QStringLiteral("stack"));
}

void VNItem::setAlias(const QByteArray &alias, const QString &path)
{
    // The test reads the disk, so it runs outside the lock.
    std::optional<bool> invisible;
    if (path != lastKnownPath())
        invisible = isPathInvisible(path);
    const std::lock_guard lock(m_lock);
    if (invisible)
        m_isInvisible = *invisible;
    m_lastKnownPath = path;
    m_alias = alias;
}

QByteArray VNItem::aliasData() const
{
    const std::lock_guard lock(m_lock);
    return m_alias;
}

QString VNItem::lastKnownPath() const
{
    const std::lock_guard lock(m_lock);
    return m_lastKnownPath;
}

QString VNItem::path()
{
    updateCache();
    return lastKnownPath();
}

QStringList VNItem::pathsForItems(const QList<VNItemRef> &items)
{
    QStringList paths;
    for (const VNItemRef &item : items) {
        if (!item)
            continue;
        if (const QString path = item->path(); !path.isEmpty())
            paths.append(path);
    }
    return paths;
}

QStringList VNItem::arrayOfPaths(bool includeSelf)
{
    const QString path = this->path();
    if (path.size() < 2)
        return {};
    QStringList paths;
    for (QString folder = includeSelf ? path : parentOf(path); folder.size() > 1; folder = parentOf(folder))
        paths.append(folder);
    return paths;
}

QString VNItem::displayName()
{
    updateCache();
    const std::lock_guard lock(m_lock);
    return m_displayName.isNull() ? displayNameAtPath(m_lastKnownPath) : m_displayName;
}

QDateTime VNItem::modificationDate()
{
    updateCache();
    const std::lock_guard lock(m_lock);
    return m_modDate;
}

double VNItem::timeOfFile()
{
    updateCache();
    const std::lock_guard lock(m_lock);
    return m_overrideDate != 0 ? m_overrideDate : m_timeOfFile;
}

double VNItem::age()
{
    return ReferenceTime::now() - timeOfFile();
}

quint64 VNItem::fileSize()
{
    updateCache();
    const std::lock_guard lock(m_lock);
    return m_fileSize.value_or(0);
}

bool VNItem::fileExists()
{
    {
        const std::lock_guard lock(m_lock);
        if (!m_fileExists)
            return true;
    }
    updateCache();
    const std::lock_guard lock(m_lock);
    return *m_fileExists;
}

bool VNItem::isInvisible()
{
    updateCache();
    const std::lock_guard lock(m_lock);
    return m_isInvisible;
}

void VNItem::setDate(double secondsSince2001)
{
    const std::lock_guard lock(m_lock);
    m_overrideDate = secondsSince2001;
}

double VNItem::overrideDate() const
{
    const std::lock_guard lock(m_lock);
    return m_overrideDate;
}

void VNItem::addSubItem(const VNItemRef &item)
{
    if (!item)
        return;
    const QString key = item->path();
    const std::lock_guard lock(m_stackLock);
    if (!m_stack)
        m_stack.emplace();
    m_stack->insert(key, item);
}

void VNItem::addSubItems(const QList<VNItemRef> &items)
{
    for (const VNItemRef &item : items)
        addSubItem(item);
}

void VNItem::removeAllSubItems()
{
    const std::lock_guard lock(m_stackLock);
    if (m_stack)
        m_stack->clear();
}

bool VNItem::isStack() const
{
    const std::lock_guard lock(m_stackLock);
    return m_stack && !m_stack->isEmpty();
}

int VNItem::stackCount() const
{
    const std::lock_guard lock(m_stackLock);
    return m_stack ? int(m_stack->size()) : 0;
}

QList<VNItemRef> VNItem::stack() const
{
    const std::lock_guard lock(m_stackLock);
    return m_stack ? m_stack->values() : QList<VNItemRef>();
}

bool VNItem::hasMemberMap() const
{
    const std::lock_guard lock(m_stackLock);
    return m_stack.has_value();
}

QString VNItem::imageUID()
{
    return path() + u' ' + QString::number(stackCount());
}

bool VNItem::useMissingItemImage()
{
    return !fileExists();
}

quint64 VNItem::imageVersion()
{
    const QDateTime date = modificationDate();
    // Files dated before 2001 (the stand-in date of unreadable ones among them) share version 0.
    const double seconds =
        date.isValid() ? std::max(0.0, std::trunc(ReferenceTime::fromDateTime(date))) : 0.0;
    return quint64(seconds) + (useMissingItemImage() ? missingImageVersionShift : 0);
}

QString VNItem::imageTitle()
{
    const QString name = displayName();
    if (!usePartialPathForTitle())
        return name;
    QString folder = QFileInfo(parentOf(lastKnownPath())).fileName();
    if (folder.size() >= longFolderName) {
        // Never cut a character in half.
        const qsizetype kept =
            folder[shortenedFolderName - 1].isHighSurrogate() ? shortenedFolderName - 1 : shortenedFolderName;
        folder = folder.left(kept) + QChar(0x2026);
    }
    return folder + u'/' + name;
}

QString VNItem::imageSubtitle()
{
    if (isStack()) {
        return StringTable::substitute(StringTable::localized(QStringLiteral("VNStackSubtitleTemplate")),
                                       {QString::number(stackCount())});
    }
    const QDateTime modified = modificationDate().toLocalTime();
    if (!modified.isValid())
        return QString();
    const QLocale locale;
    const QDate today = QDate::currentDate();
    const QString time = locale.toString(modified.time(), QLocale::ShortFormat);
    if (modified.date() == today)
        return StringTable::substitute(StringTable::localized(QStringLiteral("VNTodayDate")), {time});
    if (modified.date() == today.addDays(-1))
        return StringTable::substitute(StringTable::localized(QStringLiteral("VNYesterdayDate")), {time});
    return locale.toString(modified.date(), QLocale::LongFormat);
}

void VNItem::setUsePartialPathForTitle(bool use)
{
    const std::lock_guard lock(m_lock);
    m_usePartialPathForTitle = use;
}

bool VNItem::usePartialPathForTitle() const
{
    const std::lock_guard lock(m_lock);
    return m_usePartialPathForTitle;
}

QString VNItem::description()
{
    const QString path = lastKnownPath();
    if (!isStack())
        return path;
    const QString text = QStringLiteral("stack - %1 files").arg(stackCount());
    return path.isEmpty() ? text : text + u' ' + path;
}

bool VNItem::openFile(QString *errorText)
{
    return Workspace::openFile(path(), errorText);
}

void VNItem::revealInFinder()
{
    Workspace::revealFile(path());
}

void VNItem::getInfoInFinder()
{
    Workspace::showFileInfo(path());
}

bool VNItem::moveFileToTrash(QString *errorText)
{
    // The workspace leaves a path with nothing there alone.
    return Workspace::moveFileToTrash(path(), false, errorText);
}

bool VNItem::isEqual(const VNItem &other)
{
    // path() only refreshes a cache; items live behind VNItemRef and are never const objects.
    return &other == this || path() == const_cast<VNItem &>(other).path();
}

size_t VNItem::hash()
{
    return qHash(path());
}

void VNItem::updateCache()
{
    {
        const std::lock_guard lock(m_lock);
        const qint64 now = coarseMSecs();
        if (m_lastCacheUpdate != 0 && now - m_lastCacheUpdate <= cacheLifetimeMSecs)
            return;
        m_lastCacheUpdate = now;
    }
    updateCacheInfoOnThread();
}

void VNItem::updateCacheInfoOnThread()
{
    // The queued job keeps the item alive until it has run.
    if (const VNItemRef self = weak_from_this().lock())
        CacheThread::schedule([self] { self->calculateCache(); });
}

void VNItem::calculateAlias()
{
    const QString resolved = fastResolve(lastKnownPath(), aliasData());
    if (resolved.isEmpty())
        return;
    // Alias data that cannot be made now (the file went away meanwhile) must not replace what still works.
    const QByteArray alias = XPSimpleUtils::aliasDataForPath(resolved);
    setAlias(alias.isEmpty() ? aliasData() : alias, resolved);
}

void VNItem::calculateCache()
{
    static const QDateTime unknownDate(QDate(1904, 1, 1), QTime(0, 0), Qt::UTC);
    calculateAlias();
    const QString path = lastKnownPath();
    const QString name = displayNameAtPath(path);
    struct stat status;
    const bool exists = !path.isEmpty() && lstat(QFile::encodeName(path).constData(), &status) == 0;
    QDateTime modified = unknownDate;
    double time = ReferenceTime::fromDateTime(unknownDate);
    if (exists) {
        const timespec &stamp = status.st_mtim;
        modified =
            QDateTime::fromMSecsSinceEpoch(qint64(stamp.tv_sec) * 1000 + stamp.tv_nsec / 1000000, Qt::UTC);
        time = ReferenceTime::fromDateTime(QDateTime::fromSecsSinceEpoch(stamp.tv_sec, Qt::UTC)) +
               double(stamp.tv_nsec) / 1e9;
    }

    const std::lock_guard lock(m_lock);
    m_displayName = name;
    m_modDate = modified;
    m_timeOfFile = time;
    m_fileSize = exists ? quint64(status.st_size) : 0;
    m_fileExists = exists;
    m_lastCacheUpdate = coarseMSecs();
}

QString VNItem::displayNameAtPath(const QString &path)
{
    return QFileInfo(path).fileName();
}

QString VNItem::fastResolve(const QString &path, const QByteArray &alias)
{
    if (UnreachableVolumes::shared().holds(path))
        return QString();
    struct stat status;
    if (lstat(QFile::encodeName(path).constData(), &status) == 0)
        return path;
    // A volume found missing here is not added to the unreachable list: the empty result names no volume.
    // The list grows only through addPathToUnReachableVolumes.
    qint16 error = XPSimpleUtils::noErr;
    return XPSimpleUtils::resolveAliasDataToPath(alias, error);
}

void VNItem::addPathToUnReachableVolumes(const QString &path)
{
    if (const QString folder = MountTable::volumeFolderOf(path); !folder.isEmpty())
        UnreachableVolumes::shared().add(folder);
}

bool VNItem::isPathInvisible(const QString &path)
{
    if (path.isEmpty() || path.contains(QStringLiteral("/.")))
        return true;
    // Homes may lie in /tmp or elsewhere among the system locations, and the desktop mounts the user's
    // volumes below /run; the user's own files stay visible.
    const QString home = QDir::homePath();
    const bool usersOwn =
        (home.size() > 1 && isAtOrBelow(path, home)) || !MountTable::volumeFolderOf(path).isEmpty();
    if (!usersOwn && isInSystemLocation(path))
        return true;
    if (path.contains(home + QStringLiteral("/Library")))
        return false;
    if (MountTable::isOnMissingVolume(path))
        return true;
    struct stat status;
    if (lstat(QFile::encodeName(path).constData(), &status) != 0)
        return false;
    for (QString ancestor = path; ancestor.size() > 1; ancestor = parentOf(ancestor)) {
        if (HiddenFiles::isListed(ancestor))
            return true;
    }
    return false;
}
