#pragma once

#include "QuendelError.h"

#include <QDateTime>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

// The tag store: tags, star rating and a few further values kept in extended attributes of the file itself,
// under the open Quendel scheme, so that every program following the scheme sees the same tags. The desktop's
// own file tags ("user.xdg.tags") are the authoritative tag list; the scheme's tag attribute is merged with
// them once per file.
//
// Values are binary property lists of at most 4096 bytes. An invalid QVariant stands for "no value". Tag
// lists hold no two tags equal ignoring case; comparisons between tags are case-insensitive throughout.
// Operations taking an `error` argument leave it untouched when an attribute is simply absent.
class Quendel {
public:
    static constexpr qsizetype maximumValueSize = 4096;

    // Low level. A nil `value` removes the attribute.
    static QuendelResult setXAttr(const QVariant &value, const QString &key, const QString &path);
    static QVariant getXAttr(const QString &key, const QString &path, QuendelResult *error = nullptr);
    static QuendelResult setXAttrMetaData(const QVariant &value, const QString &metaDataKey,
                                          const QString &path);
    static QVariant getXAttrMetaData(const QString &key, const QString &path, QuendelResult *error = nullptr);
    static QString spotlightKey(const QString &key);
    static QString quendelKey(const QString &key);
    static QuendelResult setString(const QVariant &value, const QString &keyName, const QString &path);
    static QVariant getString(const QString &key, const QString &path, QuendelResult *error = nullptr);
    static QVariant getNSArrayMetaData(const QString &key, const QString &path,
                                       QuendelResult *error = nullptr);
    static QuendelResult setNSArrayMetaData(const QVariant &value, const QString &metaDataKey,
                                            const QString &path);
    // Appends the items the stored array lacks (case-sensitive), writing only when something was appended.
    static QuendelResult addToNSArrayMetaData(const QVariantList &items, const QString &metaDataKey,
                                              const QString &path);
    static QString errnoString(int errnoValue);

    // Tags. `tags` arguments accept a QStringList or a plist array; anything else is a parameter error.
    static bool mavericksOrLater() { return true; }
    static QString tagsToSearchFor();
    static QStringList getAppleTags(const QString &path, QuendelResult *error = nullptr);
    static QuendelResult setAppleTags(const QStringList &tags, const QString &path);
    // Empty when the file has no tags. The first read of a tagged file merges the two tag lists once.
    static QStringList getUserTags(const QString &path, QuendelResult *error = nullptr);
    static QuendelResult setUserTags(const QVariant &tags, const QString &path);
    static QuendelResult setUserTags(const QVariant &tags, const QString &path, const QDateTime &atDate);
    static QuendelResult addUserTags(const QVariant &tags, const QString &path);
    // Removes the given tags.
    static QuendelResult clearUserTags(const QVariant &tags, const QString &path);
    // The tags all the files have, in the first file's order and spelling.
    static QStringList getCommonUserTags(const QStringList &paths, QuendelResult *error = nullptr);
    // Replaces the tags all files had (`originalCommonTags`) by `replaceWith`; other tags stay. Returns the
    // error of the last file that failed.
    static QuendelResult setCommonUserTags(const QStringList &paths, const QStringList &originalCommonTags,
                                           const QStringList &replaceWith);

    // Ratings: 0 (not rated, no attribute) to 5.
    static QuendelResult setRating(const QString &path, double rating);
    static double getRating(const QString &path, QuendelResult *error = nullptr);

    // Tag-list helpers.
    static bool validateAsArrayOfStrings(const QVariant &object);
    static QStringList decomposeArrayOfStrings(const QVariant &array);
    // One tag per case-insensitive group, in the spelling and at the place of its first occurrence, in NFD.
    static QStringList removeDuplicateTags(const QVariant &array);
    // The dictionary's values (keyed by lower-cased tag) in the order of `sortHint`, the rest after them.
    static QStringList orderedArrayWithDict(const QMap<QString, QString> &dict, const QStringList &sortHint);

    // Schema register: tells metadata importers the scheme's keys by example values. The file is removed
    // again two seconds later, so the calling thread needs a running event loop.
    static void registerQDAttributes(const QVariantMap &attributes, const QString &forAppName);
    static void registerUsualQDAttributes();
    // Deletes `path` only if it lies in the schema register.
    static void removeSchemaFile(const QString &path);
    static QString schemaRegisterFolder();

private:
    // Reads the file's tags, applies `change` and writes the result when it differs.
    static QuendelResult changeUserTags(const QVariant &tags, const QString &path,
                                        const std::function<QStringList(const QStringList &current)> &change);
};
