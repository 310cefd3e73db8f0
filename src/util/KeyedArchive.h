#pragma once

#include "ObjectTableMemo.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>

// Keyed archives: the object-graph format of the state files, a binary property list that standard plist
// tools (Python's plistlib among them) can read.
//
// Archived values are QVariants: QString, numbers, bool, QByteArray, QDateTime, QVariantList (an array),
// QVariantMap (a dictionary with string keys), QVariant::fromValue(nullptr) (the null object), an invalid
// QVariant (nil) and ArchivableObjectRef (a custom class that codes itself).

class KeyedArchiver;
class KeyedUnarchiver;

class ArchivableObject {
public:
    virtual ~ArchivableObject() = default;
    // The class name followed by its superclasses, for example {"VNItem", "NSObject"}.
    virtual QStringList archiveClassChain() const = 0;
    virtual void encodeWithCoder(KeyedArchiver &coder) const = 0;
};
using ArchivableObjectRef = std::shared_ptr<ArchivableObject>;
Q_DECLARE_METATYPE(ArchivableObjectRef)

class KeyedArchiver {
public:
    static QByteArray archivedDataWithRootObject(const QVariant &root, QString *error = nullptr);
    static bool archiveRootObject(const QVariant &root, const QString &path, QString *error = nullptr);

    // For ArchivableObject::encodeWithCoder.
    void encodeObject(const QVariant &object, const QString &key);
    void encodeDouble(double value, const QString &key);
    void encodeInt64(qint64 value, const QString &key);
    void encodeBool(bool value, const QString &key);
    void encodeBytes(const QByteArray &bytes, const QString &key);

private:
    KeyedArchiver() = default;
    quint64 encode(const QVariant &object);
    quint64 encodeCustomObject(const ArchivableObjectRef &object);
    quint64 classReference(const QStringList &chain);
    quint64 reserveSlot();
    void setInCurrentObject(const QString &key, const QVariant &value);

    QVariantList m_objects;
    QHash<QString, quint64> m_strings;
    QHash<const ArchivableObject *, quint64> m_customObjects;
    QList<ArchivableObjectRef> m_keptAlive; // so a freed object's address cannot be mistaken for another's
    QHash<QString, quint64> m_classes;
    QVariantMap *m_currentObject = nullptr;
    QString m_error;
};

class KeyedUnarchiver {
public:
    // Makes an object of a custom class from the coder's current object (the initWithCoder of that class).
    // It may call failWithError for values it cannot accept.
    using Factory = std::function<ArchivableObjectRef(KeyedUnarchiver &coder)>;
    using ClassTable = QHash<QString, Factory>;

    // Objects of classes missing from `classes` come back as a QVariantMap holding "$class" (the class name)
    // and their decoded keys. A damaged or hostile archive gives an invalid QVariant and an error.
    static QVariant unarchiveObjectWithData(const QByteArray &data, const ClassTable &classes = {},
                                            QString *error = nullptr);
    static QVariant unarchiveObjectWithFile(const QString &path, const ClassTable &classes = {},
                                            QString *error = nullptr);
    // Whether an already parsed property list has the shape of a keyed archive.
    static bool isKeyedArchive(const QVariant &plist);
    static QVariant unarchiveObjectWithPropertyList(const QVariant &plist, const ClassTable &classes = {},
                                                    QString *error = nullptr);

    // For factories, reading the current object's keys.
    bool containsValueForKey(const QString &key) const;
    QVariant decodeObjectForKey(const QString &key);
    double decodeDoubleForKey(const QString &key);
    qint64 decodeInt64ForKey(const QString &key);
    bool decodeBoolForKey(const QString &key);
    QByteArray decodeBytesForKey(const QString &key);
    void failWithError(const QString &error);

private:
    KeyedUnarchiver(const QVariantList &objects, const ClassTable &classes);
    QVariant decodeRoot(const QVariant &rootReference);
    DecodedObject decodeReference(const QVariant &reference, int depth);
    DecodedObject decodeObjectAt(quint64 uid, int depth);
    DecodedObject decodeDictionaryObject(const QVariantMap &object, int depth);
    DecodedObject decodeArray(const QVariantMap &object, int depth);
    DecodedObject decodeDictionary(const QVariantMap &object, int depth);
    DecodedObject decodeCustomObject(const QVariantMap &object, const QString &className, int depth);
    DecodedObject decodeGenericObject(const QVariantMap &object, const QString &className, int depth);
    // How objects of one archived class are decoded, worked out once per class entry.
    struct ClassInfo {
        enum Kind { Custom, Array, Dictionary, Date, Null, String, Data, Generic } kind = Generic;
        QString name; // the custom or unknown class's name
    };
    const ClassInfo *classInfo(const QVariant &classReference);
    QVariant rawValueForKey(const QString &key) const;
    bool fail(const QString &error);

    const QVariantList &m_objects;
    const ClassTable &m_classes;
    ObjectTableMemo m_memo;
    QHash<quint64, ClassInfo> m_classInfo;
    const QVariantMap *m_currentObject = nullptr;
    int m_currentDepth = 0;
    QString m_error;
};
