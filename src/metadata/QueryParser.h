#pragma once

#include "QueryNode.h"

#include <QString>

struct QueryError {
    int column = 0; // 1-based; 0 means no error
    QString message;
};

struct QueryParseResult {
    QueryNode root;
    QueryError error;

    bool ok() const { return error.column == 0; }
};

// Recursive-descent parser of the metadata query language, reading characters directly: whether a word is a
// number, a bare string or a modifier depends on where it stands.
class QueryParser {
public:
    static QueryParseResult parse(const QString &query);

private:
    explicit QueryParser(const QString &query) : m_text(query) {}

    bool parseOr(QueryNode &node);
    bool parseAnd(QueryNode &node);
    bool parseNot(QueryNode &node);
    bool parsePrimary(QueryNode &node);
    bool parseComparison(QueryNode &node);
    bool parseInRange(QueryNode &node);
    bool parseValue(QueryValue &value);
    bool parseScalar(QueryValue &value);
    bool parseQuoted(QString &text);
    bool parseModifiers(StringOptions &options, QChar terminator);
    bool parseTime(QueryTime &time);
    bool parseNumber(double &number);
    QString parseIdentifier();
    bool toOrderable(QueryValue &value, int column);

    void skipSpace();
    bool atEnd() const { return m_position >= m_text.size(); }
    QChar peek(qsizetype ahead = 0) const;
    bool accept(QLatin1StringView token);
    bool atValueEnd() const;
    bool fail(qsizetype position, const QString &message);

    const QString m_text;
    qsizetype m_position = 0;
    QueryError m_error;
};
