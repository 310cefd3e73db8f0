#include "KeyedArchive.h"

#include "AtomicFile.h"
#include "PropertyList.h"
#include "ReferenceTime.h"

#include <QDateTime>
#include <QFile>

#include <cmath>

namespace {

const QString archiverName = QStringLiteral("NSKeyedArchiver");
constexpr qint64 archiveVersion = 100000;
constexpr int maxDepth = 256;
constexpr double maxDateSeconds = 1e14; // far beyond any real date, well inside QDateTime's range

const QString classKey = QStringLiteral("$class");
const QString objectsKey = QStringLiteral("NS.objects");
const QString keysKey = QStringLiteral("NS.keys");
const QString timeKey = QStringLiteral("NS.time");

const QStringList arrayClasses = {"NSArray",      "NSMutableArray", "NSSet",
                                  "NSMutableSet", "NSOrderedSet",   "NSMutableOrderedSet"};
const QStringList dictionaryClasses = {"NSDictionary", "NSMutableDictionary"};

// Coder keys that begin with "$" would clash with the archive's own keys, so they get another "$".
QString escapedKey(const QString &key)
{
    return key.startsWith(QLatin1Char('$')) ? QLatin1Char('$') + key : key;
}
QString unescapedKey(const QString &key)
{
    return key.startsWith(QLatin1String("$$")) ? key.mid(1) : key;
}

bool isUid(const QVariant &value)
{
    return value.typeId() == qMetaTypeId<PlistUid>();
}

bool isScalar(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::QString:
    case QMetaType::QByteArray:
    case QMetaType::QDateTime:
        return true;
    default:
        return false;
    }
}

} // namespace

// ---- Writing ----

QByteArray KeyedArchiver::archivedDataWithRootObject(const QVariant &root, QString *error)
{
    KeyedArchiver archiver;
    archiver.m_objects.append(QStringLiteral("$null"));
    const quint64 rootUid = archiver.encode(root);
    if (!archiver.m_error.isEmpty()) {
        if (error)
            *error = archiver.m_error;
        return {};
    }
    const QVariantMap archive = {
        {QStringLiteral("$version"), archiveVersion},
        {QStringLiteral("$archiver"), archiverName},
        {QStringLiteral("$top"),
         QVariantMap{{QStringLiteral("root"), QVariant::fromValue(PlistUid{rootUid})}}},
        {QStringLiteral("$objects"), archiver.m_objects},
    };
    return PropertyList::toData(archive, PropertyList::Format::Binary, error);
}

bool KeyedArchiver::archiveRootObject(const QVariant &root, const QString &path, QString *error)
{
    const QByteArray data = archivedDataWithRootObject(root, error);
    return !data.isEmpty() && AtomicFile::write(path, data, error);
}

quint64 KeyedArchiver::reserveSlot()
{
    m_objects.append(QVariant());
    return quint64(m_objects.size() - 1);
}

quint64 KeyedArchiver::classReference(const QStringList &chain)
{
    const QString &name = chain.first();
    if (const auto it = m_classes.constFind(name); it != m_classes.cend())
        return it.value();
    const quint64 uid = reserveSlot();
    m_objects[qsizetype(uid)] =
        QVariantMap{{QStringLiteral("$classname"), name}, {QStringLiteral("$classes"), chain}};
    m_classes.insert(name, uid);
    return uid;
}

quint64 KeyedArchiver::encode(const QVariant &object)
{
    if (!object.isValid() || !m_error.isEmpty())
        return 0;
    if (object.typeId() == qMetaTypeId<ArchivableObjectRef>())
        return encodeCustomObject(object.value<ArchivableObjectRef>());

    switch (object.typeId()) {
    case QMetaType::QString: {
        const QString text = object.toString();
        if (const auto it = m_strings.constFind(text); it != m_strings.cend())
            return it.value();
        const quint64 uid = reserveSlot();
        m_objects[qsizetype(uid)] = text;
        m_strings.insert(text, uid);
        return uid;
    }
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
    case QMetaType::QByteArray: {
        const quint64 uid = reserveSlot();
        m_objects[qsizetype(uid)] = object;
        return uid;
    }
    case QMetaType::Nullptr: {
        const quint64 uid = reserveSlot();
        m_objects[qsizetype(uid)] =
            QVariantMap{{classKey, QVariant::fromValue(PlistUid{classReference({"NSNull", "NSObject"})})}};
        return uid;
    }
    case QMetaType::QDateTime: {
        const quint64 uid = reserveSlot();
        const double seconds = ReferenceTime::fromDateTime(object.toDateTime());
        m_objects[qsizetype(uid)] =
            QVariantMap{{timeKey, seconds},
                        {classKey, QVariant::fromValue(PlistUid{classReference({"NSDate", "NSObject"})})}};
        return uid;
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const quint64 uid = reserveSlot();
        QVariantList references;
        for (const QVariant &item : object.toList())
            references.append(QVariant::fromValue(PlistUid{encode(item)}));
        m_objects[qsizetype(uid)] =
            QVariantMap{{objectsKey, references},
                        {classKey, QVariant::fromValue(PlistUid{classReference({"NSArray", "NSObject"})})}};
        return uid;
    }
    case QMetaType::QVariantMap: {
        const quint64 uid = reserveSlot();
        const QVariantMap map = object.toMap();
        QVariantList keys;
        QVariantList values;
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            keys.append(QVariant::fromValue(PlistUid{encode(it.key())}));
            values.append(QVariant::fromValue(PlistUid{encode(it.value())}));
        }
        m_objects[qsizetype(uid)] = QVariantMap{
            {keysKey, keys},
            {objectsKey, values},
            {classKey, QVariant::fromValue(PlistUid{classReference({"NSDictionary", "NSObject"})})}};
        return uid;
    }
    default:
        m_error = QStringLiteral("cannot archive a value of type %1")
                      .arg(QString::fromLatin1(object.typeName() ? object.typeName() : "(none)"));
        return 0;
    }
}

quint64 KeyedArchiver::encodeCustomObject(const ArchivableObjectRef &object)
{
    if (!object)
        return 0;
    if (const auto it = m_customObjects.constFind(object.get()); it != m_customObjects.cend())
        return it.value();
    // Reserved and remembered before the children are coded, so that cycles resolve to this slot.
    const quint64 uid = reserveSlot();
    m_customObjects.insert(object.get(), uid);
    m_keptAlive.append(object);

    QVariantMap fields;
    QVariantMap *outer = std::exchange(m_currentObject, &fields);
    object->encodeWithCoder(*this);
    m_currentObject = outer;

    const QStringList chain = object->archiveClassChain();
    if (chain.isEmpty()) {
        m_error = QStringLiteral("an archived object has no class name");
        return 0;
    }
    fields.insert(classKey, QVariant::fromValue(PlistUid{classReference(chain)}));
    m_objects[qsizetype(uid)] = fields;
    return uid;
}

void KeyedArchiver::setInCurrentObject(const QString &key, const QVariant &value)
{
    Q_ASSERT_X(m_currentObject, "KeyedArchiver", "encode...ForKey called outside encodeWithCoder");
    if (m_currentObject)
        m_currentObject->insert(escapedKey(key), value);
}

void KeyedArchiver::encodeObject(const QVariant &object, const QString &key)
{
    setInCurrentObject(key, QVariant::fromValue(PlistUid{encode(object)}));
}

void KeyedArchiver::encodeDouble(double value, const QString &key)
{
    setInCurrentObject(key, value);
}
void KeyedArchiver::encodeInt64(qint64 value, const QString &key)
{
    setInCurrentObject(key, value);
}
void KeyedArchiver::encodeBool(bool value, const QString &key)
{
    setInCurrentObject(key, value);
}
void KeyedArchiver::encodeBytes(const QByteArray &bytes, const QString &key)
{
    setInCurrentObject(key, bytes);
}

// ---- Reading ----

KeyedUnarchiver::KeyedUnarchiver(const QVariantList &objects, const ClassTable &classes)
    : m_objects(objects), m_classes(classes), m_memo(size_t(objects.size()))
{
}

bool KeyedUnarchiver::isKeyedArchive(const QVariant &plist)
{
    const QVariantMap map = plist.toMap();
    return plist.typeId() == QMetaType::QVariantMap &&
           map.value(QStringLiteral("$archiver")) == archiverName &&
           map.contains(QStringLiteral("$objects")) && map.contains(QStringLiteral("$top"));
}

QVariant KeyedUnarchiver::unarchiveObjectWithData(const QByteArray &data, const ClassTable &classes,
                                                  QString *error)
{
    const QVariant plist = PropertyList::fromData(data, error);
    if (!plist.isValid())
        return {};
    return unarchiveObjectWithPropertyList(plist, classes, error);
}

QVariant KeyedUnarchiver::unarchiveObjectWithFile(const QString &path, const ClassTable &classes,
                                                  QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return {};
    }
    QString reason;
    QVariant root = unarchiveObjectWithData(file.readAll(), classes, &reason);
    if (!root.isValid() && error)
        *error = QStringLiteral("%1: %2").arg(path, reason);
    return root;
}

QVariant KeyedUnarchiver::unarchiveObjectWithPropertyList(const QVariant &plist, const ClassTable &classes,
                                                          QString *error)
{
    auto failed = [error](const QString &reason) {
        if (error)
            *error = reason;
        return QVariant();
    };
    if (!isKeyedArchive(plist))
        return failed(QStringLiteral("not a keyed archive"));
    const QVariantMap archive = plist.toMap();
    if (archive.value(QStringLiteral("$version")).toLongLong() != archiveVersion)
        return failed(QStringLiteral("unsupported keyed archive version %1")
                          .arg(archive.value(QStringLiteral("$version")).toString()));
    const QVariant objects = archive.value(QStringLiteral("$objects"));
    const QVariant top = archive.value(QStringLiteral("$top"));
    if (objects.typeId() != QMetaType::QVariantList || top.typeId() != QMetaType::QVariantMap)
        return failed(QStringLiteral("damaged keyed archive: malformed $objects or $top"));

    const QVariantList objectList = objects.toList();
    KeyedUnarchiver unarchiver(objectList, classes);
    QVariant root = unarchiver.decodeRoot(top.toMap().value(QStringLiteral("root")));
    if (!unarchiver.m_error.isEmpty())
        return failed(QStringLiteral("damaged keyed archive: %1").arg(unarchiver.m_error));
    return root;
}

QVariant KeyedUnarchiver::decodeRoot(const QVariant &rootReference)
{
    if (!isUid(rootReference)) {
        fail(QStringLiteral("no root object"));
        return {};
    }
    return decodeReference(rootReference, 0).value;
}

bool KeyedUnarchiver::fail(const QString &error)
{
    if (m_error.isEmpty())
        m_error = error;
    return false;
}

void KeyedUnarchiver::failWithError(const QString &error)
{
    fail(error);
}

DecodedObject KeyedUnarchiver::decodeReference(const QVariant &reference, int depth)
{
    if (!m_error.isEmpty())
        return {};
    if (isUid(reference))
        return decodeObjectAt(reference.value<PlistUid>().value, depth);
    if (isScalar(reference)) {
        m_memo.countLeaf(m_error);
        return {reference, 1};
    }
    if (depth > maxDepth) {
        fail(QStringLiteral("objects nest too deeply"));
        return {};
    }
    // Inline containers only occur in objects of classes we do not know; decode what they refer to.
    DecodedObject result{QVariant(), 1};
    if (reference.typeId() == QMetaType::QVariantList) {
        QVariantList list;
        for (const QVariant &item : reference.toList()) {
            DecodedObject decoded = decodeReference(item, depth + 1);
            list.append(decoded.value);
            result.weight += decoded.weight;
        }
        result.value = list;
    } else if (reference.typeId() == QMetaType::QVariantMap) {
        QVariantMap map;
        const QVariantMap source = reference.toMap();
        for (auto it = source.cbegin(); it != source.cend(); ++it) {
            DecodedObject decoded = decodeReference(it.value(), depth + 1);
            map.insert(unescapedKey(it.key()), decoded.value);
            result.weight += decoded.weight;
        }
        result.value = map;
    }
    m_memo.countLeaf(m_error);
    return result;
}

DecodedObject KeyedUnarchiver::decodeObjectAt(quint64 uid, int depth)
{
    if (uid == 0)
        return {QVariant(), 1};
    if (uid >= quint64(m_objects.size())) {
        fail(QStringLiteral("reference %1 points past the %2 objects").arg(uid).arg(m_objects.size()));
        return {};
    }
    if (depth > maxDepth) {
        fail(QStringLiteral("objects nest too deeply"));
        return {};
    }
    const qsizetype index = qsizetype(uid);
    const QVariant &object = m_objects[index];
    if (isScalar(object)) {
        m_memo.countLeaf(m_error);
        return {object, 1};
    }
    if (object.typeId() != QMetaType::QVariantMap) {
        fail(QStringLiteral("object %1 has an unexpected type").arg(uid));
        return {};
    }
    return m_memo.resolve(size_t(index), m_error,
                          [&] { return decodeDictionaryObject(object.toMap(), depth); });
}

const KeyedUnarchiver::ClassInfo *KeyedUnarchiver::classInfo(const QVariant &classReference)
{
    if (!isUid(classReference)) {
        fail(QStringLiteral("an object has no class"));
        return nullptr;
    }
    const quint64 uid = classReference.value<PlistUid>().value;
    if (const auto it = m_classInfo.constFind(uid); it != m_classInfo.cend())
        return &it.value();
    if (uid == 0 || uid >= quint64(m_objects.size())) {
        fail(QStringLiteral("class reference %1 is out of range").arg(uid));
        return nullptr;
    }
    const QVariantMap description = m_objects[qsizetype(uid)].toMap();
    const QString name = description.value(QStringLiteral("$classname")).toString();
    if (name.isEmpty()) {
        fail(QStringLiteral("class description %1 has no name").arg(uid));
        return nullptr;
    }
    QStringList chain = description.value(QStringLiteral("$classes")).toStringList();
    if (!chain.contains(name))
        chain.prepend(name);

    // The first class of the chain that we know decides; superclasses are the fallback.
    ClassInfo info{ClassInfo::Generic, name};
    for (const QString &candidate : std::as_const(chain)) {
        if (m_classes.contains(candidate))
            info = {ClassInfo::Custom, candidate};
        else if (arrayClasses.contains(candidate))
            info.kind = ClassInfo::Array;
        else if (dictionaryClasses.contains(candidate))
            info.kind = ClassInfo::Dictionary;
        else if (candidate == QLatin1String("NSDate"))
            info.kind = ClassInfo::Date;
        else if (candidate == QLatin1String("NSNull"))
            info.kind = ClassInfo::Null;
        else if (candidate == QLatin1String("NSString") || candidate == QLatin1String("NSMutableString"))
            info.kind = ClassInfo::String;
        else if (candidate == QLatin1String("NSData") || candidate == QLatin1String("NSMutableData"))
            info.kind = ClassInfo::Data;
        else
            continue;
        break;
    }
    return &m_classInfo.insert(uid, info).value();
}

DecodedObject KeyedUnarchiver::decodeDictionaryObject(const QVariantMap &object, int depth)
{
    const ClassInfo *found = classInfo(object.value(classKey));
    if (!found)
        return {};
    const ClassInfo info = *found; // copied: decoding children may grow the table
    switch (info.kind) {
    case ClassInfo::Custom:
        return decodeCustomObject(object, info.name, depth);
    case ClassInfo::Array:
        return decodeArray(object, depth);
    case ClassInfo::Dictionary:
        return decodeDictionary(object, depth);
    case ClassInfo::Date: {
        const QVariant time = object.value(timeKey);
        const bool numeric = time.typeId() == QMetaType::Double || time.typeId() == QMetaType::LongLong;
        if (!numeric || !std::isfinite(time.toDouble()) || std::abs(time.toDouble()) > maxDateSeconds) {
            fail(QStringLiteral("a date has no valid time"));
            return {};
        }
        return {ReferenceTime::toDateTime(time.toDouble()), 1};
    }
    case ClassInfo::Null:
        return {QVariant::fromValue(nullptr), 1};
    case ClassInfo::String:
        return decodeReference(object.value(QStringLiteral("NS.string")), depth + 1);
    case ClassInfo::Data:
        return decodeReference(object.value(QStringLiteral("NS.data")), depth + 1);
    case ClassInfo::Generic:
        break;
    }
    return decodeGenericObject(object, info.name, depth);
}

DecodedObject KeyedUnarchiver::decodeArray(const QVariantMap &object, int depth)
{
    const QVariant references = object.value(objectsKey);
    if (references.typeId() != QMetaType::QVariantList) {
        fail(QStringLiteral("an array has no NS.objects"));
        return {};
    }
    DecodedObject result{QVariant(), 1};
    QVariantList list;
    for (const QVariant &reference : references.toList()) {
        DecodedObject item = decodeReference(reference, depth + 1);
        if (!m_error.isEmpty())
            return {};
        list.append(item.value);
        result.weight += item.weight;
    }
    result.value = list;
    return result;
}

DecodedObject KeyedUnarchiver::decodeDictionary(const QVariantMap &object, int depth)
{
    const QVariantList keys = object.value(keysKey).toList();
    const QVariantList values = object.value(objectsKey).toList();
    if (keys.size() != values.size()) {
        fail(QStringLiteral("a dictionary has %1 keys for %2 values").arg(keys.size()).arg(values.size()));
        return {};
    }
    DecodedObject result{QVariant(), 1};
    QVariantMap map;
    for (qsizetype i = 0; i < keys.size(); ++i) {
        const DecodedObject key = decodeReference(keys[i], depth + 1);
        DecodedObject value = decodeReference(values[i], depth + 1);
        if (!m_error.isEmpty())
            return {};
        if (key.value.typeId() != QMetaType::QString && !key.value.canConvert<double>()) {
            fail(QStringLiteral("a dictionary key is neither a string nor a number"));
            return {};
        }
        map.insert(key.value.toString(), value.value);
        result.weight += value.weight;
    }
    result.value = map;
    return result;
}

DecodedObject KeyedUnarchiver::decodeCustomObject(const QVariantMap &object, const QString &className,
                                                  int depth)
{
    const QVariantMap *outerObject = std::exchange(m_currentObject, &object);
    const int outerDepth = std::exchange(m_currentDepth, depth);
    const ArchivableObjectRef decoded = m_classes.value(className)(*this);
    m_currentObject = outerObject;
    m_currentDepth = outerDepth;
    if (!m_error.isEmpty())
        return {};
    if (!decoded) {
        fail(QStringLiteral("an object of class %1 could not be decoded").arg(className));
        return {};
    }
    return {QVariant::fromValue(decoded), 1};
}

DecodedObject KeyedUnarchiver::decodeGenericObject(const QVariantMap &object, const QString &className,
                                                   int depth)
{
    DecodedObject result{QVariant(), 1};
    QVariantMap fields;
    for (auto it = object.cbegin(); it != object.cend(); ++it) {
        if (it.key() == classKey)
            continue;
        DecodedObject value = decodeReference(it.value(), depth + 1);
        fields.insert(unescapedKey(it.key()), value.value);
        result.weight += value.weight;
    }
    fields.insert(classKey, className); // the class name wins over a coder key that was itself "$class"
    result.value = fields;
    return result;
}

QVariant KeyedUnarchiver::rawValueForKey(const QString &key) const
{
    return m_currentObject ? m_currentObject->value(escapedKey(key)) : QVariant();
}

bool KeyedUnarchiver::containsValueForKey(const QString &key) const
{
    return m_currentObject && m_currentObject->contains(escapedKey(key));
}

QVariant KeyedUnarchiver::decodeObjectForKey(const QString &key)
{
    const QVariant raw = rawValueForKey(key);
    return raw.isValid() ? decodeReference(raw, m_currentDepth + 1).value : QVariant();
}

double KeyedUnarchiver::decodeDoubleForKey(const QString &key)
{
    return decodeObjectForKey(key).toDouble();
}
qint64 KeyedUnarchiver::decodeInt64ForKey(const QString &key)
{
    return decodeObjectForKey(key).toLongLong();
}
bool KeyedUnarchiver::decodeBoolForKey(const QString &key)
{
    return decodeObjectForKey(key).toBool();
}
QByteArray KeyedUnarchiver::decodeBytesForKey(const QString &key)
{
    const QVariant value = decodeObjectForKey(key);
    return value.typeId() == QMetaType::QByteArray ? value.toByteArray() : QByteArray();
}
