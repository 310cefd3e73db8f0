#include "TagLists.h"

#include <QSet>

#include <algorithm>

qsizetype TagLists::indexOfCaseInsensitiveString(const QStringList &tags, const QString &tag)
{
    const auto found = std::find_if(tags.cbegin(), tags.cend(), [&](const QString &element) {
        return element.compare(tag, Qt::CaseInsensitive) == 0;
    });
    return found == tags.cend() ? -1 : found - tags.cbegin();
}

QStringList TagLists::arrayByRemovingObjectsFromArrayCaseInsensitive(const QStringList &tags,
                                                                     const QStringList &removed)
{
    QStringList kept;
    for (const QString &tag : tags) {
        if (!removed.contains(tag, Qt::CaseInsensitive))
            kept.append(tag);
    }
    return kept;
}

QStringList TagLists::combineArraysCommonOnlyCaseInsensitive(const QStringList &one, const QStringList &two)
{
    QStringList common;
    for (const QString &tag : one) {
        if (two.contains(tag, Qt::CaseInsensitive))
            common.append(tag);
    }
    return common;
}

QStringList TagLists::combineArraysSkipDuplicatesCaseInsensitive(const QStringList &one,
                                                                 const QStringList &two)
{
    QStringList combined;
    QSet<QString> seen;
    for (const QStringList *tags : {&one, &two}) {
        for (const QString &tag : *tags) {
            if (tag.contains(QStringLiteral("%20")))
                continue;
            const QString key = tag.normalized(QString::NormalizationForm_D).toLower();
            if (!seen.contains(key)) {
                seen.insert(key);
                combined.append(tag);
            }
        }
    }
    return combined;
}

QStringList TagLists::removeDuplicateCaseInsensitiveStrings(const QStringList &tags)
{
    return combineArraysSkipDuplicatesCaseInsensitive(tags, {});
}
