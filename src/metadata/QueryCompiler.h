#pragma once

#include "QueryNode.h"

#include <QDateTime>
#include <QVariantList>

class SqliteDatabase;

struct CompiledQuery {
    QString sql; // selects files.id and files.path
    QVariantList bindings;
};

// Compiles a parsed query to SQL over the index tables (IndexSchema). Values are always bound, never pasted.
// The full-text tables only narrow the candidates; the exact test is vantry_match(), the same StringPattern
// the in-memory evaluator uses, so both give the same answers; only where the word table's answer is provably
// the exact one is that test skipped.
class QueryCompiler {
public:
    // folder: only files below it (empty or "/" for everywhere); maxResults <= 0: no limit.
    static CompiledQuery compile(const QueryNode &root, const QString &folder, int maxResults,
                                 const QDateTime &now);
    // vantry_match(value, pattern, options): 1 when value is text matching the pattern, else 0.
    static bool registerFunctions(SqliteDatabase &database);

private:
    explicit QueryCompiler(const QDateTime &now) : m_now(now) {}

    QString condition(const QueryNode &node);
    QString comparison(const QueryNode &node);
    QString anyAttribute(const QueryNode &node);
    QString predicate(const QString &operand, const QueryNode &node);
    QString equalPredicate(const QString &operand, const QueryValue &value);
    QString textIndexFilter(const QueryNode &node);
    static QString exactWordPrefixRows(const QueryNode &node, const QString &operand);
    QString bind(const QVariant &value);

    QDateTime m_now;
    QVariantList m_bindings;
};
