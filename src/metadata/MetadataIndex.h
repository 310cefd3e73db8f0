#pragma once

#include "SqliteDatabase.h"

#include <QDateTime>
#include <QStringList>
#include <QVariantMap>

#include <map>
#include <optional>

struct QueryNode;

// What the crawler knows of one file: its metadata attributes under their query names (kMDItemPath is
// required; lists for multi-valued attributes, QDateTime for dates) and the bookkeeping no query asks about.
struct IndexedFile {
    QVariantMap attributes;
    qint64 device = 0;
    qint64 inode = 0;
    bool isFile = false;
    bool isFolder = false;
    bool isPackage = false;
    QString mime;
};

// The metadata index database: its tables (IndexSchema), writing files into them, and running queries.
class MetadataIndex {
public:
    // path may be ":memory:". Creates the tables when missing.
    bool open(const QString &path);

    // Inserts the file or replaces its row (same id), its values and its full-text rows. Returns the id;
    // nullopt when kMDItemPath is missing or the database fails (errorText()).
    std::optional<qint64> putFile(const IndexedFile &file);
    bool removeFile(const QString &path);

    // Paths of the files matching the query below folder (empty: everywhere), at most maxResults (<= 0: all).
    std::optional<QStringList> search(const QueryNode &query, const QString &folder, int maxResults,
                                      const QDateTime &now);

    SqliteDatabase &database() { return m_database; }
    QString errorText() const { return m_database.errorText(); }

    // The indexed paths of the files numbered `inode` on any device, as the last crawl saw them; empty when
    // there are none or the database fails (errorText()).
    QStringList pathsForInode(qint64 inode);

private:
    bool removeRows(qint64 id, bool withFile);
    // Writing a file runs the same few statements every time; preparing them once saves most of a crawl's
    // time in SQLite. The statement comes back reset.
    SqliteStatement *statement(const QString &sql);

    SqliteDatabase m_database;
    std::map<QString, SqliteStatement> m_statements; // ended before the database
};
