#include "QueryCompiler.h"

#include "IndexSchema.h"
#include "SqliteDatabase.h"

#include <QStringList>

namespace {

const QString kIsNumber = QStringLiteral("typeof(%1) IN ('integer', 'real')");

QString ftsPhrase(const std::u32string &text)
{
    QString phrase = QString::fromStdU32String(text);
    phrase.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + phrase + QLatin1Char('"');
}

// The leading ASCII letters and digits of a folded literal: a prefix the word index tokenizes the same way.
std::u32string asciiWordPrefix(const std::u32string &literal)
{
    size_t length = 0;
    while (length < literal.size() && literal[length] < 128 && QChar::isLetterOrNumber(literal[length]))
        ++length;
    return literal.substr(0, length);
}

} // namespace

CompiledQuery QueryCompiler::compile(const QueryNode &root, const QString &folder, int maxResults,
                                     const QDateTime &now)
{
    QueryCompiler compiler(now);
    QString sql = QStringLiteral("SELECT files.id, files.path FROM files WHERE ");
    QString base = folder;
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    if (!base.isEmpty()) {
        // Everything strictly below base/: '0' is the character after '/'.
        sql += QStringLiteral("files.path > %1 AND files.path < %2 AND ")
                   .arg(compiler.bind(base + QLatin1Char('/')), compiler.bind(base + QLatin1Char('0')));
    }
    sql += compiler.condition(root);
    if (maxResults > 0)
        sql += QStringLiteral(" LIMIT ") + compiler.bind(maxResults);
    return {sql, compiler.m_bindings};
}

QString QueryCompiler::condition(const QueryNode &node)
{
    switch (node.kind) {
    case QueryNode::Kind::And:
    case QueryNode::Kind::Or: {
        QStringList parts;
        for (const QueryNode &child : node.children)
            parts.append(condition(child));
        return QLatin1Char('(') +
               parts.join(node.kind == QueryNode::Kind::And ? QLatin1String(" AND ")
                                                            : QLatin1String(" OR ")) +
               QLatin1Char(')');
    }
    case QueryNode::Kind::Not:
        return QStringLiteral("(NOT %1)").arg(condition(node.children.front()));
    default:
        return QueryNode::isAnyAttribute(node.attribute) ? anyAttribute(node) : comparison(node);
    }
}

QString QueryCompiler::comparison(const QueryNode &node)
{
    // `!=` is the negation of `==` in every case: for a missing attribute and for "no element equals".
    const bool negated = node.kind == QueryNode::Kind::Comparison && node.op == QueryOperator::NotEqual;
    QString test;
    if (const IndexSchema::AttributeColumn *column = IndexSchema::columnFor(node.attribute)) {
        const QString filter = textIndexFilter(node);
        const QString operand = QStringLiteral("files.") + QLatin1String(column->column);
        test = predicate(operand, node);
        const QString exact = exactWordPrefixRows(node, operand);
        if (!exact.isEmpty())
            test = QStringLiteral("(%1 OR %2)").arg(exact, test);
        if (!filter.isEmpty())
            test = QStringLiteral("(%1 AND %2)").arg(filter, test);
    } else {
        const QString attribute = bind(node.attribute);
        test = QStringLiteral("EXISTS (SELECT 1 FROM file_values v WHERE v.file_id = files.id AND "
                              "v.attribute = %1 AND %2)")
                   .arg(attribute, predicate(QStringLiteral("v.value"), node));
    }
    return negated ? QStringLiteral("(NOT %1)").arg(test) : test;
}

QString QueryCompiler::anyAttribute(const QueryNode &node)
{
    const QString filter = textIndexFilter(node);
    QStringList parts;
    for (const IndexSchema::AttributeColumn &column : IndexSchema::attributeColumns()) {
        if (column.type == IndexSchema::ColumnType::Text && column.attribute != kTextContentAttribute)
            parts.append(equalPredicate(QStringLiteral("files.") + QLatin1String(column.column), node.value));
    }
    parts.append(QStringLiteral("EXISTS (SELECT 1 FROM file_values v WHERE v.file_id = files.id AND "
                                "typeof(v.value) = 'text' AND %1)")
                     .arg(equalPredicate(QStringLiteral("v.value"), node.value)));
    const QString test = QLatin1Char('(') + parts.join(QLatin1String(" OR ")) + QLatin1Char(')');
    return filter.isEmpty() ? test : QStringLiteral("(%1 AND %2)").arg(filter, test);
}

// The positive test on one operand: `==` (also for `!=`, negated by the caller), ordering, or InRange.
QString QueryCompiler::predicate(const QString &operand, const QueryNode &node)
{
    const QString isNumber = kIsNumber.arg(operand);
    if (node.kind == QueryNode::Kind::InRange) {
        return QStringLiteral("(%1 AND %2 BETWEEN %3 AND %4)")
            .arg(isNumber, operand, bind(node.value.bound(m_now)), bind(node.upper.bound(m_now)));
    }
    const char *sqlOperator = nullptr;
    switch (node.op) {
    case QueryOperator::Equal:
    case QueryOperator::NotEqual:
        return equalPredicate(operand, node.value);
    case QueryOperator::Less:
        sqlOperator = "<";
        break;
    case QueryOperator::Greater:
        sqlOperator = ">";
        break;
    case QueryOperator::LessEqual:
        sqlOperator = "<=";
        break;
    case QueryOperator::GreaterEqual:
        sqlOperator = ">=";
        break;
    }
    return QStringLiteral("(%1 AND %2 %3 %4)")
        .arg(isNumber, operand, QLatin1String(sqlOperator), bind(node.value.bound(m_now)));
}

QString QueryCompiler::equalPredicate(const QString &operand, const QueryValue &value)
{
    const QString isNumber = kIsNumber.arg(operand);
    switch (value.kind) {
    case QueryValue::Kind::Presence:
        return QStringLiteral("(%1 IS NOT NULL)").arg(operand);
    case QueryValue::Kind::String:
        return QStringLiteral("vantry_match(%1, %2, %3)")
            .arg(operand, bind(value.text), bind(value.options.letters()));
    case QueryValue::Kind::Number:
        return QStringLiteral("(%1 AND %2 = %3)").arg(isNumber, operand, bind(value.number));
    case QueryValue::Kind::Time: {
        const auto [start, end] = value.time.range(m_now);
        if (end > start) {
            const QString from = bind(start);
            return QStringLiteral("(%1 AND %2 >= %3 AND %2 < %4)").arg(isNumber, operand, from, bind(end));
        }
        return QStringLiteral("(%1 AND %2 = %3)").arg(isNumber, operand, bind(start));
    }
    }
    return QStringLiteral("0");
}

// For a case- and diacritic-insensitive word prefix made of ASCII letters and digits on the name, display
// name or content: a condition on the row under which the word table's answer is already the exact one, so
// the costly re-split of the value can be skipped there. The table holds our folded words joined by spaces,
// and unicode61 splits them again on whatever it takes for a separator; on an ASCII value our words are runs
// of ASCII letters and digits, which it keeps whole, so its tokens starting with the prefix are exactly our
// words starting with it. Outside ASCII its character tables may disagree with ours (a newer letter it takes
// for a separator would make a token of a word's tail), so other values keep the re-check. The names column
// also holds a differing display name's words, hence the names must agree.
QString QueryCompiler::exactWordPrefixRows(const QueryNode &node, const QString &operand)
{
    const StringOptions &options = node.value.options;
    if (node.kind != QueryNode::Kind::Comparison || node.value.kind != QueryValue::Kind::String ||
        !options.wordBased || !options.caseInsensitive || !options.diacriticInsensitive)
        return {};
    const StringPattern pattern(node.value.text, options);
    const std::u32string literal = pattern.leadingLiteral();
    if (!pattern.isPrefix() || asciiWordPrefix(literal) != literal)
        return {};
    // In UTF-8 a text is ASCII when it has as many bytes as characters.
    const QString isAscii = QStringLiteral("length(CAST(%1 AS BLOB)) = length(%1)").arg(operand);
    if (node.attribute == kTextContentAttribute)
        return QStringLiteral("(%1)").arg(isAscii);
    if (node.attribute == QLatin1String("kMDItemFSName") ||
        node.attribute == QLatin1String("kMDItemDisplayName"))
        return QStringLiteral("(files.display_name = files.name AND %1)").arg(isAscii);
    return {};
}

// A necessary condition from the full-text tables, or nothing when they cannot help: name substrings of three
// or more characters through the trigram table, word prefixes through the word table.
QString QueryCompiler::textIndexFilter(const QueryNode &node)
{
    if (node.kind != QueryNode::Kind::Comparison || node.value.kind != QueryValue::Kind::String)
        return {};
    if (node.op != QueryOperator::Equal && node.op != QueryOperator::NotEqual)
        return {};
    const bool isName = node.attribute == QLatin1String("kMDItemFSName") ||
                        node.attribute == QLatin1String("kMDItemDisplayName");
    // The tables hold fully folded text, so fold the pattern fully whatever its own options.
    const StringPattern folded(node.value.text, {true, true, false});
    if (node.value.options.wordBased) {
        QString columns;
        if (isName)
            columns = QStringLiteral("names");
        else if (node.attribute == kTextContentAttribute)
            columns = QStringLiteral("content");
        else if (QueryNode::isAnyAttribute(node.attribute))
            columns = QStringLiteral("names other");
        const std::u32string prefix = asciiWordPrefix(folded.leadingLiteral());
        if (columns.isEmpty() || prefix.empty())
            return {};
        return QStringLiteral("files.id IN (SELECT rowid FROM file_words WHERE file_words MATCH %1)")
            .arg(bind(QStringLiteral("{%1} : %2*").arg(columns, ftsPhrase(prefix))));
    }
    if (!isName)
        return {};
    const auto &literals = folded.literals();
    const auto longest = std::max_element(literals.begin(), literals.end(),
                                          [](const auto &a, const auto &b) { return a.size() < b.size(); });
    if (longest == literals.end() || longest->size() < 3)
        return {};
    // A display name equal to the name is stored once, as the name.
    const QString column = node.attribute == QLatin1String("kMDItemFSName")
                               ? QStringLiteral("name")
                               : QStringLiteral("{name display_name}");
    return QStringLiteral("files.id IN (SELECT rowid FROM name_trigrams WHERE name_trigrams MATCH %1)")
        .arg(bind(QStringLiteral("%1 : %2").arg(column, ftsPhrase(*longest))));
}

QString QueryCompiler::bind(const QVariant &value)
{
    m_bindings.append(value);
    return QStringLiteral("?%1").arg(m_bindings.size());
}

bool QueryCompiler::registerFunctions(SqliteDatabase &database)
{
    // Patterns are compiled once per distinct (pattern, options) of a statement run, not once per row.
    struct Cache {
        QString source, letters;
        StringPattern pattern;
    };
    auto cache = std::make_shared<Cache>();
    return database.registerFunction(
        QStringLiteral("vantry_match"), 3, [cache](const QVariantList &arguments) -> QVariant {
            if (arguments.at(0).typeId() != QMetaType::QString)
                return 0;
            const QString source = arguments.at(1).toString(), letters = arguments.at(2).toString();
            if (source != cache->source || letters != cache->letters)
                *cache = {source, letters, StringPattern(source, StringOptions::fromLetters(letters))};
            return cache->pattern.matches(arguments.at(0).toString()) ? 1 : 0;
        });
}
