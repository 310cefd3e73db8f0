#pragma once

#include "AttributeHolderQuery.h"
#include "MetadataCrawler.h"

// Asks the metadata index which files hold a key. Each query opens its own connection, so the object may be
// used from any thread; a missing index database means the query cannot be run.
class MetadataAttributeHolderQuery : public AttributeHolderQuery {
public:
    static constexpr int kMaxResults = 500000;

    explicit MetadataAttributeHolderQuery(QString databasePath = MetadataCrawler::defaultDatabasePath());

    std::optional<QStringList> pathsHavingKey(const QString &metadataKey) override;

private:
    QString m_databasePath;
};
