#pragma once

#include "StringPattern.h"

#include <QDateTime>
#include <QString>

#include <utility>
#include <vector>

// A `$time` value. Periods (days, weeks, months, years) cover [start, end); points have start == end.
struct QueryTime {
    enum class Unit { Now, Day, Week, Month, Year, Iso };
    Unit unit = Unit::Now;
    double offset = 0; // seconds for Now, whole units otherwise
    QDateTime iso;

    // In seconds since 2001-01-01 UTC, for the query's start time `now` taken in local time.
    std::pair<double, double> range(const QDateTime &now) const;
};

struct QueryValue {
    enum class Kind { Presence, String, Number, Time };
    Kind kind = Kind::Presence;
    QString text; // quote escapes resolved; the escapes \\ \* \? stay for the pattern
    StringOptions options;
    StringPattern pattern;
    double number = 0;
    QueryTime time;

    // The comparable bound of a number or time: the number, or the start of the time's period.
    double bound(const QDateTime &now) const;
};

enum class QueryOperator { Equal, NotEqual, Less, Greater, LessEqual, GreaterEqual };

struct QueryNode {
    enum class Kind { And, Or, Not, Comparison, InRange };
    Kind kind = Kind::Comparison;
    std::vector<QueryNode> children; // And and Or: two or more; Not: one

    QString attribute; // "*" stands for every string attribute but the text content
    QueryOperator op = QueryOperator::Equal;
    QueryValue value; // InRange: the minimum
    QueryValue upper; // InRange: the maximum

    static bool isAnyAttribute(const QString &attribute) { return attribute == QLatin1String("*"); }
};

// The attribute that `*` does not cover.
inline constexpr QLatin1StringView kTextContentAttribute("kMDItemTextContent");
