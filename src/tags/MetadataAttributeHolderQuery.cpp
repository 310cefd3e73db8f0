#include "MetadataAttributeHolderQuery.h"

#include "Log.h"
#include "MetadataIndex.h"
#include "QueryParser.h"

#include <QDateTime>
#include <QFileInfo>

MetadataAttributeHolderQuery::MetadataAttributeHolderQuery(QString databasePath)
    : m_databasePath(std::move(databasePath))
{
}

std::optional<QStringList> MetadataAttributeHolderQuery::pathsHavingKey(const QString &metadataKey)
{
    // Opening would create an empty index, which would answer "no holders" for files never crawled.
    if (!QFileInfo::exists(m_databasePath))
        return std::nullopt;
    // Parsed back, the text must be one comparison on the key itself: a key such as "a == * || b" would
    // otherwise name every file.
    const QueryParseResult parsed = QueryParser::parse(metadataKey + QStringLiteral(" == *"));
    if (!parsed.ok() || parsed.root.kind != QueryNode::Kind::Comparison ||
        parsed.root.attribute != metadataKey || QueryNode::isAnyAttribute(metadataKey)) {
        Log::line(QStringLiteral("cannot query the index for '%1': not an attribute name").arg(metadataKey));
        return std::nullopt;
    }
    MetadataIndex index;
    std::optional<QStringList> paths;
    if (index.open(m_databasePath))
        paths = index.search(parsed.root, QString(), kMaxResults, QDateTime::currentDateTimeUtc());
    if (!paths)
        Log::line(QStringLiteral("cannot query the index %1: %2").arg(m_databasePath, index.errorText()));
    return paths;
}
