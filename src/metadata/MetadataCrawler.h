#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>

class MetadataIndex;

// Fills the metadata index from the file system and keeps it current: whole crawls of the user's folders,
// and the re-reading of single folders and items that the event stream and Vantry's own writes ask for.
// Names beginning with "." are never indexed nor entered, symbolic links are not followed, and the contents
// of packages are left out (the package is one document). Runs synchronously on the calling thread.
//
// Crawl figures are kept in the index file itself (table crawl_status), so that another process can show how
// a crawl is going.
class MetadataCrawler {
public:
    // Adds what the file system does not tell: tags, rating, managed flag and their times, under their
    // query names.
    using AttributeReader = std::function<void(const QString &path, QVariantMap &attributes)>;
    // Called as each folder is begun.
    using ProgressCallback = std::function<void(qint64 filesDone, const QString &folder)>;

    struct Status {
        qint64 filesIndexed = 0;
        qint64 databaseSize = 0; // bytes
        QDateTime lastUpdate;    // end of the last finished crawl or update; invalid when there was none
        bool crawlInProgress = false;
        qint64 crawlFilesDone = 0; // of the crawl in progress
        QString crawlFolder;
    };

    // $XDG_CACHE_HOME/Vantry/index.sqlite
    static QString defaultDatabasePath();
    // The home folder and the user's mounted volumes.
    static QStringList defaultRoots();

    // Longest stretch of a text file read for its content, in bytes.
    static constexpr qint64 kTextContentBytes = 64 * 1024;
    // Files written between two updates of the crawl figures.
    static constexpr qint64 kBatchSize = 10000;

    explicit MetadataCrawler(MetadataIndex &index);

    void setAttributeReader(AttributeReader reader) { m_attributeReader = std::move(reader); }
    void setProgressCallback(ProgressCallback callback) { m_progress = std::move(callback); }
    // Off by default: types come from names alone and no file is opened.
    void setContentIndexing(bool on) { m_contentIndexing = on; }

    // Empties the index and crawls the roots.
    bool rebuild(const QStringList &roots = defaultRoots());
    // Brings the trees below the roots up to date: new and changed items written, vanished ones removed.
    bool update(const QStringList &roots = defaultRoots());
    // Brings one folder's entries up to date, crawling the folders that are new in it; a vanished folder is
    // removed with everything below it. What the event stream calls for a folder with events.
    bool updateFolder(const QString &folder);
    // Re-reads one item now (after Vantry itself wrote to it); removes it, with its subtree, when it is gone.
    bool updateItem(const QString &path);

    Status status();
    QString errorText() const { return m_errorText; }

private:
    struct TypeFacts {
        QStringList tree; // the type and every type it conforms to
        QString mime;
        QString kind;
        bool isText = false;
        bool isPdf = false;
    };
    // What one status call tells of an item; dates in milliseconds since the Unix epoch.
    struct ItemStatus {
        qint64 device = 0;
        qint64 inode = 0;
        bool isFolder = false;
        qint64 size = 0;
        qint64 modified = 0;
        qint64 changed = 0;
        qint64 created = -1; // -1: the file system does not record it
    };
    // EmptyIndex: a whole tree of which the index knows nothing, so nothing to compare with.
    enum class Scope { WholeTree, NewFolders, EmptyIndex };

    // Status of `name` in the folder open as `folderFd` (AT_FDCWD: name is a path); false for what the index
    // does not keep: links, devices, sockets, pipes, and what cannot be read.
    static bool readStatus(int folderFd, const QByteArray &name, int flags, ItemStatus &status);

    bool crawlRoots(const QStringList &roots, Scope scope);
    bool crawl(const QStringList &folders, Scope scope);
    bool syncFolder(const QString &folder, Scope scope, QStringList &foldersToVisit);
    bool putItem(const QString &path, const ItemStatus &status);
    bool removeSubtree(const QString &path);
    const TypeFacts &typeFacts(const QString &uti);
    QString utiFor(const QString &path, bool isFolder);
    QString textContent(const QString &path) const;
    bool prepareStatusTable();
    // Around every public operation; `crawling` marks a whole crawl that other processes may watch.
    bool begin(bool crawling);
    bool finish(bool ok, bool crawling);
    bool writeStatus(const QVariantMap &values);
    bool fail();

    MetadataIndex &m_index;
    AttributeReader m_attributeReader;
    ProgressCallback m_progress;
    bool m_contentIndexing = false;

    QHash<QString, TypeFacts> m_types;
    QHash<QString, QString> m_utiByExtension;
    QHash<QString, QDateTime> m_lastUsed; // a snapshot of the opened-files feed
    QDateTime m_lastUsedStamp;            // the feed file's modification time at the snapshot
    bool m_crawling = false;
    qint64 m_filesDone = 0;
    QString m_errorText;
};
