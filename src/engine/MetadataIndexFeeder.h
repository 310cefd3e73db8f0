#pragma once

#include "FileSystemEventStream.h"
#include "MetadataCrawler.h"

#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QThread>

#include <memory>

class MetadataIndex;
class RecentlyUsedFeed;

// Keeps the metadata index current while the program runs: folders the event stream reports are read again,
// trees whose events were lost are crawled again, and files that Vantry itself wrote or that the desktop
// reports as opened are read again at once. The work runs on a thread of its own with its own connection to
// the index, so neither the event stream nor the interface waits for the disk; requests that pile up
// meanwhile are merged.
class MetadataIndexFeeder : public QObject, public FileSystemEventProtocol {
    Q_OBJECT

public:
    explicit MetadataIndexFeeder(const QString &databasePath = MetadataCrawler::defaultDatabasePath(),
                                 QObject *parent = nullptr);
    // Waits for the round of work in progress; what is still queued is left to the next catch-up.
    ~MetadataIndexFeeder() override;

    // Both before start().
    void setAttributeReader(MetadataCrawler::AttributeReader reader)
    {
        m_attributeReader = std::move(reader);
    }
    void setContentIndexing(bool on) { m_contentIndexing = on; }

    // Opens the index and follows the desktop's record of opened documents. False when the index cannot be
    // opened (errorText()).
    bool start();
    QString errorText() const { return m_errorText; }

    // From the stream's thread: one changed folder, a tree to crawl again, or a newly mounted volume.
    void fileSystemEvent(const FileSystemEvent &event, FileSystemEventStream &stream) override;
    // Items Vantry has just written to (tags, rating, filing): read again now.
    void reindexItems(const QStringList &paths);
    // Brings whole trees up to date, for the changes made while nobody watched.
    void catchUp(const QStringList &roots = MetadataCrawler::defaultRoots());

Q_SIGNALS:
    // A round of work has been committed to the index. Emitted on the feeder's thread.
    void indexUpdated();

private:
    struct Work {
        QStringList trees;
        QStringList folders;
        QStringList items;
        bool isEmpty() const { return trees.isEmpty() && folders.isEmpty() && items.isEmpty(); }
    };

    void enqueue(QStringList Work::*list, const QStringList &paths);
    void work();
    bool open();

    const QString m_databasePath;
    MetadataCrawler::AttributeReader m_attributeReader;
    bool m_contentIndexing = false;
    QString m_errorText;

    QMutex m_queueLock;
    Work m_queue;
    bool m_scheduled = false;

    // Used on the feeder's thread only.
    std::unique_ptr<MetadataIndex> m_index;
    std::unique_ptr<MetadataCrawler> m_crawler;

    std::unique_ptr<RecentlyUsedFeed> m_openedFiles;
    QThread m_thread;
    QObject m_context; // lives on m_thread: where the work is queued
};
