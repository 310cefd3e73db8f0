#include "ValueFormatter.h"

#include "PropertyList.h"

#include <QDateTime>

#include <charconv>
#include <cmath>

namespace ValueFormatter {

namespace {

constexpr int indentWidth = 2;
constexpr qsizetype shownDataBytes = 32;

// Shortest text that reads back as the same double.
QString realText(double value)
{
    if (!std::isfinite(value))
        return std::isnan(value) ? QStringLiteral("nan")
               : value > 0       ? QStringLiteral("inf")
                                 : QStringLiteral("-inf");
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return QString::fromLatin1(buffer, result.ptr - buffer);
}

QString dateText(const QDateTime &date)
{
    const QDateTime utc = date.toUTC();
    return utc.toString(utc.time().msec() ? Qt::ISODateWithMs : Qt::ISODate);
}

QString quoted(const QString &text)
{
    QString result;
    result.reserve(text.size() + 2);
    result += QLatin1Char('"');
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"':
            result += QLatin1String("\\\"");
            break;
        case '\\':
            result += QLatin1String("\\\\");
            break;
        case '\n':
            result += QLatin1String("\\n");
            break;
        case '\r':
            result += QLatin1String("\\r");
            break;
        case '\t':
            result += QLatin1String("\\t");
            break;
        case '\b':
            result += QLatin1String("\\b");
            break;
        case '\f':
            result += QLatin1String("\\f");
            break;
        default:
            if (c.unicode() < 0x20)
                result += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
            else
                result += c;
        }
    }
    result += QLatin1Char('"');
    return result;
}

QString scalarText(const QVariant &value, bool json)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QMetaType::Int:
    case QMetaType::LongLong:
        return QString::number(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return QString::number(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return json && !std::isfinite(value.toDouble()) ? QStringLiteral("null") : realText(value.toDouble());
    case QMetaType::QString:
        return quoted(value.toString());
    case QMetaType::QDateTime:
        return json ? quoted(dateText(value.toDateTime())) : dateText(value.toDateTime());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        if (json)
            return quoted(QString::fromLatin1(bytes.toBase64()));
        const QString hex = QString::fromLatin1(bytes.left(shownDataBytes).toHex());
        return QStringLiteral("<%1 bytes%2%3%4>")
            .arg(bytes.size())
            .arg(bytes.isEmpty() ? QString() : QStringLiteral(" 0x"), hex,
                 bytes.size() > shownDataBytes ? QStringLiteral("…") : QString());
    }
    default:
        if (value.typeId() == qMetaTypeId<PlistUid>()) {
            const quint64 uid = value.value<PlistUid>().value;
            return json ? QStringLiteral("{\"CF$UID\": %1}").arg(uid) : QStringLiteral("<uid %1>").arg(uid);
        }
        return QStringLiteral("null");
    }
}

class Writer {
public:
    explicit Writer(bool json) : m_json(json) {}

    void write(const QVariant &value, int depth)
    {
        if (value.typeId() == QMetaType::QVariantList)
            writeList(value.toList(), depth);
        else if (value.typeId() == QMetaType::QVariantMap)
            writeMap(value.toMap(), depth);
        else
            m_text += scalarText(value, m_json);
    }

    QString text() const { return m_text; }

private:
    void newline(int depth) { m_text += QLatin1Char('\n') + QString(depth * indentWidth, QLatin1Char(' ')); }

    void writeList(const QVariantList &list, int depth)
    {
        m_text += QLatin1Char('[');
        for (qsizetype i = 0; i < list.size(); ++i) {
            newline(depth + 1);
            if (!m_json)
                m_text += QString::number(i) + QLatin1String(" => ");
            write(list[i], depth + 1);
            if (m_json && i + 1 < list.size())
                m_text += QLatin1Char(',');
        }
        if (!list.isEmpty())
            newline(depth);
        m_text += QLatin1Char(']');
    }

    void writeMap(QVariantMap map, int depth)
    {
        // Objects of custom classes read as `ClassName { ... }` in the outline.
        const QString classKey = QStringLiteral("$class");
        if (!m_json && map.value(classKey).typeId() == QMetaType::QString)
            m_text += map.take(classKey).toString() + QLatin1Char(' ');
        m_text += QLatin1Char('{');
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            newline(depth + 1);
            m_text += quoted(it.key()) + (m_json ? QLatin1String(": ") : QLatin1String(" => "));
            write(it.value(), depth + 1);
            if (m_json && std::next(it) != map.cend())
                m_text += QLatin1Char(',');
        }
        if (!map.isEmpty())
            newline(depth);
        m_text += QLatin1Char('}');
    }

    bool m_json;
    QString m_text;
};

QString render(const QVariant &value, bool json)
{
    Writer writer(json);
    writer.write(value, 0);
    return writer.text();
}

} // namespace

QString toText(const QVariant &value)
{
    return render(value, false);
}
QString toJson(const QVariant &value)
{
    return render(value, true);
}

} // namespace ValueFormatter
