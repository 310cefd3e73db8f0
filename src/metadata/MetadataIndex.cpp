#include "MetadataIndex.h"

#include "IndexSchema.h"
#include "QueryCompiler.h"
#include "QueryEvaluator.h"
#include "ReferenceTime.h"
#include "StringPattern.h"

#include <QFileInfo>

namespace {

bool isAscii(QStringView text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
}

// Most names and contents are ASCII, where folding is lowercasing; StringPattern's general path costs the
// crawl more than SQLite does.
QString foldedText(const QString &text)
{
    return isAscii(text) ? text.toLower() : QString::fromStdU32String(StringPattern::fold(text, true, true));
}

// StringPattern::words() of ASCII text, each word folded and followed by a space.
void appendAsciiWords(QStringView text, QString &out)
{
    const auto isLower = [](char16_t c) { return c >= u'a' && c <= u'z'; };
    const auto isUpper = [](char16_t c) { return c >= u'A' && c <= u'Z'; };
    char16_t previous = 0;
    bool inWord = false;
    for (const QChar character : text) {
        const char16_t c = character.unicode();
        const bool wordCharacter = isLower(c) || isUpper(c) || (c >= u'0' && c <= u'9');
        if (inWord && (!wordCharacter || (isLower(previous) && isUpper(c)))) {
            out += QLatin1Char(' ');
            inWord = false;
        }
        if (wordCharacter) {
            out += QChar(isUpper(c) ? char16_t(c + (u'a' - u'A')) : c);
            inWord = true;
        }
        previous = c;
    }
    if (inWord)
        out += QLatin1Char(' ');
}

// The words of the texts, folded, separated by spaces.
QString foldedWords(const QStringList &texts)
{
    QString words;
    for (const QString &text : texts) {
        if (isAscii(text)) {
            appendAsciiWords(text, words);
            continue;
        }
        // Folding never joins characters across the spaces, so the joined words fold in one go.
        words += foldedText(StringPattern::words(text).join(QLatin1Char(' ')));
        if (!words.isEmpty() && !words.endsWith(QLatin1Char(' ')))
            words += QLatin1Char(' ');
    }
    words.chop(1);
    return words;
}

QVariant columnValue(const QVariant &value, IndexSchema::ColumnType type)
{
    if (!value.isValid())
        return {};
    switch (type) {
    case IndexSchema::ColumnType::Text: {
        QString text = value.toString();
        text.truncate(IndexSchema::kMaxTextContent);
        return text;
    }
    case IndexSchema::ColumnType::Date:
        if (value.typeId() == QMetaType::QDateTime)
            return ReferenceTime::fromDateTime(value.toDateTime());
        return value.toDouble();
    case IndexSchema::ColumnType::Number:
        if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float)
            return value.toDouble();
        return value.toLongLong();
    }
    return {};
}

// The position of the text content among the attribute columns.
qsizetype contentColumn()
{
    static const qsizetype position = [] {
        const auto &columns = IndexSchema::attributeColumns();
        return std::find_if(columns.begin(), columns.end(),
                            [](const auto &column) {
                                return QLatin1String(column.attribute) == kTextContentAttribute;
                            }) -
               columns.begin();
    }();
    return position;
}

// The statement writing a row of `files`: the bookkeeping columns, then the attribute columns, in putFile's
// order of values; the update takes the id last.
QString buildWriteSql(bool update)
{
    QStringList columns{QStringLiteral("parent"),  QStringLiteral("device"),    QStringLiteral("inode"),
                        QStringLiteral("is_file"), QStringLiteral("is_folder"), QStringLiteral("is_package"),
                        QStringLiteral("mime")};
    for (const IndexSchema::AttributeColumn &column : IndexSchema::attributeColumns())
        columns.append(QLatin1String(column.column));
    QStringList placeholders, assignments;
    for (int i = 0; i < columns.size(); ++i) {
        placeholders.append(QStringLiteral("?%1").arg(i + 1));
        assignments.append(QStringLiteral("%1 = ?%2").arg(columns.at(i)).arg(i + 1));
    }
    if (update) {
        return QStringLiteral("UPDATE files SET %1 WHERE id = ?%2")
            .arg(assignments.join(QLatin1String(", ")))
            .arg(columns.size() + 1);
    }
    return QStringLiteral("INSERT INTO files (%1) VALUES (%2)")
        .arg(columns.join(QLatin1String(", ")), placeholders.join(QLatin1String(", ")));
}

const QString &writeSql(bool update)
{
    static const QString insert = buildWriteSql(false), updateSql = buildWriteSql(true);
    return update ? updateSql : insert;
}

} // namespace

bool MetadataIndex::open(const QString &path)
{
    return m_database.open(path) && IndexSchema::create(m_database) &&
           QueryCompiler::registerFunctions(m_database);
}

std::optional<qint64> MetadataIndex::putFile(const IndexedFile &file)
{
    const QVariantMap &attributes = file.attributes;
    const QString path = attributes.value(QStringLiteral("kMDItemPath")).toString();
    if (path.isEmpty())
        return std::nullopt;
    // Inside the caller's transaction no savepoint of our own: opening one makes the full-text tables flush
    // their pending rows to disk, file by file. The caller rolls back when a write fails.
    std::optional<SqliteTransaction> transaction;
    if (!m_database.inTransaction()) {
        transaction.emplace(m_database);
        if (!transaction->isActive())
            return std::nullopt;
    }

    QVariantList values{QFileInfo(path).path(),
                        file.device,
                        file.inode,
                        file.isFile,
                        file.isFolder,
                        file.isPackage,
                        file.mime.isNull() ? QVariant() : file.mime};
    for (const IndexSchema::AttributeColumn &column : IndexSchema::attributeColumns())
        values.append(columnValue(attributes.value(QLatin1String(column.attribute)), column.type));

    SqliteStatement *find = statement(QStringLiteral("SELECT id FROM files WHERE path = ?"));
    if (!find || !find->bind(1, path))
        return std::nullopt;
    const std::optional<qint64> known = find->step() ? std::optional(find->columnInt64(0)) : std::nullopt;
    if (!find->reset())
        return std::nullopt;
    qint64 id = 0;
    if (known) {
        id = *known;
        values.append(id);
        SqliteStatement *update = statement(writeSql(true));
        if (!update || !update->bindAll(values) || !update->execute() || !removeRows(id, false))
            return std::nullopt;
    } else {
        SqliteStatement *insert = statement(writeSql(false));
        if (!insert || !insert->bindAll(values) || !insert->execute())
            return std::nullopt;
        id = m_database.lastInsertRowId();
    }

    SqliteStatement *insertValue =
        statement(QStringLiteral("INSERT INTO file_values (file_id, attribute, value) VALUES (?, ?, ?)"));
    if (!insertValue)
        return std::nullopt;
    // The words of everything `*` covers beyond the names, which have their own column.
    const QStringList nameOrContent{QStringLiteral("kMDItemFSName"), QStringLiteral("kMDItemDisplayName"),
                                    kTextContentAttribute};
    QStringList otherStrings;
    for (auto it = attributes.begin(); it != attributes.end(); ++it) {
        const IndexSchema::AttributeColumn *column = IndexSchema::columnFor(it.key());
        const QVariantList elements = QueryEvaluator::elements(it.value());
        for (const QVariant &element : elements) {
            if (element.typeId() == QMetaType::QString && !nameOrContent.contains(it.key()) &&
                (!column || column->type == IndexSchema::ColumnType::Text))
                otherStrings.append(element.toString());
            if (column)
                continue;
            if (!insertValue->bindAll({id, it.key(), element}) || !insertValue->execute() ||
                !insertValue->reset())
                return std::nullopt;
        }
    }
    const QString name = attributes.value(QStringLiteral("kMDItemFSName")).toString();
    QString displayName = attributes.value(QStringLiteral("kMDItemDisplayName")).toString();
    // Most display names are the name itself; the query compiler searches the name's trigrams for them.
    if (displayName == name)
        displayName.clear();
    const QString content = values.at(7 + contentColumn()).toString();

    SqliteStatement *trigrams =
        statement(QStringLiteral("INSERT INTO name_trigrams (rowid, name, display_name) VALUES (?, ?, ?)"));
    if (!trigrams || !trigrams->bindAll({id, foldedText(name), foldedText(displayName)}) ||
        !trigrams->execute())
        return std::nullopt;
    SqliteStatement *words = statement(
        QStringLiteral("INSERT INTO file_words (rowid, names, content, other) VALUES (?, ?, ?, ?)"));
    if (!words ||
        !words->bindAll(
            {id, foldedWords({name, displayName}), foldedWords({content}), foldedWords(otherStrings)}) ||
        !words->execute())
        return std::nullopt;
    if (transaction && !transaction->commit())
        return std::nullopt;
    return id;
}

bool MetadataIndex::removeFile(const QString &path)
{
    SqliteStatement find = m_database.prepare(QStringLiteral("SELECT id FROM files WHERE path = ?"));
    if (!find.isValid() || !find.bind(1, path))
        return false;
    if (!find.step())
        return errorText().isEmpty();
    const qint64 id = find.columnInt64(0);
    find = {};
    SqliteTransaction transaction(m_database);
    return transaction.isActive() && removeRows(id, true) && transaction.commit();
}

bool MetadataIndex::removeRows(qint64 id, bool withFile)
{
    QStringList statements{QStringLiteral("DELETE FROM file_values WHERE file_id = ?"),
                           QStringLiteral("DELETE FROM name_trigrams WHERE rowid = ?"),
                           QStringLiteral("DELETE FROM file_words WHERE rowid = ?")};
    if (withFile)
        statements.append(QStringLiteral("DELETE FROM files WHERE id = ?"));
    for (const QString &sql : statements) {
        SqliteStatement *remove = statement(sql);
        if (!remove || !remove->bind(1, id) || !remove->execute())
            return false;
    }
    return true;
}

SqliteStatement *MetadataIndex::statement(const QString &sql)
{
    auto found = m_statements.find(sql);
    if (found == m_statements.end()) {
        SqliteStatement prepared = m_database.prepare(sql);
        if (!prepared.isValid())
            return nullptr;
        found = m_statements.emplace(sql, std::move(prepared)).first;
    } else if (!found->second.reset()) {
        return nullptr;
    }
    return &found->second;
}

std::optional<QStringList> MetadataIndex::search(const QueryNode &query, const QString &folder,
                                                 int maxResults, const QDateTime &now)
{
    const CompiledQuery compiled = QueryCompiler::compile(query, folder, maxResults, now);
    SqliteStatement statement = m_database.prepare(compiled.sql);
    if (!statement.isValid() || !statement.bindAll(compiled.bindings))
        return std::nullopt;
    QStringList paths;
    while (statement.step())
        paths.append(statement.columnText(1));
    if (!errorText().isEmpty())
        return std::nullopt;
    return paths;
}

QStringList MetadataIndex::pathsForInode(qint64 inode)
{
    SqliteStatement find = m_database.prepare(QStringLiteral("SELECT path FROM files WHERE inode = ?"));
    QStringList paths;
    if (!find.isValid() || !find.bind(1, inode))
        return paths;
    while (find.step())
        paths.append(find.columnText(0));
    return paths;
}
