#pragma once

#include <QString>
#include <QStringList>

// Operations on tag lists that compare tags ignoring case; where a list is reduced, the first spelling wins.
class TagLists {
public:
    TagLists() = delete;

    // The index of the first tag equal to `tag` ignoring case, else -1.
    static qsizetype indexOfCaseInsensitiveString(const QStringList &tags, const QString &tag);
    // The tags not in `removed` ignoring case, in order.
    static QStringList arrayByRemovingObjectsFromArrayCaseInsensitive(const QStringList &tags,
                                                                      const QStringList &removed);
    // The tags of `one` that are in `two` ignoring case, in the order and spelling of `one`; empty when
    // nothing is common.
    static QStringList combineArraysCommonOnlyCaseInsensitive(const QStringList &one, const QStringList &two);
    // `one` followed by `two`, keeping the first of the tags whose lower-cased decomposed (NFD) forms are
    // equal; tags holding "%20" (unfinished token text) are dropped.
    static QStringList combineArraysSkipDuplicatesCaseInsensitive(const QStringList &one,
                                                                  const QStringList &two);
    static QStringList removeDuplicateCaseInsensitiveStrings(const QStringList &tags);
};
