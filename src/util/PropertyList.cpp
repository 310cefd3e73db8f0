#include "PropertyList.h"

#include "AtomicFile.h"
#include "BinaryPropertyListReader.h"
#include "ReferenceTime.h"

#include <QDateTime>
#include <QFile>

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

// XML reading and all writing go through libplist 2.2's C API, with work-arounds for its known gaps; binary
// reading is BinaryPropertyListReader's.
namespace PropertyList {

namespace {

struct NodeDeleter {
    void operator()(void *node) const { plist_free(static_cast<plist_t>(node)); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

struct MallocDeleter {
    void operator()(char *text) const { std::free(text); }
};
using MallocText = std::unique_ptr<char, MallocDeleter>;

// Containers nest at most this deep; deeper input is taken as hostile rather than risking the stack.
constexpr int maxDepth = 512;

void setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

QString xmlOf(plist_t node)
{
    char *xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(node, &xml, &length);
    const MallocText owned(xml);
    return xml ? QString::fromUtf8(xml, length) : QString();
}

// libplist keeps negative and large unsigned integers in the same 64 bits; only its XML output tells a
// 16-byte unsigned value (written without a sign) from a negative one.
bool isUnsignedAboveInt64(plist_t node)
{
    const QString xml = xmlOf(node);
    return !xml.isEmpty() && !xml.contains(QLatin1String("<integer>-"));
}

QVariant integerValue(plist_t node)
{
    uint64_t raw = 0;
    plist_get_uint_val(node, &raw);
    if (raw > uint64_t(std::numeric_limits<qint64>::max()) && isUnsignedAboveInt64(node))
        return QVariant::fromValue<quint64>(raw);
    return QVariant::fromValue<qint64>(qint64(raw));
}

QVariant toVariant(plist_t node, int depth);

QVariant arrayValue(plist_t node, int depth)
{
    QVariantList list;
    list.reserve(plist_array_get_size(node));
    // An iterator, not plist_array_get_item: that walks the list from the start for every index.
    plist_array_iter iter = nullptr;
    plist_array_new_iter(node, &iter);
    const std::unique_ptr<void, decltype(&std::free)> ownedIter(iter, &std::free);
    for (;;) {
        plist_t child = nullptr;
        plist_array_next_item(node, iter, &child);
        if (!child)
            break;
        QVariant item = toVariant(child, depth + 1);
        if (!item.isValid())
            return {};
        list.append(std::move(item));
    }
    return list;
}

QVariant dictionaryValue(plist_t node, int depth)
{
    QVariantMap map;
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    const std::unique_ptr<void, decltype(&std::free)> ownedIter(iter, &std::free);
    for (;;) {
        char *key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iter, &key, &value);
        const MallocText ownedKey(key);
        if (!key || !value)
            break;
        QVariant item = toVariant(value, depth + 1);
        if (!item.isValid())
            return {};
        map.insert(QString::fromUtf8(key), std::move(item));
    }
    // The XML reader leaves archive references as {CF$UID: n} dictionaries.
    if (map.size() == 1) {
        const QVariant uid = map.value(QStringLiteral("CF$UID"));
        if (uid.typeId() == QMetaType::LongLong && uid.toLongLong() >= 0)
            return QVariant::fromValue(PlistUid{quint64(uid.toLongLong())});
    }
    return map;
}

QVariant toVariant(plist_t node, int depth)
{
    if (!node || depth > maxDepth)
        return {};
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return bool(value);
    }
    case PLIST_UINT:
        return integerValue(node);
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_STRING: {
        // By pointer and length: plist_get_string_val aborts on a string holding a NUL character.
        uint64_t length = 0;
        const char *text = plist_get_string_ptr(node, &length);
        return text ? QString::fromUtf8(text, qsizetype(length)) : QString(QLatin1String(""));
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char *bytes = plist_get_data_ptr(node, &length);
        return bytes ? QByteArray(bytes, qsizetype(length)) : QByteArray("");
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds); // whole seconds: XML has no fractions
        return ReferenceTime::toDateTime(seconds);
    }
    case PLIST_ARRAY:
        return arrayValue(node, depth);
    case PLIST_DICT:
        return dictionaryValue(node, depth);
    default:
        return {};
    }
}

// plist_new_uint writes values of 2^63 and above as negative 8-byte integers; XML input makes the 16-byte
// form.
Node largeUnsignedNode(quint64 value)
{
    const QByteArray xml =
        "<plist version=\"1.0\"><integer>" + QByteArray::number(value) + "</integer></plist>";
    plist_t node = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &node);
    return Node(node);
}

Node dateNode(const QDateTime &date, QString *error)
{
    const qint64 msecs = qRound64(ReferenceTime::fromDateTime(date) * 1000.0);
    const qint64 seconds = msecs >= 0 ? msecs / 1000 : -((-msecs + 999) / 1000);
    if (seconds < std::numeric_limits<int32_t>::min() || seconds > std::numeric_limits<int32_t>::max()) {
        setError(error, QStringLiteral("the date %1 is out of range").arg(date.toString(Qt::ISODate)));
        return nullptr;
    }
    // Always a fresh node: libplist 2.2's plist_set_date_val corrupts the node it changes.
    return Node(plist_new_date(int32_t(seconds), int32_t((msecs - seconds * 1000) * 1000)));
}

Node toNode(const QVariant &value, QString *error, int depth);

Node arrayNode(const QVariantList &list, QString *error, int depth)
{
    Node array(plist_new_array());
    for (const QVariant &item : list) {
        Node child = toNode(item, error, depth + 1);
        if (!child)
            return nullptr;
        plist_array_append_item(array.get(), child.release());
    }
    return array;
}

Node dictionaryNode(const QVariantMap &map, QString *error, int depth)
{
    Node dict(plist_new_dict());
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        Node child = toNode(it.value(), error, depth + 1);
        if (!child)
            return nullptr;
        plist_dict_set_item(dict.get(), it.key().toUtf8().constData(), child.release());
    }
    return dict;
}

Node toNode(const QVariant &value, QString *error, int depth)
{
    if (depth > maxDepth) {
        setError(error, QStringLiteral("the value nests too deeply"));
        return nullptr;
    }
    if (value.typeId() == qMetaTypeId<PlistUid>())
        return Node(plist_new_uid(value.value<PlistUid>().value));
    switch (value.typeId()) {
    case QMetaType::Bool:
        return Node(plist_new_bool(value.toBool()));
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return Node(plist_new_uint(uint64_t(value.toLongLong())));
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong: {
        const quint64 number = value.toULongLong();
        if (number > quint64(std::numeric_limits<qint64>::max()))
            return largeUnsignedNode(number);
        return Node(plist_new_uint(number));
    }
    case QMetaType::Float:
    case QMetaType::Double:
        return Node(plist_new_real(value.toDouble()));
    case QMetaType::QString: {
        const QByteArray utf8 = value.toString().toUtf8();
        return Node(plist_new_string(utf8.constData()));
    }
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return Node(plist_new_data(bytes.constData(), uint64_t(bytes.size())));
    }
    case QMetaType::QDateTime:
        return dateNode(value.toDateTime(), error);
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return arrayNode(value.toList(), error, depth);
    case QMetaType::QVariantMap:
        return dictionaryNode(value.toMap(), error, depth);
    default:
        setError(error, QStringLiteral("a value of type %1 has no property list form")
                            .arg(QString::fromLatin1(value.typeName() ? value.typeName() : "(none)")));
        return nullptr;
    }
}

} // namespace

QVariant fromData(const QByteArray &data, QString *error)
{
    if (BinaryPropertyListReader::isBinary(data))
        return BinaryPropertyListReader::read(data, error);
    if (data.isEmpty() || quint64(data.size()) > std::numeric_limits<uint32_t>::max()) {
        setError(error, QStringLiteral("not a property list"));
        return {};
    }
    plist_t root = nullptr;
    plist_from_xml(data.constData(), uint32_t(data.size()), &root);
    const Node owned(root);
    QVariant value = toVariant(root, 0);
    if (!value.isValid())
        setError(error, QStringLiteral("not a property list"));
    return value;
}

QByteArray toData(const QVariant &value, Format format, QString *error)
{
    const Node root = toNode(value, error, 0);
    if (!root)
        return {};
    char *bytes = nullptr;
    uint32_t length = 0;
    if (format == Format::Binary)
        plist_to_bin(root.get(), &bytes, &length);
    else
        plist_to_xml(root.get(), &bytes, &length);
    const MallocText owned(bytes);
    if (!bytes) {
        setError(error, QStringLiteral("the property list could not be serialised"));
        return {};
    }
    return QByteArray(bytes, length);
}

QVariant readFile(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(error, QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return {};
    }
    QString reason;
    QVariant value = fromData(file.readAll(), &reason);
    if (!value.isValid())
        setError(error, QStringLiteral("%1: %2").arg(path, reason));
    return value;
}

bool writeFile(const QString &path, const QVariant &value, Format format, QString *error)
{
    const QByteArray data = toData(value, format, error);
    return !data.isEmpty() && AtomicFile::write(path, data, error);
}

} // namespace PropertyList
