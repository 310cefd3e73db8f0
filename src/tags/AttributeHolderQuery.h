#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// Finds the files whose metadata holds a key: a question only the metadata index can answer.
class AttributeHolderQuery {
public:
    virtual ~AttributeHolderQuery() = default;
    // The paths of the files with a value for `metadataKey`, or nothing when the query cannot be run.
    virtual std::optional<QStringList> pathsHavingKey(const QString &metadataKey) = 0;
};
