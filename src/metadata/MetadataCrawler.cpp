#include "MetadataCrawler.h"

#include "AppPaths.h"
#include "IndexSchema.h"
#include "MetadataIndex.h"
#include "Packages.h"
#include "PdfDocument.h"
#include "QuitFlag.h"
#include "RecentlyUsedFeed.h"
#include "ReferenceTime.h"
#include "TypeRegistry.h"
#include "UserVolumes.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

QDateTime fromMSecs(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

qint64 msecsOf(const struct statx_timestamp &time)
{
    return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

QString childPath(const QString &folder, const QString &name)
{
    return folder.endsWith(QLatin1Char('/')) ? folder + name : folder + QLatin1Char('/') + name;
}

bool processIsRunning(qint64 pid)
{
    return pid > 0 && (kill(pid_t(pid), 0) == 0 || errno == EPERM);
}

} // namespace

QString MetadataCrawler::defaultDatabasePath()
{
    return AppPaths::cacheFolder() + QStringLiteral("/index.sqlite");
}

QStringList MetadataCrawler::defaultRoots()
{
    return UserVolumes::roots();
}

MetadataCrawler::MetadataCrawler(MetadataIndex &index) : m_index(index) {}

bool MetadataCrawler::readStatus(int folderFd, const QByteArray &name, int flags, ItemStatus &status)
{
    struct statx buffer {};
    if (statx(folderFd, name.constData(), flags | AT_NO_AUTOMOUNT, STATX_BASIC_STATS | STATX_BTIME,
              &buffer) != 0)
        return false;
    if (!S_ISREG(buffer.stx_mode) && !S_ISDIR(buffer.stx_mode))
        return false;
    status.device = qint64(makedev(buffer.stx_dev_major, buffer.stx_dev_minor));
    status.inode = qint64(buffer.stx_ino);
    status.isFolder = S_ISDIR(buffer.stx_mode);
    status.size = qint64(buffer.stx_size);
    status.modified = msecsOf(buffer.stx_mtime);
    status.changed = msecsOf(buffer.stx_ctime);
    status.created = (buffer.stx_mask & STATX_BTIME) ? msecsOf(buffer.stx_btime) : -1;
    return true;
}

bool MetadataCrawler::rebuild(const QStringList &roots)
{
    if (!begin(true))
        return false;
    SqliteDatabase &database = m_index.database();
    // The secondary indexes are dropped and built again at the end, by one sort each instead of a random
    // insertion per row. Nothing is synced to disk meanwhile: a crash loses only this index, which is
    // rebuilt from the files anyway.
    QStringList indexes;
    SqliteStatement listIndexes = database.prepare(
        QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL AND "
                       "tbl_name IN ('files', 'file_values')"));
    while (listIndexes.isValid() && listIndexes.step())
        indexes.append(listIndexes.columnText(0));
    listIndexes = {};
    SqliteTransaction transaction(database);
    bool ok = transaction.isActive() &&
              database.exec(QStringLiteral("DELETE FROM file_values; DELETE FROM name_trigrams; "
                                           "DELETE FROM file_words; DELETE FROM files;"));
    for (const QString &index : std::as_const(indexes))
        ok = ok && database.exec(QStringLiteral("DROP INDEX \"%1\"").arg(index));
    ok = ok && transaction.commit() && database.exec(QStringLiteral("PRAGMA synchronous = OFF"));
    ok = ok && crawlRoots(roots, Scope::EmptyIndex);
    const bool restored =
        database.exec(QStringLiteral("PRAGMA synchronous = NORMAL")) && IndexSchema::create(database);
    if (ok && !restored)
        fail();
    return finish(ok && restored, true);
}

bool MetadataCrawler::update(const QStringList &roots)
{
    return begin(true) && finish(crawlRoots(roots, Scope::WholeTree), true);
}

bool MetadataCrawler::updateFolder(const QString &folder)
{
    if (Packages::isInsidePackage(folder))
        return true;
    if (!begin(false))
        return false;
    ItemStatus status;
    if (!readStatus(AT_FDCWD, QFile::encodeName(folder), AT_SYMLINK_NOFOLLOW, status) || !status.isFolder)
        return finish(removeSubtree(folder), false);
    return finish(putItem(folder, status) && crawl({folder}, Scope::NewFolders), false);
}

bool MetadataCrawler::updateItem(const QString &path)
{
    if (Packages::isInsidePackage(path))
        return true;
    if (!begin(false))
        return false;
    ItemStatus status;
    if (!readStatus(AT_FDCWD, QFile::encodeName(path), AT_SYMLINK_NOFOLLOW, status))
        return finish(removeSubtree(path), false);
    return finish(putItem(path, status), false);
}

MetadataCrawler::Status MetadataCrawler::status()
{
    Status status;
    SqliteDatabase &database = m_index.database();
    if (!prepareStatusTable())
        return status;
    SqliteStatement count = database.prepare(QStringLiteral("SELECT count(*) FROM files"));
    if (count.isValid() && count.step())
        status.filesIndexed = count.columnInt64(0);
    SqliteStatement size = database.prepare(
        QStringLiteral("SELECT page_count * page_size FROM pragma_page_count(), pragma_page_size()"));
    if (size.isValid() && size.step())
        status.databaseSize = size.columnInt64(0);
    SqliteStatement values = database.prepare(QStringLiteral("SELECT key, value FROM crawl_status"));
    QVariantMap figures;
    while (values.isValid() && values.step())
        figures.insert(values.columnText(0), values.column(1));
    if (figures.value(QStringLiteral("last_update")).isValid())
        status.lastUpdate =
            ReferenceTime::toDateTime(figures.value(QStringLiteral("last_update")).toDouble());
    // A crawl whose process is gone ended without saying so.
    status.crawlInProgress = processIsRunning(figures.value(QStringLiteral("crawl_pid")).toLongLong());
    if (status.crawlInProgress) {
        status.crawlFilesDone = figures.value(QStringLiteral("crawl_files")).toLongLong();
        status.crawlFolder = figures.value(QStringLiteral("crawl_folder")).toString();
    }
    return status;
}

bool MetadataCrawler::crawlRoots(const QStringList &roots, Scope scope)
{
    for (const QString &root : roots) {
        const QString path = QDir::cleanPath(root);
        ItemStatus status;
        if (!readStatus(AT_FDCWD, QFile::encodeName(path), 0, status) || !status.isFolder) {
            if (!removeSubtree(path))
                return false;
            continue;
        }
        if (!putItem(path, status) || !crawl({path}, scope))
            return false;
    }
    return true;
}

bool MetadataCrawler::crawl(const QStringList &folders, Scope scope)
{
    // Files are committed in batches: a transaction per file would spend the crawl waiting for the journal.
    std::optional<SqliteTransaction> batch(std::in_place, m_index.database());
    qint64 batchStart = m_filesDone;
    QStringList toVisit = folders;
    while (!toVisit.isEmpty()) {
        // What was written stays: the next update goes on from there.
        if (QuitFlag::isRaised()) {
            batch->commit();
            m_errorText = QStringLiteral("the crawl was interrupted: the program is quitting");
            return false;
        }
        const QString folder = toVisit.takeLast();
        if (m_progress)
            m_progress(m_filesDone, folder);
        if (!syncFolder(folder, scope, toVisit))
            return false;
        if (m_filesDone - batchStart >= kBatchSize) {
            if (!batch->commit())
                return fail();
            // Between batches: written inside one, its savepoint would flush the full-text tables early.
            if (m_crawling && !writeStatus({{QStringLiteral("crawl_files"), m_filesDone},
                                            {QStringLiteral("crawl_folder"), folder}}))
                return false;
            batch.emplace(m_index.database());
            batchStart = m_filesDone;
        }
    }
    return batch->commit() || fail();
}

bool MetadataCrawler::syncFolder(const QString &folder, Scope scope, QStringList &foldersToVisit)
{
    // A folder that cannot be read keeps what the index knows of it; one that vanished meanwhile is removed
    // by the update of its parent.
    const int fd = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return true;
    std::unique_ptr<DIR, int (*)(DIR *)> directory(fdopendir(fd), closedir);
    if (!directory) {
        close(fd);
        return true;
    }
    QHash<QString, ItemStatus> entries;
    while (const dirent *entry = readdir(directory.get())) {
        if (entry->d_name[0] == '.')
            continue;
        ItemStatus status;
        if (readStatus(fd, QByteArray(entry->d_name), AT_SYMLINK_NOFOLLOW, status))
            entries.insert(QFile::decodeName(entry->d_name), status);
    }
    directory.reset();

    // Known entries that are unchanged: same item (inode) with the same status-change time, which moves on
    // every write, rename and attribute change.
    QSet<QString> unchanged;
    QStringList vanished;
    SqliteStatement known;
    if (scope != Scope::EmptyIndex) {
        known = m_index.database().prepare(
            QStringLiteral("SELECT name, inode, is_folder, changed FROM files WHERE parent = ?"));
        if (!known.isValid() || !known.bind(1, folder))
            return fail();
    }
    while (known.isValid() && known.step()) {
        const QString name = known.columnText(0);
        const auto entry = entries.constFind(name);
        if (entry == entries.cend() || entry->inode != known.columnInt64(1) ||
            entry->isFolder != (known.columnInt64(2) != 0)) {
            vanished.append(name);
            continue;
        }
        if (known.columnDouble(3) == ReferenceTime::fromDateTime(fromMSecs(entry->changed)))
            unchanged.insert(name);
    }
    if (!m_index.errorText().isEmpty())
        return fail();
    known = {};
    for (const QString &name : std::as_const(vanished)) {
        if (!removeSubtree(childPath(folder, name)))
            return false;
    }
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
        const QString path = childPath(folder, entry.key());
        const bool isKnown = unchanged.contains(entry.key());
        if (!isKnown && !putItem(path, entry.value()))
            return false;
        const bool isNew = !isKnown && !vanished.contains(entry.key());
        if (entry->isFolder && !Packages::isPackage(path) && (scope != Scope::NewFolders || isNew))
            foldersToVisit.append(path);
    }
    return true;
}

bool MetadataCrawler::putItem(const QString &path, const ItemStatus &status)
{
    IndexedFile file;
    const QString name = QFileInfo(path).fileName();
    file.device = status.device;
    file.inode = status.inode;
    file.isFolder = status.isFolder;
    file.isFile = !status.isFolder;
    file.isPackage = status.isFolder && Packages::isPackage(path);
    const QString uti = utiFor(path, status.isFolder);
    const TypeFacts &type = typeFacts(uti);
    file.mime = type.mime;

    QVariantMap &attributes = file.attributes;
    attributes.insert(QStringLiteral("kMDItemPath"), path);
    attributes.insert(QStringLiteral("kMDItemFSName"), name.isEmpty() ? path : name);
    attributes.insert(QStringLiteral("kMDItemDisplayName"), name.isEmpty() ? path : name);
    if (file.isFile)
        attributes.insert(QStringLiteral("kMDItemFSSize"), status.size);
    attributes.insert(QStringLiteral("kMDItemContentModificationDate"), fromMSecs(status.modified));
    attributes.insert(QStringLiteral("kMDItemFSContentChangeDate"), fromMSecs(status.changed));
    if (status.created >= 0)
        attributes.insert(QStringLiteral("kMDItemFSCreationDate"), fromMSecs(status.created));
    if (const auto used = m_lastUsed.constFind(path); used != m_lastUsed.cend())
        attributes.insert(QStringLiteral("kMDItemLastUsedDate"), *used);
    attributes.insert(QStringLiteral("kMDItemContentType"), uti);
    attributes.insert(QStringLiteral("kMDItemContentTypeTree"), type.tree);
    attributes.insert(QStringLiteral("kMDItemKind"), type.kind);
    if (m_contentIndexing && type.isText && status.size > 0) {
        if (const QString text = textContent(path); !text.isEmpty())
            attributes.insert(QStringLiteral("kMDItemTextContent"), text);
    }
    if (m_contentIndexing && type.isPdf && status.size > 0) {
        const PdfDocument pdf(path);
        if (const int pages = pdf.pageCount(); pages > 0)
            attributes.insert(QStringLiteral("kMDItemNumberOfPages"), pages);
        if (const QString text = pdf.text(kTextContentBytes); !text.isEmpty())
            attributes.insert(QStringLiteral("kMDItemTextContent"), text);
    }
    if (m_attributeReader)
        m_attributeReader(path, attributes);

    if (!m_index.putFile(file))
        return fail();
    ++m_filesDone;
    return true;
}

bool MetadataCrawler::removeSubtree(const QString &path)
{
    if (!m_index.removeFile(path))
        return fail();
    // Paths below `path` sort between "path/" and "path0" ("0" follows "/").
    SqliteStatement below =
        m_index.database().prepare(QStringLiteral("SELECT path FROM files WHERE path > ? AND path < ?"));
    if (!below.isValid() || !below.bindAll({path + QLatin1Char('/'), path + QLatin1Char('0')}))
        return fail();
    QStringList paths;
    while (below.step())
        paths.append(below.columnText(0));
    if (!m_index.errorText().isEmpty())
        return fail();
    below = {};
    for (const QString &child : std::as_const(paths)) {
        if (!m_index.removeFile(child))
            return fail();
    }
    return true;
}

const MetadataCrawler::TypeFacts &MetadataCrawler::typeFacts(const QString &uti)
{
    auto found = m_types.find(uti);
    if (found != m_types.end())
        return *found;
    TypeFacts facts;
    facts.tree = TypeRegistry::conformanceTree(uti);
    facts.mime = TypeRegistry::preferredMimeType(uti);
    if (facts.mime.isEmpty() && TypeRegistry::conformsTo(uti, QStringLiteral("public.directory")))
        facts.mime = QStringLiteral("inode/directory");
    else if (facts.mime.isEmpty())
        facts.mime = TypeRegistry::mimeTypeForExtension(TypeRegistry::preferredExtension(uti));
    facts.kind = TypeRegistry::description(uti);
    facts.isText = TypeRegistry::conformsTo(uti, QStringLiteral("public.text"));
    facts.isPdf = facts.tree.contains(QStringLiteral("com.adobe.pdf"));
    return *m_types.insert(uti, facts);
}

QString MetadataCrawler::utiFor(const QString &path, bool isFolder)
{
    if (isFolder)
        return Packages::isPackage(path) ? TypeRegistry::utiForFile(path) : QStringLiteral("public.folder");
    const QString name = QFileInfo(path).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == name.size() - 1) {
        // Nothing in the name to go by: look inside only when files are opened anyway.
        return m_contentIndexing ? TypeRegistry::utiForFile(path) : QStringLiteral("public.data");
    }
    const QString extension = name.mid(dot + 1).toLower();
    auto found = m_utiByExtension.find(extension);
    if (found == m_utiByExtension.end())
        found = m_utiByExtension.insert(extension, TypeRegistry::preferredUtiForExtension(extension));
    return *found;
}

QString MetadataCrawler::textContent(const QString &path) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.read(kTextContentBytes);
    if (bytes.contains('\0'))
        return {};
    // A stateful decoder keeps back a character cut at the end instead of writing a replacement for it.
    QStringDecoder decoder(QStringDecoder::Utf8);
    return decoder.decode(bytes);
}

bool MetadataCrawler::prepareStatusTable()
{
    return m_index.database().exec(
        QStringLiteral("CREATE TABLE IF NOT EXISTS crawl_status (key TEXT PRIMARY KEY, value)"));
}

bool MetadataCrawler::begin(bool crawling)
{
    m_errorText.clear();
    m_filesDone = 0;
    m_crawling = crawling;
    // Readers go on while the crawler writes, and a commit need not wait for the disk: the index can
    // always be built again.
    if (!m_index.database().exec(QStringLiteral("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; "
                                                "PRAGMA temp_store = MEMORY; PRAGMA cache_size = -65536")) ||
        !prepareStatusTable())
        return fail();
    const QString feed = RecentlyUsedFeed::defaultFile();
    const QDateTime feedStamp = QFileInfo(feed).lastModified();
    if (crawling || feedStamp != m_lastUsedStamp) {
        m_lastUsed.clear();
        for (const auto &[path, date] : RecentlyUsedFeed::readEntries(feed))
            m_lastUsed.insert(path, date);
        m_lastUsedStamp = feedStamp;
    }
    if (!crawling)
        return true;
    return writeStatus({{QStringLiteral("crawl_pid"), qint64(getpid())},
                        {QStringLiteral("crawl_files"), 0},
                        {QStringLiteral("crawl_folder"), QString()}});
}

bool MetadataCrawler::finish(bool ok, bool crawling)
{
    QVariantMap values;
    if (ok)
        values.insert(QStringLiteral("last_update"), ReferenceTime::now());
    if (crawling)
        values.insert(QStringLiteral("crawl_pid"), QVariant());
    m_crawling = false;
    const QString error = m_errorText;
    const bool written = values.isEmpty() || writeStatus(values);
    if (!ok)
        m_errorText = error;
    return ok && written;
}

bool MetadataCrawler::writeStatus(const QVariantMap &values)
{
    SqliteDatabase &database = m_index.database();
    SqliteTransaction transaction(database);
    SqliteStatement write =
        database.prepare(QStringLiteral("INSERT INTO crawl_status (key, value) VALUES (?, ?) ON "
                                        "CONFLICT(key) DO UPDATE SET value = excluded.value"));
    if (!transaction.isActive() || !write.isValid())
        return fail();
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (!write.bindAll({it.key(), it.value()}) || !write.execute() || !write.reset())
            return fail();
    }
    write = {};
    return transaction.commit() || fail();
}

bool MetadataCrawler::fail()
{
    m_errorText = m_index.errorText();
    return false;
}
