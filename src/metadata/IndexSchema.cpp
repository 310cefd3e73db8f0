#include "IndexSchema.h"

#include "SqliteDatabase.h"

#include <QHash>
#include <QList>

namespace IndexSchema {

const QList<AttributeColumn> &attributeColumns()
{
    static const QList<AttributeColumn> columns = {
        {"kMDItemPath", "path", ColumnType::Text},
        {"kMDItemFSName", "name", ColumnType::Text},
        {"kMDItemDisplayName", "display_name", ColumnType::Text},
        {"kMDItemFSSize", "size", ColumnType::Number},
        {"kMDItemContentModificationDate", "modified", ColumnType::Date},
        {"kMDItemFSContentChangeDate", "changed", ColumnType::Date},
        {"kMDItemFSCreationDate", "created", ColumnType::Date},
        {"kMDItemLastUsedDate", "last_used", ColumnType::Date},
        {"kMDItemContentType", "uti", ColumnType::Text},
        {"kMDItemKind", "kind", ColumnType::Text},
        {"kMDItemStarRating", "rating", ColumnType::Number},
        {"kMDItemQDManaged", "managed", ColumnType::Number},
        {"kMDItemQDUserTagTime", "tag_time", ColumnType::Date},
        {"kMDItemQDRatingTime", "rating_time", ColumnType::Date},
        {"kMDItemNumberOfPages", "page_count", ColumnType::Number},
        {"kMDItemTextContent", "content", ColumnType::Text},
    };
    return columns;
}

const AttributeColumn *columnFor(const QString &attribute)
{
    static const QHash<QString, const AttributeColumn *> byAttribute = [] {
        QHash<QString, const AttributeColumn *> columns;
        for (const AttributeColumn &column : attributeColumns())
            columns.insert(QLatin1String(column.attribute), &column);
        return columns;
    }();
    return byAttribute.value(attribute);
}

QString creationSql()
{
    return QStringLiteral(R"sql(
CREATE TABLE IF NOT EXISTS files (
    id INTEGER PRIMARY KEY,
    path TEXT NOT NULL UNIQUE,
    parent TEXT,
    name TEXT,
    display_name TEXT,
    device INTEGER,
    inode INTEGER,
    is_file INTEGER NOT NULL DEFAULT 0,
    is_folder INTEGER NOT NULL DEFAULT 0,
    is_package INTEGER NOT NULL DEFAULT 0,
    size INTEGER,
    modified REAL,
    changed REAL,
    created REAL,
    last_used REAL,
    uti TEXT,
    mime TEXT,
    kind TEXT,
    rating REAL,
    managed INTEGER,
    tag_time REAL,
    rating_time REAL,
    page_count INTEGER,
    content TEXT
);
CREATE INDEX IF NOT EXISTS files_parent ON files(parent);
-- Aliases look files up by inode alone, since device numbers of btrfs subvolumes change between boots;
-- the index on (device, inode) it replaces could not serve that.
DROP INDEX IF EXISTS files_inode;
CREATE INDEX IF NOT EXISTS files_by_inode ON files(inode);
CREATE INDEX IF NOT EXISTS files_last_used ON files(last_used);
CREATE TABLE IF NOT EXISTS file_values (
    file_id INTEGER NOT NULL REFERENCES files(id) ON DELETE CASCADE,
    attribute TEXT NOT NULL,
    value
);
CREATE INDEX IF NOT EXISTS file_values_file ON file_values(file_id, attribute);
CREATE INDEX IF NOT EXISTS file_values_attribute ON file_values(attribute, value);
CREATE VIRTUAL TABLE IF NOT EXISTS name_trigrams USING fts5(name, display_name, tokenize='trigram');
CREATE VIRTUAL TABLE IF NOT EXISTS file_words USING fts5(names, content, other,
    tokenize='unicode61 remove_diacritics 2');
)sql");
}

bool create(SqliteDatabase &database)
{
    return database.exec(QStringLiteral("PRAGMA foreign_keys = ON")) && database.exec(creationSql());
}

} // namespace IndexSchema
