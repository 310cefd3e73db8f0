#pragma once

#include "KeyedArchive.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>
#include <optional>

class VNItem;
using VNItemRef = std::shared_ptr<VNItem>;

// One file or folder in any list of the program, or a stack standing for several files. The item follows
// its file by alias data beside the last path at which the file was seen, and keeps a few facts about the
// file (name, date, size, existence) that a shared background thread refreshes at most every 3 seconds.
// Accessors never wait for the disk: they return what was last found and at most schedule a refresh. Only
// items owned by a VNItemRef are refreshed in the background. Every method may be called from any thread.
class VNItem : public ArchivableObject, public std::enable_shared_from_this<VNItem> {
public:
    explicit VNItem(const QString &path);

    // Decodes an archived item and starts a background refresh of its facts.
    static ArchivableObjectRef initWithCoder(KeyedUnarchiver &coder);
    static KeyedUnarchiver::ClassTable archiveClasses();
    QStringList archiveClassChain() const override;
    // Writes "alias", "path", "overrideDate" and "stack", each only when the item has it.
    void encodeWithCoder(KeyedArchiver &coder) const override;

    void setAlias(const QByteArray &alias, const QString &path);
    QByteArray aliasData() const;
    QString lastKnownPath() const;
    // Where the file is, as far as is known; refreshes the facts if due.
    QString path();
    // The paths of `items`, leaving out items without one.
    static QStringList pathsForItems(const QList<VNItemRef> &items);
    // The item's path (or with `includeSelf` false its folder's) and the folders above it, without "/".
    QStringList arrayOfPaths(bool includeSelf);

    QString displayName();
    QDateTime modificationDate();
    // The override date when set, else the file's modification time; seconds since 2001.
    double timeOfFile();
    double age();
    quint64 fileSize();
    // True until the first refresh has looked, so new items count as present.
    bool fileExists();
    bool isInvisible();
    // Forces a date on the item, in seconds since 2001; 0 lets the file's own date count again.
    void setDate(double secondsSince2001);
    double overrideDate() const;

    // Members are kept by path; a later member with the same path replaces the earlier one.
    void addSubItem(const VNItemRef &item);
    void addSubItems(const QList<VNItemRef> &items);
    // Empties the member map, so that a stack item can be filled again.
    void removeAllSubItems();
    bool isStack() const;
    int stackCount() const;
    // The members in path order; empty when the item has no member map.
    QList<VNItemRef> stack() const;
    bool hasMemberMap() const;

    // What the grid shows.
    QString imageUID();
    bool useMissingItemImage();
    quint64 imageVersion();
    QString imageTitle();
    QString imageSubtitle();
    bool isSelectable() const { return true; }
    void setUsePartialPathForTitle(bool use);
    bool usePartialPathForTitle() const;

    QString description();

    // The desktop's actions on the file at path(); see Workspace.
    bool openFile(QString *errorText = nullptr);
    void revealInFinder();
    void getInfoInFinder();
    // Moves the file or folder at path() to the trash when there is one there; never deletes it. True when
    // nothing is left at path().
    bool moveFileToTrash(QString *errorText = nullptr);

    // The same object, or the same path().
    bool isEqual(const VNItem &other);
    size_t hash();

    // Schedules calculateCache() on the shared cache thread when more than 3 seconds have passed since the
    // last refresh.
    void updateCache();
    // Follows the alias and reads the file's facts, now, on the calling thread.
    void calculateCache();

    static QString displayNameAtPath(const QString &path);
    // Where the file of `path` and `alias` is now: `path` while something is there, else the alias's
    // answer; empty without touching the disk when `path` lies on a volume known to be unreachable.
    static QString fastResolve(const QString &path, const QByteArray &alias);
    // Marks the removable volume holding `path` as unreachable until the next mount or unmount.
    static void addPathToUnReachableVolumes(const QString &path);
    // Hidden by its name, by a system location, by a missing volume or by a ".hidden" list on the way.
    static bool isPathInvisible(const QString &path);

private:
    VNItem();
    void calculateAlias();
    void updateCacheInfoOnThread();

    mutable std::mutex m_lock;
    QByteArray m_alias;
    QString m_lastKnownPath;
    double m_overrideDate = 0;
    double m_timeOfFile = 0;
    QString m_displayName;
    QDateTime m_modDate;
    std::optional<quint64> m_fileSize;
    std::optional<bool> m_fileExists;
    bool m_isInvisible = true; // as for the empty path, until a path is set
    bool m_usePartialPathForTitle = false;
    qint64 m_lastCacheUpdate = 0; // coarse monotonic milliseconds; 0: the next access refreshes

    mutable std::mutex m_stackLock;
    std::optional<QMap<QString, VNItemRef>> m_stack;
};
