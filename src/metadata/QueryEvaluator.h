#pragma once

#include "QueryNode.h"

#include <QDateTime>
#include <QVariantMap>

// Evaluates a parsed query against one file's attributes (name → value; lists for multi-valued attributes,
// QDateTime for dates, booleans as numbers). `now` fixes the `$time` values.
class QueryEvaluator {
public:
    explicit QueryEvaluator(const QDateTime &now) : m_now(now) {}

    bool matches(const QueryNode &node, const QVariantMap &attributes) const;

    // A value as the comparisons see it: a list of QString and double elements (dates as seconds since
    // 2001-01-01 UTC); empty for a missing attribute.
    static QVariantList elements(const QVariant &value);

private:
    bool compare(const QueryNode &node, const QVariantList &elements) const;
    bool equals(const QueryValue &value, const QVariant &element) const;
    QVariantList anyAttributeStrings(const QVariantMap &attributes) const;

    QDateTime m_now;
};
