#include "VNRecentFiles.h"

#include "AppPaths.h"
#include "KeyedArchive.h"
#include "Log.h"
#include "Packages.h"
#include "QuitFlag.h"
#include "RecentlyUsedFeed.h"
#include "ReferenceTime.h"
#include "UserDefaults.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qsizetype maxEvents = 151;
constexpr int maxFilesPerScan = 20;
constexpr qsizetype stackThreshold = 4;
constexpr qsizetype mapEntriesConsidered = 49;
constexpr qsizetype mainListLength = 50;
constexpr qsizetype folderViewLength = 150;
constexpr qsizetype lastAveragedPositionTest = 9;
constexpr double streamLatency = 1.5;
constexpr double pastEventInterval = 86400.0;
constexpr double floodWarmUpSeconds = 10.0;
constexpr double floodThreshold = 0.03;
constexpr double liveLookBack = 45.0;
constexpr double scanDateSlack = 1.5;
constexpr double historySlack = 7.5;
constexpr quint64 historyDistance = 1000;
constexpr qsizetype openedPathsExamined = 50;
constexpr qsizetype openedPathsRecorded = 5;
constexpr quint64 noSavedPosition = std::numeric_limits<quint64>::max();

const QString lastEventKey = QStringLiteral("lastHandledFSEvent");
const QString lastEventDateKey = QStringLiteral("lastHandledFSEventDate");
const QString pathKey = QStringLiteral("path");
const QString filesKey = QStringLiteral("files");
const QString dateKey = QStringLiteral("date");

QString parentPath(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    return slash > 0 ? path.left(slash) : QStringLiteral("/");
}

bool samePaths(const QList<VNItemRef> &a, const QList<VNItemRef> &b)
{
    return std::equal(a.cbegin(), a.cend(), b.cbegin(), b.cend(),
                      [](const VNItemRef &x, const VNItemRef &y) { return x->isEqual(*y); });
}

bool containsItem(const QList<VNItemRef> &files, const VNItemRef &item)
{
    return std::any_of(files.cbegin(), files.cend(),
                       [&](const VNItemRef &file) { return file->isEqual(*item); });
}

QVariantMap archivedForm(const RecentEvent &event)
{
    QVariantList files;
    for (const VNItemRef &file : event.files)
        files.append(QVariant::fromValue<ArchivableObjectRef>(file));
    return {{pathKey, event.path}, {filesKey, files}, {dateKey, ReferenceTime::toDateTime(event.date)}};
}

// A file that is not an event record of the expected shape makes the whole file unusable.
std::optional<RecentEvent> eventFromArchive(const QVariant &value)
{
    const QVariantMap map = value.toMap();
    const QVariant path = map.value(pathKey);
    const QVariant files = map.value(filesKey);
    const QVariant date = map.value(dateKey);
    if (value.typeId() != QMetaType::QVariantMap || path.typeId() != QMetaType::QString ||
        files.typeId() != QMetaType::QVariantList || date.typeId() != QMetaType::QDateTime)
        return std::nullopt;
    RecentEvent event{path.toString(), {}, ReferenceTime::fromDateTime(date.toDateTime())};
    for (const QVariant &file : files.toList()) {
        auto item = std::dynamic_pointer_cast<VNItem>(file.value<ArchivableObjectRef>());
        if (!item)
            return std::nullopt;
        event.files.append(std::move(item));
    }
    return event;
}

} // namespace

VNRecentFiles::VNRecentFiles(UserDefaults &defaults, FileSystemEventStream &stream, const QString &stateFile,
                             QObject *parent)
    : QObject(parent), m_defaults(defaults), m_stream(stream), m_stateFile(stateFile), m_rules(defaults)
{
    // The first item made sets up the class's watching of volumes.
    std::make_shared<VNItem>(QStringLiteral("/"));
    readState();
    for (const QString &folder : {QStandardPaths::writableLocation(QStandardPaths::DownloadLocation),
                                  QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation),
                                  QStandardPaths::writableLocation(QStandardPaths::DesktopLocation),
                                  QDir::homePath() + QStringLiteral("/Library/Mail Downloads")})
        fileNamesAtPath(folder);
    m_rules.loadPrefs();
    for (const QString &key : VNRecentFilesRules::observedKeys())
        m_defaults.observe(key, this, [this] { m_rules.loadPrefs(); });
    m_timer.start();
}

VNRecentFiles::~VNRecentFiles()
{
    if (m_stream.isActive())
        m_stream.stop();
    m_stream.setDelegate(nullptr);
}

void VNRecentFiles::start()
{
    m_stream.setDelegate(this);
    m_stream.setLatency(streamLatency);
    {
        std::lock_guard lock(m_pastEventsLock);
        m_stream.setStartEventID(m_lastEventID);
        m_averageSecondsBetweenEvents = 20.0;
        m_lastEventTrackedTime = 0;
    }
    m_stream.start({QStringLiteral("/")});
    startListeningForOpenedFiles();
}

void VNRecentFiles::shutdown()
{
    FileSystemEventStream::defaultFileSystemEventStream().shutdown();
}

// ---- State ----

QString VNRecentFiles::pastEventsPath()
{
    const QString folder = AppPaths::dataFolder();
    QDir().mkpath(folder);
    return folder + QStringLiteral("/recentItems.plist");
}

void VNRecentFiles::readState()
{
    QList<RecentEvent> events;
    if (QFile::exists(m_stateFile)) {
        QString error;
        const QVariant root =
            KeyedUnarchiver::unarchiveObjectWithFile(m_stateFile, VNItem::archiveClasses(), &error);
        bool usable = root.typeId() == QMetaType::QVariantList;
        for (const QVariant &value : root.toList()) {
            const std::optional<RecentEvent> event = eventFromArchive(value);
            if (!event) {
                usable = false;
                break;
            }
            events.append(*event);
        }
        if (!usable) {
            Log::line(QStringLiteral("recent events have been reset, %1")
                          .arg(error.isEmpty()
                                   ? QStringLiteral("%1 does not hold recent events").arg(m_stateFile)
                                   : error));
            QFile::remove(m_stateFile);
            m_defaults.setValue(lastEventKey, QVariant::fromValue(noSavedPosition));
            m_defaults.setValue(lastEventDateKey, ReferenceTime::now());
            events.clear();
        }
    }
    std::stable_sort(events.begin(), events.end(),
                     [](const RecentEvent &a, const RecentEvent &b) { return a.date > b.date; });

    quint64 lastEventID = m_defaults.unsignedValue(lastEventKey);
    if (lastEventID == 0)
        lastEventID = noSavedPosition;
    if (lastEventID == noSavedPosition)
        lastEventID = FileSystemEventStream::getPastEventID(pastEventInterval);

    std::lock_guard lock(m_pastEventsLock);
    m_pastEvents = std::move(events);
    m_lastEventID = lastEventID;
}

bool VNRecentFiles::writeState()
{
    std::lock_guard lock(m_pastEventsLock);
    m_defaults.setValue(lastEventKey, QVariant::fromValue(m_lastEventID));
    m_defaults.setValue(lastEventDateKey, m_lastEventTrackedTime);
    m_defaults.synchronize();

    QVariantList events;
    events.reserve(m_pastEvents.size());
    for (const RecentEvent &event : std::as_const(m_pastEvents))
        events.append(archivedForm(event));
    QString error;
    if (KeyedArchiver::archiveRootObject(events, m_stateFile, &error))
        return true;
    Log::line(QStringLiteral("recent events could not be saved: %1").arg(error));
    return false;
}

void VNRecentFiles::clearState()
{
    {
        std::lock_guard lock(m_pastEventsLock);
        m_pastEvents.clear();
    }
    writeState();
    announceChange();
}

QList<RecentEvent> VNRecentFiles::pastEvents() const
{
    std::lock_guard lock(m_pastEventsLock);
    return m_pastEvents;
}

quint64 VNRecentFiles::lastEventID() const
{
    std::lock_guard lock(m_pastEventsLock);
    return m_lastEventID;
}

void VNRecentFiles::announceChange()
{
    QMetaObject::invokeMethod(this, &VNRecentFiles::eventsChanged, Qt::QueuedConnection);
}

// ---- Intake, on the stream's worker thread ----

bool VNRecentFiles::passesEventFilters(const QString &folder)
{
    return !VNRecentFilesRules::cullPrivateAndInvisibleEtc(folder) &&
           access(QFile::encodeName(folder).constData(), R_OK) == 0 &&
           m_rules.userWantsFolderIncluded(folder);
}

void VNRecentFiles::fileSystemEvent(const FileSystemEvent &event, FileSystemEventStream &stream)
{
    const QString folder = event.evPath();
    if (folder.isEmpty())
        return;
    {
        std::lock_guard lock(m_pastEventsLock);
        m_lastEventID = event.evId();
    }
    if (!passesEventFilters(folder))
        return;

    // During a storm of changes (a copy of thousands of files) folders are not scanned; the moving average
    // recovers as the gaps grow again.
    const double now = ReferenceTime::now();
    bool flooded;
    {
        std::lock_guard lock(m_pastEventsLock);
        if (m_timer.elapsedSeconds() > floodWarmUpSeconds)
            m_averageSecondsBetweenEvents =
                0.05 * (now - m_lastEventTrackedTime) + 0.95 * m_averageSecondsBetweenEvents;
        m_lastEventTrackedTime = now;
        flooded = m_averageSecondsBetweenEvents < floodThreshold;
    }
    if (flooded || VNItem::isPathInvisible(folder) || Packages::isInsidePackage(folder))
        return;

    const double cutOff = dateToScanBackTo(event, stream);
    const QList<VNItemRef> files = scanDirectoryForChangedFiles(folder, maxFilesPerScan, cutOff);
    if (!files.isEmpty())
        addEvent(files, folder);
}

double VNRecentFiles::dateToScanBackTo(const FileSystemEvent &event, FileSystemEventStream &stream)
{
    const double now = ReferenceTime::now();
    const QString folder = event.evPath();
    double cutOff;
    const quint64 current = stream.currentEventID();
    if (current > historyDistance && event.evId() < current - historyDistance) {
        // Replayed history from before this run: everything since the saved moment, with some slack. Only an
        // exact 0 falls back to one day; a missing date (-7.5) means no cut-off at all.
        cutOff = m_defaults.doubleValue(lastEventDateKey) - historySlack;
        if (cutOff == 0)
            cutOff = now - pastEventInterval;
    } else {
        std::lock_guard lock(m_scanDatesLock);
        cutOff =
            std::max(now - liveLookBack,
                     m_scanDates.value(folder, -std::numeric_limits<double>::infinity()) - scanDateSlack);
    }
    std::lock_guard lock(m_scanDatesLock);
    m_scanDates.insert(folder, now);
    return cutOff;
}

QStringList VNRecentFiles::fileNamesAtPath(const QString &folder)
{
    QStringList names = QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Unsorted);
    // An automounter stub stands for an empty folder.
    if (names == QStringList{QStringLiteral(".autodiskmounted")})
        names.clear();
    std::lock_guard lock(m_cachedFileSetsLock);
    m_cachedFileSets.insert(folder, names);
    return names;
}

std::optional<QSet<QString>> VNRecentFiles::cachedFileSet(const QString &folder)
{
    std::lock_guard lock(m_cachedFileSetsLock);
    const auto it = m_cachedFileSets.constFind(folder);
    if (it == m_cachedFileSets.cend())
        return std::nullopt;
    return QSet<QString>(it->cbegin(), it->cend());
}

bool VNRecentFiles::keepFileForRecents(const QString &path, const QString &fileName,
                                       const std::optional<QSet<QString>> &cachedNames, double sinceDate,
                                       bool &markAsNew)
{
    markAsNew = false;
    if (path.isEmpty())
        return false;
    // A name that appeared since the last listing (a finished download) counts whatever its dates.
    if (cachedNames && !cachedNames->contains(fileName)) {
        if (VNItem::isPathInvisible(path))
            return false;
        markAsNew = true;
        return true;
    }
    struct stat status;
    if (lstat(QFile::encodeName(path).constData(), &status) != 0)
        return false;
    const double modified =
        ReferenceTime::fromDateTime(QDateTime::fromSecsSinceEpoch(status.st_mtim.tv_sec, Qt::UTC)) +
        double(status.st_mtim.tv_nsec) / 1e9;
    const bool fileOrPackage = !S_ISDIR(status.st_mode) || Packages::isPackage(path);
    return modified > sinceDate && fileOrPackage && !VNItem::isPathInvisible(path);
}

QList<VNItemRef> VNRecentFiles::scanDirectoryForChangedFiles(const QString &folder, int maxFiles,
                                                             double sinceDate)
{
    bool markAsNew = false;
    if (Packages::isPackage(folder)) {
        // A changed document bundle is itself the changed file.
        const bool wanted = !m_rules.filterOutUnwantedExtensions(folder).isNull() &&
                            !VNRecentFilesRules::filterOutUnwantedPackages(folder).isNull() &&
                            !m_rules.filterOutUnwantedPathFragments(folder).isNull();
        if (wanted && keepFileForRecents(folder, QString(), std::nullopt, sinceDate, markAsNew))
            return {std::make_shared<VNItem>(folder)};
        return {};
    }

    const std::optional<QSet<QString>> previousNames = cachedFileSet(folder);
    QList<VNItemRef> files;
    int counter = 0;
    for (const QString &name : fileNamesAtPath(folder)) {
        if (name.startsWith(QLatin1Char('.')))
            continue;
        const QString path =
            folder == QLatin1String("/") ? QLatin1Char('/') + name : folder + QLatin1Char('/') + name;
        if (m_rules.filterOutUnwantedExtensions(path).isNull() ||
            m_rules.filterOutUnwantedPathFragments(path).isNull() ||
            !keepFileForRecents(path, name, previousNames, sinceDate, markAsNew))
            continue;
        auto item = std::make_shared<VNItem>(path);
        if (markAsNew)
            item->setDate(ReferenceTime::now());
        files.append(std::move(item));
        // The count is compared before it is raised, so a scan yields at most maxFiles + 1 files.
        if (counter >= maxFiles)
            break;
        ++counter;
    }
    return files;
}

// ---- Recording and the lists ----

void VNRecentFiles::addEvent(const QList<VNItemRef> &files, const QString &folder)
{
    RecentEvent event{folder, files, ReferenceTime::now()};
    {
        std::lock_guard lock(m_pastEventsLock);
        const auto same = std::find_if(m_pastEvents.begin(), m_pastEvents.end(), [&](const RecentEvent &old) {
            return old.path == folder && samePaths(old.files, files);
        });
        if (same != m_pastEvents.end())
            m_pastEvents.erase(same);
        if (m_pastEvents.size() >= maxEvents)
            m_pastEvents.removeLast();
        m_pastEvents.prepend(std::move(event));
    }
    announceChange();
}

double VNRecentFiles::moddateForMultipleFiles(const QList<VNItemRef> &members)
{
    if (members.isEmpty())
        return -100000000.0;
    double total = 0;
    qsizetype position = 0;
    for (; position < members.size(); ++position) {
        total += members[position]->timeOfFile();
        // Tested after adding, so eleven members are averaged at most.
        if (position > lastAveragedPositionTest)
            break;
    }
    return total / double(std::min(position + 1, members.size()));
}

void VNRecentFiles::sortNewestFirst(QList<VNItemRef> &items)
{
    // Keys are taken once: both may touch the item's cache lock.
    QList<std::tuple<double, QString, VNItemRef>> keyed;
    keyed.reserve(items.size());
    for (const VNItemRef &item : std::as_const(items))
        keyed.append({item->timeOfFile(), item->imageTitle(), item});
    std::sort(keyed.begin(), keyed.end(), [](const auto &a, const auto &b) {
        if (std::get<0>(a) != std::get<0>(b))
            return std::get<0>(a) > std::get<0>(b);
        return std::get<1>(a) > std::get<1>(b);
    });
    for (qsizetype i = 0; i < keyed.size(); ++i)
        items[i] = std::get<2>(keyed[i]);
}

QList<VNItemRef> VNRecentFiles::recentFiles(const QSet<QString> &excludedPaths)
{
    QHash<QString, VNItemRef> entries;
    QHash<QString, VNItemRef> stackItems;
    {
        std::lock_guard lock(m_pastEventsLock);
        for (const RecentEvent &event : std::as_const(m_pastEvents)) {
            if (event.files.size() >= stackThreshold) {
                if (m_rules.userWantsFolderIncluded(event.path)) {
                    VNItemRef &stack = entries[event.path];
                    if (!stack) {
                        stack = m_stackItems.value(event.path);
                        if (stack) {
                            stack->removeAllSubItems();
                            stack->setDate(0);
                        } else {
                            stack = std::make_shared<VNItem>(event.path);
                        }
                        stackItems.insert(event.path, stack);
                    }
                    for (const VNItemRef &file : event.files) {
                        if (m_rules.userWantsItemIncluded(*file))
                            stack->addSubItem(file);
                    }
                }
            } else {
                for (const VNItemRef &file : event.files) {
                    if (!m_rules.userWantsItemIncluded(*file))
                        continue;
                    const QString path = file->path();
                    // Files close below a stacked folder join that stack.
                    QString ancestor = parentPath(path);
                    VNItemRef holder;
                    for (int level = 0; level < 3 && !holder; ++level, ancestor = parentPath(ancestor))
                        holder = entries.value(ancestor);
                    if (holder) {
                        holder->addSubItem(file);
                        continue;
                    }
                    const VNItemRef known = entries.value(path);
                    if ((known && known->timeOfFile() > file->timeOfFile()) || excludedPaths.contains(path))
                        continue;
                    entries.insert(path, file);
                }
            }
            if (entries.size() > mapEntriesConsidered)
                break;
        }
        m_stackItems = std::move(stackItems);
    }

    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        if (const VNItemRef parent = entries.value(parentPath(it.key())); parent && parent != it.value())
            parent->addSubItem(it.value());
    }
    QList<VNItemRef> list;
    list.reserve(entries.size());
    for (const VNItemRef &entry : std::as_const(entries)) {
        if (entry->isStack())
            entry->setDate(moddateForMultipleFiles(entry->stack()));
        list.append(entry);
    }
    sortNewestFirst(list);
    if (list.size() > mainListLength)
        list.resize(mainListLength);
    return list;
}

QList<VNItemRef> VNRecentFiles::recentFilesInDirectory(const QString &folder)
{
    QList<VNItemRef> files;
    QSet<QString> taken;
    {
        std::lock_guard lock(m_pastEventsLock);
        for (const RecentEvent &event : std::as_const(m_pastEvents)) {
            if (event.path != folder)
                continue;
            for (const VNItemRef &file : event.files) {
                if (files.size() >= folderViewLength)
                    break;
                const QString path = file->path();
                if (taken.contains(path) || !m_rules.userWantsItemIncluded(*file))
                    continue;
                taken.insert(path);
                files.append(file);
            }
        }
    }
    sortNewestFirst(files);
    return files;
}

void VNRecentFiles::removeItem(const VNItemRef &item)
{
    {
        std::lock_guard lock(m_pastEventsLock);
        const QString path = item->path();
        m_pastEvents.removeIf([&](const RecentEvent &event) { return event.path == path; });
        for (qsizetype i = m_pastEvents.size() - 1; i >= 0; --i) {
            RecentEvent &event = m_pastEvents[i];
            if (!containsItem(event.files, item))
                continue;
            event.files.removeIf([&](const VNItemRef &file) { return file->isEqual(*item); });
            if (event.files.isEmpty())
                m_pastEvents.removeAt(i);
        }
    }
    announceChange();
}

void VNRecentFiles::removeItems(const QList<VNItemRef> &items)
{
    for (const VNItemRef &item : items)
        removeItem(item);
}

// ---- Opened documents ----

void VNRecentFiles::startListeningForOpenedFiles()
{
    if (m_openedFiles)
        return;
    m_openedFiles = new RecentlyUsedFeed(RecentlyUsedFeed::defaultFile(), this);
    connect(m_openedFiles, &RecentlyUsedFeed::documentsUsed, this, &VNRecentFiles::updatedMDQuery);
    if (!m_openedFiles->start())
        Log::line(QStringLiteral("MDQuery for recently opened files failed to start in Vantry."));
}

void VNRecentFiles::updatedMDQuery(const QStringList &addedPaths, const QStringList &changedPaths)
{
    if (QuitFlag::isRaised() || !m_defaults.boolValue(QStringLiteral("VNIncludeFileOpenedEvents")))
        return;
    QStringList paths;
    for (const QStringList *list : {&addedPaths, &changedPaths}) {
        for (const QString &path : *list) {
            if (!path.isEmpty() && !paths.contains(path))
                paths.append(path);
            if (paths.size() > openedPathsExamined)
                break;
        }
    }
    addPathsToEvents(paths);
}

void VNRecentFiles::addPathsToEvents(const QStringList &paths)
{
    QStringList kept;
    for (const QString &path : paths) {
        struct stat status;
        const bool fileOrPackage = lstat(QFile::encodeName(path).constData(), &status) == 0 &&
                                   (!S_ISDIR(status.st_mode) || Packages::isPackage(path));
        // Applications are never recorded.
        if (!path.isEmpty() && !path.endsWith(QLatin1String(".app")) && fileOrPackage &&
            m_rules.userWantsFolderIncluded(parentPath(path)) && !Packages::isInsidePackage(path) &&
            !VNItem::isPathInvisible(path) && !m_rules.filterOutUnwantedExtensions(path).isNull() &&
            !m_rules.filterOutUnwantedPathFragments(path).isNull() && !m_rules.userExcludesSingleFile(path))
            kept.append(path);
        if (kept.size() > openedPathsRecorded)
            break;
    }
    for (const QString &path : std::as_const(kept)) {
        auto item = std::make_shared<VNItem>(path);
        item->setDate(ReferenceTime::now()); // its place in the list is the time of opening
        addEvent({item}, parentPath(path));
    }
}
