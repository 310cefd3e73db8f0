#include "QueryEvaluator.h"

#include "ReferenceTime.h"

bool QueryEvaluator::matches(const QueryNode &node, const QVariantMap &attributes) const
{
    switch (node.kind) {
    case QueryNode::Kind::And:
        return std::all_of(node.children.begin(), node.children.end(),
                           [&](const QueryNode &child) { return matches(child, attributes); });
    case QueryNode::Kind::Or:
        return std::any_of(node.children.begin(), node.children.end(),
                           [&](const QueryNode &child) { return matches(child, attributes); });
    case QueryNode::Kind::Not:
        return !matches(node.children.front(), attributes);
    default:
        return compare(node, QueryNode::isAnyAttribute(node.attribute)
                                 ? anyAttributeStrings(attributes)
                                 : elements(attributes.value(node.attribute)));
    }
}

QVariantList QueryEvaluator::elements(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return {};
    case QMetaType::QString:
        return {value};
    case QMetaType::QDateTime:
        return {ReferenceTime::fromDateTime(value.toDateTime())};
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        QVariantList result;
        for (const QVariant &element : value.toList())
            result += elements(element);
        return result;
    }
    default: {
        bool isNumber = false;
        const double number = value.toDouble(&isNumber);
        return isNumber ? QVariantList{number} : QVariantList{};
    }
    }
}

bool QueryEvaluator::compare(const QueryNode &node, const QVariantList &elements) const
{
    const QueryValue &value = node.value;
    const auto anyNumber = [&](auto predicate) {
        return std::any_of(elements.begin(), elements.end(), [&](const QVariant &element) {
            return element.typeId() == QMetaType::Double && predicate(element.toDouble());
        });
    };
    if (node.kind == QueryNode::Kind::InRange) {
        const double minimum = value.bound(m_now), maximum = node.upper.bound(m_now);
        return anyNumber([&](double x) { return minimum <= x && x <= maximum; });
    }
    const double bound = value.kind == QueryValue::Kind::String ? 0 : value.bound(m_now);
    switch (node.op) {
    case QueryOperator::Equal:
        return std::any_of(elements.begin(), elements.end(),
                           [&](const QVariant &element) { return equals(value, element); });
    case QueryOperator::NotEqual:
        return std::none_of(elements.begin(), elements.end(),
                            [&](const QVariant &element) { return equals(value, element); });
    case QueryOperator::Less:
        return anyNumber([&](double x) { return x < bound; });
    case QueryOperator::Greater:
        return anyNumber([&](double x) { return x > bound; });
    case QueryOperator::LessEqual:
        return anyNumber([&](double x) { return x <= bound; });
    case QueryOperator::GreaterEqual:
        return anyNumber([&](double x) { return x >= bound; });
    }
    return false;
}

bool QueryEvaluator::equals(const QueryValue &value, const QVariant &element) const
{
    const bool isString = element.typeId() == QMetaType::QString;
    switch (value.kind) {
    case QueryValue::Kind::Presence:
        return true;
    case QueryValue::Kind::String:
        return isString && value.pattern.matches(element.toString());
    case QueryValue::Kind::Number:
        return !isString && element.toDouble() == value.number;
    case QueryValue::Kind::Time: {
        if (isString)
            return false;
        const auto [start, end] = value.time.range(m_now);
        const double x = element.toDouble();
        return end > start ? start <= x && x < end : x == start;
    }
    }
    return false;
}

QVariantList QueryEvaluator::anyAttributeStrings(const QVariantMap &attributes) const
{
    QVariantList result;
    for (auto it = attributes.begin(); it != attributes.end(); ++it) {
        if (it.key() == kTextContentAttribute)
            continue;
        for (const QVariant &element : elements(it.value())) {
            if (element.typeId() == QMetaType::QString)
                result.append(element);
        }
    }
    return result;
}
