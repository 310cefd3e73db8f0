#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <map>

struct inotify_event;

// The one door to inotify: watches on whole folder trees, kept in step as folders are created, moved and
// removed, and the changes read back as the folders they happened in. One watch per folder, none on
// folders whose names begin with "." or below them, and never more watches than the budget allows.
class InotifyWatcher {
public:
    struct Changes {
        QStringList folders;     // folders with changes, in the order the kernel reported them
        bool overflowed = false; // the kernel's queue overflowed, so changes were lost
    };

    // The share of the user's inotify watches (max_user_watches) one watcher may take: all but a tenth,
    // which stays for the user's other programs.
    static qsizetype defaultWatchBudget();

    // Opens an inotify instance; when that fails the watcher is invalid and the reason is logged.
    explicit InotifyWatcher(qsizetype watchBudget = defaultWatchBudget());
    ~InotifyWatcher();
    InotifyWatcher(const InotifyWatcher &) = delete;
    InotifyWatcher &operator=(const InotifyWatcher &) = delete;

    bool isValid() const { return m_fd >= 0; }
    // Readable whenever changes are waiting.
    int fd() const { return m_fd; }

    // Watches `root` and the folders below it. When the budget runs out, logs it once and watches no more.
    void watchTree(const QString &root);
    qsizetype watchCount() const { return m_pathByWatch.size(); }
    bool isWatched(const QString &folder) const;

    // Reads what is waiting, without blocking. New folders are watched on the way; the ones created (not
    // moved in) are reported as changed too, since their first entries may predate their watches. After an
    // overflow the trees are walked again for the folders whose creation went unheard.
    Changes readChanges();

private:
    using WatchesByPath = std::map<QByteArray, int>;

    void addTree(const QByteArray &root, QStringList *newFolders);
    bool addWatch(const QByteArray &folder);
    void record(int watch, const QByteArray &folder);
    void removeTree(const QByteArray &root);
    void forget(int watch);
    void handle(const inotify_event &event, Changes &changes, QByteArray &lastFolder);

    int m_fd;
    qsizetype m_budget;
    bool m_budgetReported = false;
    QList<QByteArray> m_roots;
    WatchesByPath m_watchesByPath;
    QHash<int, WatchesByPath::iterator> m_pathByWatch;
};
