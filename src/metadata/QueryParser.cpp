#include "QueryParser.h"

#include <QRegularExpression>

#include <cmath>

namespace {

// Keeps calendar arithmetic within QDate's range and the offset within an int.
constexpr double kMaxCalendarOffset = 10000;

bool isBareCharacter(QChar c)
{
    return !c.isSpace() && !QStringView(u"()\"'&|").contains(c);
}

QueryValue stringValue(const QString &text, StringOptions options)
{
    QueryValue value;
    value.kind = QueryValue::Kind::String;
    value.text = text;
    value.options = options;
    value.pattern = StringPattern(text, options);
    return value;
}

// A node of `kind` whose first child is `first`.
QueryNode group(QueryNode::Kind kind, QueryNode &&first)
{
    QueryNode node;
    node.kind = kind;
    node.children.push_back(std::move(first));
    return node;
}

} // namespace

QueryParseResult QueryParser::parse(const QString &query)
{
    QueryParser parser(query);
    QueryParseResult result;
    if (parser.parseOr(result.root)) {
        parser.skipSpace();
        if (!parser.atEnd())
            parser.fail(parser.m_position, QStringLiteral("unexpected \"%1\"").arg(parser.peek()));
    }
    result.error = parser.m_error;
    return result;
}

bool QueryParser::parseOr(QueryNode &node)
{
    if (!parseAnd(node))
        return false;
    while (accept(QLatin1StringView("||"))) {
        QueryNode right;
        if (!parseAnd(right))
            return false;
        if (node.kind != QueryNode::Kind::Or)
            node = group(QueryNode::Kind::Or, std::move(node));
        node.children.push_back(std::move(right));
    }
    return true;
}

bool QueryParser::parseAnd(QueryNode &node)
{
    if (!parseNot(node))
        return false;
    while (accept(QLatin1StringView("&&"))) {
        QueryNode right;
        if (!parseNot(right))
            return false;
        if (node.kind != QueryNode::Kind::And)
            node = group(QueryNode::Kind::And, std::move(node));
        node.children.push_back(std::move(right));
    }
    return true;
}

bool QueryParser::parseNot(QueryNode &node)
{
    skipSpace();
    if (peek() == QLatin1Char('!') && peek(1) != QLatin1Char('=')) {
        ++m_position;
        QueryNode operand;
        if (!parseNot(operand))
            return false;
        node = group(QueryNode::Kind::Not, std::move(operand));
        return true;
    }
    return parsePrimary(node);
}

bool QueryParser::parsePrimary(QueryNode &node)
{
    skipSpace();
    if (accept(QLatin1StringView("("))) {
        if (!parseOr(node))
            return false;
        skipSpace();
        if (!accept(QLatin1StringView(")")))
            return fail(m_position, QStringLiteral("expected \")\""));
        return true;
    }
    const qsizetype start = m_position;
    const QString name = parseIdentifier();
    if (name == QLatin1String("InRange") || name == QLatin1String("inRange")) {
        skipSpace();
        if (peek() == QLatin1Char('('))
            return parseInRange(node);
    }
    m_position = start;
    return parseComparison(node);
}

bool QueryParser::parseComparison(QueryNode &node)
{
    skipSpace();
    node.kind = QueryNode::Kind::Comparison;
    node.attribute = accept(QLatin1StringView("*")) ? QStringLiteral("*") : parseIdentifier();
    if (node.attribute.isEmpty())
        return fail(m_position, QStringLiteral("expected an attribute name"));

    skipSpace();
    const qsizetype operatorStart = m_position;
    static const std::pair<QLatin1StringView, QueryOperator> operators[] = {
        {QLatin1StringView("=="), QueryOperator::Equal},
        {QLatin1StringView("!="), QueryOperator::NotEqual},
        {QLatin1StringView("<="), QueryOperator::LessEqual},
        {QLatin1StringView(">="), QueryOperator::GreaterEqual},
        {QLatin1StringView("="), QueryOperator::Equal},
        {QLatin1StringView("<"), QueryOperator::Less},
        {QLatin1StringView(">"), QueryOperator::Greater}};
    const auto found = std::find_if(std::begin(operators), std::end(operators),
                                    [this](const auto &entry) { return accept(entry.first); });
    if (found == std::end(operators))
        return fail(m_position, QStringLiteral("expected a comparison operator"));
    node.op = found->second;

    StringOptions bracketOptions;
    if (accept(QLatin1StringView("[")) && !parseModifiers(bracketOptions, QLatin1Char(']')))
        return false;
    skipSpace();
    const qsizetype valueStart = m_position;
    if (!parseValue(node.value))
        return false;
    node.value.options.caseInsensitive |= bracketOptions.caseInsensitive;
    node.value.options.diacriticInsensitive |= bracketOptions.diacriticInsensitive;
    node.value.options.wordBased |= bracketOptions.wordBased;
    if (node.value.kind == QueryValue::Kind::String)
        node.value.pattern = StringPattern(node.value.text, node.value.options);

    const bool equality = node.op == QueryOperator::Equal || node.op == QueryOperator::NotEqual;
    if (QueryNode::isAnyAttribute(node.attribute)) {
        if (node.op != QueryOperator::Equal)
            return fail(operatorStart, QStringLiteral("the attribute * can only be compared with =="));
        if (node.value.kind == QueryValue::Kind::Number || node.value.kind == QueryValue::Kind::Time)
            return fail(valueStart, QStringLiteral("the attribute * is compared with strings only"));
    }
    if (node.value.kind == QueryValue::Kind::Presence && !equality)
        return fail(valueStart, QStringLiteral("* can only be compared with == or !="));
    if (!equality && !toOrderable(node.value, int(valueStart)))
        return false;
    return true;
}

bool QueryParser::parseInRange(QueryNode &node)
{
    node.kind = QueryNode::Kind::InRange;
    accept(QLatin1StringView("("));
    skipSpace();
    node.attribute = parseIdentifier();
    if (node.attribute.isEmpty())
        return fail(m_position, QStringLiteral("expected an attribute name"));
    for (QueryValue *bound : {&node.value, &node.upper}) {
        skipSpace();
        if (!accept(QLatin1StringView(",")))
            return fail(m_position, QStringLiteral("expected \",\""));
        if (!parseScalar(*bound))
            return false;
    }
    skipSpace();
    if (!accept(QLatin1StringView(")")))
        return fail(m_position, QStringLiteral("expected \")\""));
    return true;
}

bool QueryParser::parseValue(QueryValue &value)
{
    const qsizetype start = m_position;
    if (peek() == QLatin1Char('"') || peek() == QLatin1Char('\'')) {
        QString text;
        StringOptions options;
        if (!parseQuoted(text) || !parseModifiers(options, QChar()))
            return false;
        value = text == QLatin1String("*") ? QueryValue{} : stringValue(text, options);
        return true;
    }
    if (peek() == QLatin1Char('*')) {
        ++m_position;
        if (atValueEnd()) {
            value = QueryValue{};
            return true;
        }
        m_position = start;
    }
    if (m_text.mid(m_position, 6) == QLatin1String("$time.")) {
        value.kind = QueryValue::Kind::Time;
        return parseTime(value.time);
    }
    if (parseNumber(value.number)) {
        if (atValueEnd()) {
            value.kind = QueryValue::Kind::Number;
            return true;
        }
        m_position = start;
    }
    while (!atEnd() && isBareCharacter(peek()))
        ++m_position;
    if (m_position == start)
        return fail(m_position, QStringLiteral("expected a value"));
    value = stringValue(m_text.mid(start, m_position - start), {});
    return true;
}

bool QueryParser::parseScalar(QueryValue &value)
{
    skipSpace();
    const qsizetype start = m_position;
    if (peek() == QLatin1Char('"') || peek() == QLatin1Char('\'')) {
        if (!parseQuoted(value.text))
            return false;
        value.kind = QueryValue::Kind::String;
        return toOrderable(value, int(start));
    }
    if (m_text.mid(m_position, 6) == QLatin1String("$time.")) {
        value.kind = QueryValue::Kind::Time;
        return parseTime(value.time);
    }
    if (!parseNumber(value.number))
        return fail(start, QStringLiteral("expected a number or a date"));
    value.kind = QueryValue::Kind::Number;
    return true;
}

bool QueryParser::parseQuoted(QString &text)
{
    const qsizetype start = m_position;
    const QChar delimiter = m_text.at(m_position++);
    text.clear();
    while (!atEnd()) {
        const QChar c = m_text.at(m_position++);
        if (c == delimiter)
            return true;
        text += c;
        // Escapes stay in the text: the pattern decides what an escaped character means.
        if (c == QLatin1Char('\\') && !atEnd()) {
            const QChar escaped = m_text.at(m_position++);
            if (escaped != QLatin1Char('*') && escaped != QLatin1Char('?') && escaped != QLatin1Char('\\'))
                text.chop(1);
            text += escaped;
        }
    }
    return fail(start, QStringLiteral("unterminated string"));
}

// Modifier letters directly after a string, or up to `terminator` inside brackets.
bool QueryParser::parseModifiers(StringOptions &options, QChar terminator)
{
    QString letters;
    while (!atEnd() && peek().isLetter()) {
        if (!QStringView(u"cdwt").contains(peek()))
            return fail(m_position, QStringLiteral("unknown modifier \"%1\"").arg(peek()));
        letters += m_text.at(m_position++);
    }
    if (!terminator.isNull()) {
        if (peek() != terminator)
            return fail(m_position, QStringLiteral("expected \"%1\"").arg(terminator));
        ++m_position;
    }
    options = StringOptions::fromLetters(letters);
    return true;
}

bool QueryParser::parseTime(QueryTime &time)
{
    m_position += 6; // "$time."
    const qsizetype nameStart = m_position;
    const QString name = parseIdentifier();
    if (name == QLatin1String("iso")) {
        if (!accept(QLatin1StringView("(")))
            return fail(m_position, QStringLiteral("expected \"(\""));
        skipSpace();
        const qsizetype textStart = m_position;
        QString text;
        if (peek() == QLatin1Char('"') || peek() == QLatin1Char('\'')) {
            if (!parseQuoted(text))
                return false;
        } else {
            while (!atEnd() && peek() != QLatin1Char(')'))
                ++m_position;
            text = m_text.mid(textStart, m_position - textStart).trimmed();
        }
        time.unit = QueryTime::Unit::Iso;
        time.iso = QDateTime::fromString(text, Qt::ISODateWithMs);
        if (!time.iso.isValid())
            return fail(textStart, QStringLiteral("invalid ISO 8601 date \"%1\"").arg(text));
        skipSpace();
        if (!accept(QLatin1StringView(")")))
            return fail(m_position, QStringLiteral("expected \")\""));
        return true;
    }

    static const struct {
        const char *name;
        QueryTime::Unit unit;
        int shift;
    } names[] = {{"now", QueryTime::Unit::Now, 0},         {"today", QueryTime::Unit::Day, 0},
                 {"yesterday", QueryTime::Unit::Day, -1},  {"this_week", QueryTime::Unit::Week, 0},
                 {"last_week", QueryTime::Unit::Week, -1}, {"this_month", QueryTime::Unit::Month, 0},
                 {"this_year", QueryTime::Unit::Year, 0}};
    const auto found = std::find_if(std::begin(names), std::end(names),
                                    [&](const auto &entry) { return name == QLatin1String(entry.name); });
    if (found == std::end(names))
        return fail(nameStart, QStringLiteral("unknown time \"$time.%1\"").arg(name));
    time.unit = found->unit;
    time.offset = found->shift;
    if (accept(QLatin1StringView("("))) {
        skipSpace();
        const qsizetype numberStart = m_position;
        double offset = 0;
        if (peek() != QLatin1Char(')')) {
            if (!parseNumber(offset))
                return fail(numberStart, QStringLiteral("expected a number"));
            if (time.unit != QueryTime::Unit::Now && offset != std::trunc(offset))
                return fail(numberStart, QStringLiteral("expected a whole number"));
            if (time.unit != QueryTime::Unit::Now && std::abs(offset) > kMaxCalendarOffset)
                return fail(numberStart, QStringLiteral("offset out of range"));
        }
        time.offset += offset;
        skipSpace();
        if (!accept(QLatin1StringView(")")))
            return fail(m_position, QStringLiteral("expected \")\""));
    }
    return true;
}

bool QueryParser::parseNumber(double &number)
{
    static const QRegularExpression pattern(QStringLiteral("[+-]?\\d+(\\.\\d+)?([eE][+-]?\\d+)?"));
    const QRegularExpressionMatch match = pattern.match(m_text, m_position, QRegularExpression::NormalMatch,
                                                        QRegularExpression::AnchorAtOffsetMatchOption);
    if (!match.hasMatch())
        return false;
    number = match.captured().toDouble();
    m_position = match.capturedEnd();
    return true;
}

QString QueryParser::parseIdentifier()
{
    const qsizetype start = m_position;
    const auto isStart = [](QChar c) { return c.isLetter() || c == QLatin1Char('_'); };
    if (atEnd() || !isStart(peek()))
        return {};
    while (!atEnd() && (isStart(peek()) || peek().isDigit()))
        ++m_position;
    return m_text.mid(start, m_position - start);
}

// `<`, `>` and InRange compare numbers and dates: a string there must read as one.
bool QueryParser::toOrderable(QueryValue &value, int column)
{
    if (value.kind != QueryValue::Kind::String)
        return true;
    bool isNumber = false;
    const double number = value.text.toDouble(&isNumber);
    if (isNumber) {
        value.kind = QueryValue::Kind::Number;
        value.number = number;
        return true;
    }
    const QDateTime date = QDateTime::fromString(value.text, Qt::ISODateWithMs);
    if (!date.isValid())
        return fail(column, QStringLiteral("expected a number or a date"));
    value.kind = QueryValue::Kind::Time;
    value.time.unit = QueryTime::Unit::Iso;
    value.time.iso = date;
    return true;
}

void QueryParser::skipSpace()
{
    while (!atEnd() && peek().isSpace())
        ++m_position;
}

QChar QueryParser::peek(qsizetype ahead) const
{
    return m_position + ahead < m_text.size() ? m_text.at(m_position + ahead) : QChar();
}

bool QueryParser::accept(QLatin1StringView token)
{
    skipSpace();
    if (!QStringView(m_text).mid(m_position).startsWith(token))
        return false;
    m_position += token.size();
    return true;
}

bool QueryParser::atValueEnd() const
{
    return atEnd() || !isBareCharacter(peek());
}

bool QueryParser::fail(qsizetype position, const QString &message)
{
    if (m_error.column == 0)
        m_error = {int(position) + 1, message};
    return false;
}
