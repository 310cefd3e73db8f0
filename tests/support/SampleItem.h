#pragma once

#include "KeyedArchive.h"

#include <QVariantMap>

// A custom archived class shaped like the recent-item record: alias bytes, path, override date and an
// optional map of member items. Used by tests and benchmarks of keyed archiving.
class SampleItem : public ArchivableObject {
public:
    QByteArray alias;
    QString path;
    double overrideDate = 0;
    QVariantMap stack; // path -> ArchivableObjectRef
    bool hasStack = false;

    QStringList archiveClassChain() const override { return {"SampleItem", "NSObject"}; }

    void encodeWithCoder(KeyedArchiver &coder) const override
    {
        if (!alias.isNull())
            coder.encodeObject(alias, QStringLiteral("alias"));
        if (!path.isNull())
            coder.encodeObject(path, QStringLiteral("path"));
        if (overrideDate != 0)
            coder.encodeDouble(overrideDate, QStringLiteral("overrideDate"));
        if (hasStack)
            coder.encodeObject(stack, QStringLiteral("stack"));
    }

    static ArchivableObjectRef decode(KeyedUnarchiver &coder)
    {
        auto item = std::make_shared<SampleItem>();
        item->alias = coder.decodeBytesForKey(QStringLiteral("alias"));
        item->path = coder.decodeObjectForKey(QStringLiteral("path")).toString();
        item->overrideDate = coder.decodeDoubleForKey(QStringLiteral("overrideDate"));
        item->hasStack = coder.containsValueForKey(QStringLiteral("stack"));
        item->stack = coder.decodeObjectForKey(QStringLiteral("stack")).toMap();
        return item;
    }

    static KeyedUnarchiver::ClassTable classes() { return {{"SampleItem", &SampleItem::decode}}; }

    static ArchivableObjectRef make(const QString &path, double overrideDate = 0)
    {
        auto item = std::make_shared<SampleItem>();
        item->path = path;
        item->alias = "alias:" + path.toUtf8();
        item->overrideDate = overrideDate;
        return item;
    }
};
