#pragma once

#include "QueryNode.h"

#include <QHash>
#include <QStringList>

#include <optional>

class MetadataIndex;

// A query whose answer is kept current. refresh() runs it again once the index has changed (another
// connection committed) and tells which items came, went or changed; an item has changed when its
// modification or status-change date moved, which a tag write does too.
class LiveQuery {
public:
    struct Changes {
        QStringList added;
        QStringList changed;
        QStringList removed;
        bool isEmpty() const { return added.isEmpty() && changed.isEmpty() && removed.isEmpty(); }
    };

    // The same arguments as MetadataIndex::search.
    LiveQuery(MetadataIndex &index, QueryNode query, const QString &folder, int maxResults);

    // The first answer, in the index's order.
    std::optional<QStringList> start();
    // What changed since the last answer; nothing when the index has not changed. nullopt when the
    // database fails (the index's errorText()).
    std::optional<Changes> refresh();

private:
    struct Stamp {
        double modified;
        double changed;
        bool operator==(const Stamp &) const = default;
    };
    std::optional<qint64> dataVersion();
    std::optional<QList<std::pair<QString, Stamp>>> run();

    MetadataIndex &m_index;
    const QueryNode m_query;
    const QString m_folder;
    const int m_maxResults;
    QHash<QString, Stamp> m_matches;
    qint64 m_dataVersion = -1;
};
