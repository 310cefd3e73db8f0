#include "Quendel.h"

#include "ExtendedAttributes.h"
#include "PropertyList.h"
#include "SystemTags.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSet>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <cstring>

namespace {
const QString userTagsKey = QStringLiteral("kMDItemQDUserTags");
const QString userTagTimeKey = QStringLiteral("kMDItemQDUserTagTime");
const QString starRatingKey = QStringLiteral("kMDItemStarRating");
const QString ratingTimeKey = QStringLiteral("kMDItemQDRatingTime");
// Marks a file whose scheme tags have been merged into its system tags; stored without the metadata prefix.
const QString syncDoneKey = QStringLiteral("kQD109SyncDone");
const QString schemaRegisterFragment = QStringLiteral("/Quendel/schemaregister");
constexpr int schemaFileLifetimeMs = 2000;

QuendelError parameterError(const QString &info = QStringLiteral("Quendel parameter error"))
{
    return {QuendelError::quendelDomain, QuendelError::parameterError, info};
}

QuendelResult posixResult(int errnoValue)
{
    if (errnoValue == 0)
        return std::nullopt;
    return QuendelError{QuendelError::posixDomain, errnoValue, Quendel::errnoString(errnoValue)};
}

bool isValidPath(const QString &path)
{
    return !path.isEmpty() && !path.contains(QChar(0));
}

bool isArray(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
}

void report(QuendelResult *error, const QuendelResult &result)
{
    if (error)
        *error = result;
}

QSet<QString> lowerCased(const QStringList &tags)
{
    QSet<QString> lowered;
    for (const QString &tag : tags)
        lowered.insert(tag.toLower());
    return lowered;
}

QStringList stringsIn(const QVariant &array)
{
    QStringList strings;
    for (const QVariant &element : array.toList()) {
        if (element.typeId() == QMetaType::QString)
            strings.append(element.toString());
    }
    return strings;
}
} // namespace

QuendelResult Quendel::setXAttr(const QVariant &value, const QString &key, const QString &path)
{
    if (!isValidPath(path))
        return parameterError();
    if (!value.isValid())
        return posixResult(ExtendedAttributes::remove(path, key));
    QString plistError;
    const QByteArray data = PropertyList::toData(value, PropertyList::Format::Binary, &plistError);
    if (data.isEmpty())
        return QuendelError{QuendelError::quendelDomain, QuendelError::plistError, plistError};
    if (data.size() > maximumValueSize)
        return QuendelError{
            QuendelError::quendelDomain, QuendelError::tooBigError,
            QStringLiteral("Meta data is too big - size as binary plist must be less than (perhaps "
                           "4k?) some number of bytes")};
    return posixResult(ExtendedAttributes::setValue(path, key, data));
}

QVariant Quendel::getXAttr(const QString &key, const QString &path, QuendelResult *error)
{
    if (!isValidPath(path)) {
        report(error, parameterError());
        return {};
    }
    int readError = 0;
    const QByteArray data = ExtendedAttributes::value(path, key, maximumValueSize, &readError);
    if (data.isEmpty()) {
        if (readError != 0 && readError != ENOATTR && readError != EINVAL)
            report(error, posixResult(readError));
        return {};
    }
    QString plistError;
    QVariant value = PropertyList::fromData(data, &plistError);
    if (!value.isValid()) {
        report(error, QuendelError{QuendelError::quendelDomain, QuendelError::plistError, plistError});
        return {};
    }
    report(error, std::nullopt);
    return value;
}

QuendelResult Quendel::setXAttrMetaData(const QVariant &value, const QString &metaDataKey,
                                        const QString &path)
{
    return setXAttr(value, spotlightKey(metaDataKey), path);
}

QVariant Quendel::getXAttrMetaData(const QString &key, const QString &path, QuendelResult *error)
{
    return getXAttr(spotlightKey(key), path, error);
}

QString Quendel::spotlightKey(const QString &key)
{
    return QStringLiteral("com.apple.metadata:") + key;
}

QString Quendel::quendelKey(const QString &key)
{
    return QStringLiteral("org.quendel:") + key;
}

QuendelResult Quendel::setString(const QVariant &value, const QString &keyName, const QString &path)
{
    return setXAttrMetaData(value, keyName, path);
}

QVariant Quendel::getString(const QString &key, const QString &path, QuendelResult *error)
{
    return getXAttrMetaData(key, path, error);
}

QVariant Quendel::getNSArrayMetaData(const QString &key, const QString &path, QuendelResult *error)
{
    QVariant value = getXAttrMetaData(key, path, error);
    return isArray(value) ? value : QVariant();
}

QuendelResult Quendel::setNSArrayMetaData(const QVariant &value, const QString &metaDataKey,
                                          const QString &path)
{
    if (!isArray(value))
        return parameterError();
    return setXAttrMetaData(value, metaDataKey, path);
}

QuendelResult Quendel::addToNSArrayMetaData(const QVariantList &items, const QString &metaDataKey,
                                            const QString &path)
{
    QVariantList array = getNSArrayMetaData(metaDataKey, path).toList();
    const qsizetype storedCount = array.size();
    for (const QVariant &item : items) {
        if (!array.contains(item))
            array.append(item);
    }
    if (array.size() == storedCount)
        return std::nullopt;
    return setXAttrMetaData(array, metaDataKey, path);
}

QString Quendel::errnoString(int errnoValue)
{
    char buffer[1024];
    const char *text = strerror_r(errnoValue, buffer, sizeof buffer);
    return QString::asprintf("errno error: %d, %s", errnoValue, text);
}

QString Quendel::tagsToSearchFor()
{
    return QStringLiteral("kMDItemUserTags");
}

QStringList Quendel::getAppleTags(const QString &path, QuendelResult *error)
{
    if (!isValidPath(path)) {
        report(error, parameterError());
        return {};
    }
    int readError = 0;
    QStringList tags = SystemTags::names(path, &readError);
    if (readError != 0)
        report(error, posixResult(readError));
    return tags;
}

QuendelResult Quendel::setAppleTags(const QStringList &tags, const QString &path)
{
    if (!isValidPath(path))
        return parameterError();
    return posixResult(SystemTags::setNames(path, tags));
}

QStringList Quendel::getUserTags(const QString &path, QuendelResult *error)
{
    const QStringList systemTags = getAppleTags(path, error);
    const QStringList schemeTags = stringsIn(getXAttrMetaData(userTagsKey, path, error));
    if (systemTags.isEmpty() && schemeTags.isEmpty())
        return {};

    const QVariant syncDone = getXAttr(syncDoneKey, path);
    if (!syncDone.isValid())
        setXAttr(true, syncDoneKey, path);
    const bool merged = syncDone.typeId() == QMetaType::Bool && syncDone.toBool();
    if (systemTags == schemeTags || merged)
        return systemTags;

    const QStringList mergedTags = removeDuplicateTags(systemTags + schemeTags);
    if (systemTags != mergedTags)
        setAppleTags(mergedTags, path);
    if (schemeTags != mergedTags)
        setXAttrMetaData(mergedTags, userTagsKey, path);
    return mergedTags;
}

QuendelResult Quendel::setUserTags(const QVariant &tags, const QString &path)
{
    return setUserTags(tags, path, QDateTime::currentDateTimeUtc());
}

QuendelResult Quendel::setUserTags(const QVariant &tags, const QString &path, const QDateTime &atDate)
{
    if (!validateAsArrayOfStrings(tags))
        return parameterError(QStringLiteral("Quendel SYNC parameter error"));
    const QStringList unique = removeDuplicateTags(tags);
    setXAttrMetaData(atDate, userTagTimeKey, path);
    return setAppleTags(unique, path);
}

QuendelResult Quendel::changeUserTags(const QVariant &tags, const QString &path,
                                      const std::function<QStringList(const QStringList &current)> &change)
{
    if (!validateAsArrayOfStrings(tags))
        return parameterError();
    QuendelResult readError;
    const QStringList current = getUserTags(path, &readError);
    if (readError)
        return readError;
    const QStringList changed = change(current);
    return changed == current ? std::nullopt : setUserTags(changed, path);
}

QuendelResult Quendel::addUserTags(const QVariant &tags, const QString &path)
{
    return changeUserTags(tags, path, [&](const QStringList &current) {
        return removeDuplicateTags(current + tags.toStringList());
    });
}

QuendelResult Quendel::clearUserTags(const QVariant &tags, const QString &path)
{
    const QSet<QString> removed = lowerCased(tags.toStringList());
    return changeUserTags(tags, path, [&](const QStringList &current) {
        QStringList kept;
        std::copy_if(current.cbegin(), current.cend(), std::back_inserter(kept),
                     [&](const QString &tag) { return !removed.contains(tag.toLower()); });
        return kept;
    });
}

QStringList Quendel::getCommonUserTags(const QStringList &paths, QuendelResult *error)
{
    if (paths.size() == 1)
        return getUserTags(paths.first(), error);
    QMap<QString, QString> common;
    QStringList firstFileTags;
    for (const QString &path : paths) {
        QuendelResult readError;
        const QStringList tags = getUserTags(path, &readError);
        if (tags.isEmpty() || readError) {
            report(error, readError);
            return {};
        }
        if (common.isEmpty()) {
            for (const QString &tag : tags)
                common.insert(tag.toLower(), tag);
            firstFileTags = tags;
        } else {
            const QSet<QString> lowered = lowerCased(tags);
            common.removeIf([&](const auto &entry) { return !lowered.contains(entry.key()); });
        }
        if (common.isEmpty())
            return {};
    }
    return orderedArrayWithDict(common, firstFileTags);
}

QuendelResult Quendel::setCommonUserTags(const QStringList &paths, const QStringList &originalCommonTags,
                                         const QStringList &replaceWith)
{
    if (originalCommonTags.isEmpty() && replaceWith.isEmpty())
        return std::nullopt;
    const QSet<QString> replaced = lowerCased(originalCommonTags);
    QuendelResult lastError;
    for (const QString &path : paths) {
        const QStringList tags = getUserTags(path);
        if (tags == replaceWith)
            continue;
        QStringList result;
        std::copy_if(tags.cbegin(), tags.cend(), std::back_inserter(result),
                     [&](const QString &tag) { return !replaced.contains(tag.toLower()); });
        if (QuendelResult error = setUserTags(result + replaceWith, path))
            lastError = error;
    }
    return lastError;
}

QuendelResult Quendel::setRating(const QString &path, double rating)
{
    if (!isValidPath(path))
        return parameterError();
    if (rating <= 0) {
        SystemTags::setRating(path, 0);
        return setXAttrMetaData({}, starRatingKey, path);
    }
    const double clamped = std::min(rating, 5.0);
    setXAttrMetaData(QDateTime::currentDateTimeUtc(), ratingTimeKey, path);
    if (QuendelResult error = setXAttrMetaData(clamped, starRatingKey, path))
        return error;
    return posixResult(SystemTags::setRating(path, clamped));
}

double Quendel::getRating(const QString &path, QuendelResult *error)
{
    return getXAttrMetaData(starRatingKey, path, error).toDouble();
}

bool Quendel::validateAsArrayOfStrings(const QVariant &object)
{
    if (object.typeId() == QMetaType::QStringList)
        return true;
    if (object.typeId() != QMetaType::QVariantList)
        return false;
    const QVariantList elements = object.toList();
    return std::all_of(elements.cbegin(), elements.cend(),
                       [](const QVariant &element) { return element.typeId() == QMetaType::QString; });
}

QStringList Quendel::decomposeArrayOfStrings(const QVariant &array)
{
    QStringList decomposed;
    for (const QString &string : stringsIn(array))
        decomposed.append(string.normalized(QString::NormalizationForm_D));
    return decomposed;
}

QStringList Quendel::removeDuplicateTags(const QVariant &array)
{
    const QStringList decomposed = decomposeArrayOfStrings(array);
    QMap<QString, QString> byLowerCase;
    for (const QString &tag : decomposed)
        byLowerCase.insert(tag.toLower(), tag);
    return orderedArrayWithDict(byLowerCase, decomposed);
}

QStringList Quendel::orderedArrayWithDict(const QMap<QString, QString> &dict, const QStringList &sortHint)
{
    QMap<QString, QString> remaining = dict;
    QStringList ordered;
    for (const QString &hint : sortHint) {
        if (remaining.remove(hint.toLower()) > 0)
            ordered.append(hint);
    }
    return ordered + remaining.values();
}

QString Quendel::schemaRegisterFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + schemaRegisterFragment;
}

void Quendel::registerQDAttributes(const QVariantMap &attributes, const QString &forAppName)
{
    const QString folder = schemaRegisterFolder();
    QDir().mkpath(folder);
    const QString file = folder + u'/' + forAppName + QStringLiteral(".quendelschema");
    if (!PropertyList::writeFile(file, attributes, PropertyList::Format::Xml))
        return;
    QTimer::singleShot(schemaFileLifetimeMs, [file] { removeSchemaFile(file); });
}

void Quendel::registerUsualQDAttributes()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    registerQDAttributes({{userTagsKey, QStringList{"quendel1", "quendel2"}},
                          {userTagTimeKey, now},
                          {QStringLiteral("kMDItemQDDocumentDate"), now},
                          {QStringLiteral("kMDItemQDManaged"), true},
                          {QStringLiteral("kMDItemQDBookmarks"), QStringList{"bookmark1", "bookmark2"}}},
                         QCoreApplication::applicationName());
}

void Quendel::removeSchemaFile(const QString &path)
{
    if (path.contains(schemaRegisterFragment + u'/'))
        QFile::remove(path);
}
