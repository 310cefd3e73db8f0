#include "MetadataIndex.h"

#include "IndexSchema.h"
#include "QueryCompiler.h"
#include "QueryEvaluator.h"
#include "ReferenceTime.h"
#include "StringPattern.h"

#include <QFileInfo>

namespace {

QString foldedText(const QString &text)
{
    return QString::fromStdU32String(StringPattern::fold(text, true, true));
}

QString foldedWords(const QStringList &texts)
{
    QStringList words;
    for (const QString &text : texts) {
        for (const QString &word : StringPattern::words(text))
            words.append(foldedText(word));
    }
    return words.join(QLatin1Char(' '));
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
    SqliteTransaction transaction(m_database);
    if (!transaction.isActive())
        return std::nullopt;

    QStringList columns{QStringLiteral("parent"),  QStringLiteral("device"),    QStringLiteral("inode"),
                        QStringLiteral("is_file"), QStringLiteral("is_folder"), QStringLiteral("is_package"),
                        QStringLiteral("mime")};
    QVariantList values{QFileInfo(path).path(),
                        file.device,
                        file.inode,
                        file.isFile,
                        file.isFolder,
                        file.isPackage,
                        file.mime.isNull() ? QVariant() : file.mime};
    for (const IndexSchema::AttributeColumn &column : IndexSchema::attributeColumns()) {
        columns.append(QLatin1String(column.column));
        values.append(columnValue(attributes.value(QLatin1String(column.attribute)), column.type));
    }
    QStringList placeholders, updates;
    for (const QString &column : columns) {
        placeholders.append(QStringLiteral("?"));
        updates.append(QStringLiteral("%1 = excluded.%1").arg(column));
    }
    SqliteStatement *upsert = statement(
        QStringLiteral("INSERT INTO files (%1) VALUES (%2) ON CONFLICT(path) DO UPDATE SET %3 RETURNING id")
            .arg(columns.join(QLatin1String(", ")), placeholders.join(QLatin1String(", ")),
                 updates.join(QLatin1String(", "))));
    if (!upsert || !upsert->bindAll(values) || !upsert->step())
        return std::nullopt;
    const qint64 id = upsert->columnInt64(0);
    // Finished, so that the transaction can end while the statement stays prepared.
    if (!upsert->reset() || !removeRows(id, false))
        return std::nullopt;

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
    const QString displayName = attributes.value(QStringLiteral("kMDItemDisplayName")).toString();
    const QString content = values.at(columns.indexOf(QStringLiteral("content"))).toString();

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
    if (!transaction.commit())
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
