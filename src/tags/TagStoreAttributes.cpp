#include "TagStoreAttributes.h"

#include "ExtendedAttributes.h"
#include "Quendel.h"

#include <algorithm>

namespace TagStoreAttributes {

namespace {

bool isIndexable(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::QDateTime:
        return true;
    case QMetaType::QVariantList: {
        const QVariantList elements = value.toList();
        return std::any_of(elements.begin(), elements.end(), isIndexable);
    }
    default:
        return false;
    }
}

} // namespace

void read(const QString &path, QVariantMap &attributes)
{
    // Most files carry no attributes at all, which one listing tells.
    int error = 0;
    const QStringList names = ExtendedAttributes::names(path, &error);
    if (names.isEmpty())
        return;
    if (const QStringList tags = Quendel::getUserTags(path); !tags.isEmpty())
        attributes.insert(QStringLiteral("kMDItemUserTags"), tags);
    const QString prefix = Quendel::spotlightKey(QString());
    for (const QString &name : names) {
        if (!name.startsWith(prefix))
            continue;
        const QString key = name.mid(prefix.size());
        if (key.isEmpty() || attributes.contains(key))
            continue;
        if (const QVariant value = Quendel::getXAttr(name, path); isIndexable(value))
            attributes.insert(key, value);
    }
}

} // namespace TagStoreAttributes
