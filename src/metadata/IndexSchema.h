#pragma once

#include <QString>

class SqliteDatabase;

// The tables of the metadata index.
//
// files: one row per indexed file; dates are REAL seconds since 2001-01-01 00:00:00 UTC (the query language's
//   number for a date), booleans INTEGER 0/1, NULL where the file has no such attribute.
// file_values(file_id, attribute, value): every attribute without its own column, one row per element for
//   multi-valued ones (tags, the content type tree); value is TEXT, or REAL for numbers and dates.
// name_trigrams(name, display_name): the names folded (case and diacritics), trigram-tokenized, rowid = id;
//   display_name empty when it is the name.
// file_words(names, content, other): the words of the names, of the text content and of every other string
//   attribute, split as the `w` option splits them and folded, rowid = id.
namespace IndexSchema {

enum class ColumnType { Text, Number, Date };

struct AttributeColumn {
    const char *attribute;
    const char *column;
    ColumnType type;
};

// Attributes stored in their own column of `files`; everything else lives in file_values.
const AttributeColumn *columnFor(const QString &attribute);
const QList<AttributeColumn> &attributeColumns();

// Longest text content kept per file, in UTF-16 units.
inline constexpr int kMaxTextContent = 256 * 1024;

QString creationSql();
// Creates the tables if they are missing.
bool create(SqliteDatabase &database);

} // namespace IndexSchema
