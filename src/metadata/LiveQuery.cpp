#include "LiveQuery.h"

#include "MetadataIndex.h"
#include "QueryCompiler.h"

LiveQuery::LiveQuery(MetadataIndex &index, QueryNode query, const QString &folder, int maxResults)
    : m_index(index), m_query(std::move(query)), m_folder(folder), m_maxResults(maxResults)
{
}

std::optional<QStringList> LiveQuery::start()
{
    // Taken before the query runs, so that a commit made meanwhile is not missed.
    const std::optional<qint64> version = dataVersion();
    const auto matches = run();
    if (!version || !matches)
        return std::nullopt;
    m_dataVersion = *version;
    m_matches.clear();
    QStringList paths;
    for (const auto &[path, stamp] : *matches) {
        m_matches.insert(path, stamp);
        paths.append(path);
    }
    return paths;
}

std::optional<LiveQuery::Changes> LiveQuery::refresh()
{
    const std::optional<qint64> version = dataVersion();
    if (!version)
        return std::nullopt;
    if (*version == m_dataVersion)
        return Changes();
    const auto matches = run();
    if (!matches)
        return std::nullopt;
    m_dataVersion = *version;
    Changes changes;
    QHash<QString, Stamp> now;
    for (const auto &[path, stamp] : *matches) {
        now.insert(path, stamp);
        const auto before = m_matches.constFind(path);
        if (before == m_matches.cend())
            changes.added.append(path);
        else if (!(*before == stamp))
            changes.changed.append(path);
    }
    for (auto it = m_matches.cbegin(); it != m_matches.cend(); ++it) {
        if (!now.contains(it.key()))
            changes.removed.append(it.key());
    }
    changes.removed.sort();
    m_matches = std::move(now);
    return changes;
}

std::optional<qint64> LiveQuery::dataVersion()
{
    SqliteStatement version = m_index.database().prepare(QStringLiteral("PRAGMA data_version"));
    if (!version.isValid() || !version.step())
        return std::nullopt;
    return version.columnInt64(0);
}

std::optional<QList<std::pair<QString, LiveQuery::Stamp>>> LiveQuery::run()
{
    const CompiledQuery compiled =
        QueryCompiler::compile(m_query, m_folder, m_maxResults, QDateTime::currentDateTimeUtc());
    SqliteStatement statement = m_index.database().prepare(
        QStringLiteral("SELECT matches.path, files.modified, files.changed FROM (%1) AS matches "
                       "JOIN files ON files.id = matches.id")
            .arg(compiled.sql));
    if (!statement.isValid() || !statement.bindAll(compiled.bindings))
        return std::nullopt;
    QList<std::pair<QString, Stamp>> matches;
    while (statement.step())
        matches.append({statement.columnText(0), {statement.columnDouble(1), statement.columnDouble(2)}});
    if (!m_index.errorText().isEmpty())
        return std::nullopt;
    return matches;
}
