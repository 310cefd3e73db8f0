#pragma once

#include "FileSystemEventStream.h"
#include "KPTimer.h"
#include "VNItem.h"
#include "VNRecentFilesRules.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>

#include <mutex>

class RecentlyUsedFeed;
class UserDefaults;

// One recorded change: the files a scan of a folder found, newest events first in the collector's list.
struct RecentEvent {
    QString path; // the folder, no trailing "/"
    QList<VNItemRef> files;
    double date = 0; // seconds since 2001
};

// Turns folder-change events and opened documents into the recent list: scans changed folders for files
// changed since a computed cut-off, keeps a bounded list of such events across runs, and builds the list the
// browser shows, with several files changed together in one folder grouped into a stack.
class VNRecentFiles : public QObject, public FileSystemEventProtocol {
    Q_OBJECT

public:
    // Reads the saved state and the rule lists; nothing is watched until start().
    VNRecentFiles(UserDefaults &defaults, FileSystemEventStream &stream,
                  const QString &stateFile = pastEventsPath(), QObject *parent = nullptr);
    ~VNRecentFiles() override;

    // Starts the event stream on the user's roots and the opened-files feed.
    void start();
    // Shuts the shared event stream down; at the application's termination.
    static void shutdown();

    static QString pastEventsPath(); // "recentItems.plist" in the application's data folder
    void readState();
    bool writeState();
    void clearState();

    void fileSystemEvent(const FileSystemEvent &event, FileSystemEventStream &stream) override;
    void addEvent(const QList<VNItemRef> &files, const QString &folder);

    QList<VNItemRef> recentFiles(const QSet<QString> &excludedPaths = {});
    QList<VNItemRef> recentFilesInDirectory(const QString &folder);
    void removeItem(const VNItemRef &item);
    void removeItems(const QList<VNItemRef> &items);

    // Opened documents.
    void startListeningForOpenedFiles();
    void updatedMDQuery(const QStringList &addedPaths, const QStringList &changedPaths);
    void addPathsToEvents(const QStringList &paths);

    QList<RecentEvent> pastEvents() const;
    quint64 lastEventID() const;
    const VNRecentFilesRules &rules() const { return m_rules; }

    // The scan of one folder, for files changed since `sinceDate`; at most maxFiles + 1 files.
    QList<VNItemRef> scanDirectoryForChangedFiles(const QString &folder, int maxFiles, double sinceDate);
    double dateToScanBackTo(const FileSystemEvent &event, FileSystemEventStream &stream);

Q_SIGNALS:
    // The recorded events changed; emitted on the main thread, so the list may need building again.
    void eventsChanged();

private:
    QStringList fileNamesAtPath(const QString &folder);
    std::optional<QSet<QString>> cachedFileSet(const QString &folder);
    bool keepFileForRecents(const QString &path, const QString &fileName,
                            const std::optional<QSet<QString>> &cachedNames, double sinceDate,
                            bool &markAsNew);
    bool passesEventFilters(const QString &folder);
    static double moddateForMultipleFiles(const QList<VNItemRef> &members);
    static void sortNewestFirst(QList<VNItemRef> &items);
    void announceChange();

    UserDefaults &m_defaults;
    FileSystemEventStream &m_stream;
    const QString m_stateFile;
    VNRecentFilesRules m_rules;

    mutable std::mutex m_pastEventsLock; // also guards the saved position; taken before item and prefs locks
    QList<RecentEvent> m_pastEvents;
    quint64 m_lastEventID = 0;
    double m_lastEventTrackedTime = 0;
    double m_averageSecondsBetweenEvents = 20.0;
    KPTimer m_timer;

    std::mutex m_scanDatesLock;
    QHash<QString, double> m_scanDates;
    std::mutex m_cachedFileSetsLock;
    QHash<QString, QStringList> m_cachedFileSets;

    // Stack items of the last main list, filled afresh by the next: making an item reads its file, and a
    // list with fifty stacks would spend most of its time doing so.
    QHash<QString, VNItemRef> m_stackItems;

    RecentlyUsedFeed *m_openedFiles = nullptr;
};
