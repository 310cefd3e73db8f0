#include "MetadataIndexFeeder.h"

#include "ExtendedAttributes.h"
#include "Log.h"
#include "MetadataIndex.h"
#include "RecentlyUsedFeed.h"

#include <QDir>
#include <QFileInfo>

namespace {

bool isBelow(const QString &path, const QStringList &trees)
{
    return std::any_of(trees.begin(), trees.end(), [&](const QString &tree) {
        return path == tree || path.startsWith(tree.endsWith(u'/') ? tree : tree + u'/');
    });
}

// The index keeps what the crawler would find: the user's trees, without dot-names.
bool isIndexable(const QString &path)
{
    return QDir::isAbsolutePath(path) && !path.contains(QLatin1String("/.")) &&
           isBelow(path, MetadataCrawler::defaultRoots());
}

} // namespace

MetadataIndexFeeder::MetadataIndexFeeder(const QString &databasePath, QObject *parent)
    : QObject(parent), m_databasePath(databasePath)
{
    m_thread.setObjectName(QStringLiteral("MetadataIndexFeeder"));
    m_context.moveToThread(&m_thread);
}

MetadataIndexFeeder::~MetadataIndexFeeder()
{
    if (m_openedFiles)
        ExtendedAttributes::setWriteObserver({});
    m_thread.quit();
    m_thread.wait();
}

bool MetadataIndexFeeder::start()
{
    m_thread.start(QThread::LowPriority);
    bool opened = false;
    QMetaObject::invokeMethod(
        &m_context, [this, &opened] { opened = open(); }, Qt::BlockingQueuedConnection);
    if (!opened)
        return false;
    m_openedFiles = std::make_unique<RecentlyUsedFeed>();
    connect(m_openedFiles.get(), &RecentlyUsedFeed::documentsUsed, this,
            [this](const QStringList &added, const QStringList &changed) { reindexItems(added + changed); });
    m_openedFiles->start();
    ExtendedAttributes::setWriteObserver([this](const QString &path) { reindexItems({path}); });
    return true;
}

bool MetadataIndexFeeder::open()
{
    m_index = std::make_unique<MetadataIndex>();
    QDir().mkpath(QFileInfo(m_databasePath).path());
    if (!m_index->open(m_databasePath)) {
        m_errorText = m_index->errorText();
        Log::line(
            QStringLiteral("The metadata index %1 cannot be opened: %2").arg(m_databasePath, m_errorText));
        m_index.reset();
        return false;
    }
    m_crawler = std::make_unique<MetadataCrawler>(*m_index);
    m_crawler->setAttributeReader(m_attributeReader);
    m_crawler->setContentIndexing(m_contentIndexing);
    return true;
}

void MetadataIndexFeeder::fileSystemEvent(const FileSystemEvent &event, FileSystemEventStream &)
{
    if (event.evFlag() & FileSystemEvent::HistoryDone)
        return;
    if (event.evFlag() & (FileSystemEvent::MustScanSubDirs | FileSystemEvent::Mount))
        enqueue(&Work::trees, {event.evPath()});
    else
        enqueue(&Work::folders, {event.evPath()});
}

void MetadataIndexFeeder::reindexItems(const QStringList &paths)
{
    QStringList indexable;
    std::copy_if(paths.begin(), paths.end(), std::back_inserter(indexable), isIndexable);
    enqueue(&Work::items, indexable);
}

void MetadataIndexFeeder::catchUp(const QStringList &roots)
{
    enqueue(&Work::trees, roots);
}

void MetadataIndexFeeder::enqueue(QStringList Work::*list, const QStringList &paths)
{
    QMutexLocker lock(&m_queueLock);
    for (const QString &path : paths) {
        if (!path.isEmpty() && !(m_queue.*list).contains(path))
            (m_queue.*list).append(path);
    }
    if (m_scheduled || m_queue.isEmpty())
        return;
    m_scheduled = true;
    QMetaObject::invokeMethod(
        &m_context, [this] { work(); }, Qt::QueuedConnection);
}

void MetadataIndexFeeder::work()
{
    Work work;
    {
        QMutexLocker lock(&m_queueLock);
        work = std::exchange(m_queue, {});
        m_scheduled = false;
    }
    if (!m_crawler || work.isEmpty())
        return;
    bool ok = work.trees.isEmpty() || m_crawler->update(work.trees);
    for (const QString &folder : std::as_const(work.folders)) {
        if (!isBelow(folder, work.trees))
            ok = m_crawler->updateFolder(folder) && ok;
    }
    for (const QString &item : std::as_const(work.items)) {
        if (!isBelow(item, work.trees))
            ok = m_crawler->updateItem(item) && ok;
    }
    if (!ok)
        Log::line(QStringLiteral("The metadata index could not be brought up to date: %1")
                      .arg(m_crawler->errorText()));
    Q_EMIT indexUpdated();
}
