#include "QuendelPrefs.h"

#include "ReferenceTime.h"
#include "UserDefaults.h"

#include <QSet>
#include <QStandardPaths>

#include <cmath>

namespace {

const QString recentTagsKey = QStringLiteral("recentlyEnteredTags");
constexpr qsizetype mostRecentTags = 1401;
constexpr double synchInterval = 10;

// Another program may have stored anything: only the strings are tags.
QStringList tagsOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList();
    QStringList tags;
    if (value.typeId() != QMetaType::QVariantList)
        return tags;
    for (const QVariant &element : value.toList()) {
        if (element.typeId() == QMetaType::QString)
            tags.append(element.toString());
    }
    return tags;
}

// `tags` without those whose lower-cased form is in `skipped` or seen before, at most `limit` long.
QStringList uniqueTags(const QStringList &tags, QSet<QString> skipped, qsizetype limit)
{
    QStringList kept;
    for (const QString &tag : tags) {
        if (kept.size() >= limit)
            break;
        const QString key = tag.toLower();
        if (skipped.contains(key))
            continue;
        skipped.insert(key);
        kept.append(tag);
    }
    return kept;
}

} // namespace

QString QuendelPrefs::sharedIdentifier()
{
    return QStringLiteral("org.quendel.shared");
}

QString QuendelPrefs::applicationIdentifier()
{
    return QStringLiteral("org.vantry.Vantry");
}

QString QuendelPrefs::prefsFilePath(const QString &identifier)
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QLatin1Char('/') +
           identifier + QStringLiteral(".plist");
}

QuendelPrefs &QuendelPrefs::standard()
{
    static QuendelPrefs prefs(UserDefaults::standard());
    return prefs;
}

QuendelPrefs::QuendelPrefs(UserDefaults &applicationDefaults, const QString &identifier)
    : m_applicationDefaults(applicationDefaults)
{
    setPrefsFile(identifier);
}

void QuendelPrefs::setPrefsFile(const QString &identifier)
{
    if (identifier == applicationIdentifier())
        m_sharedFile.reset();
    else
        m_sharedFile.emplace(prefsFilePath(identifier));
    m_lastSynch = 0;
}

QStringList QuendelPrefs::recentTags()
{
    synchPrefsIfItsBeenAWhile();
    return tagsOf(m_sharedFile ? m_sharedFile->value(recentTagsKey)
                               : m_applicationDefaults.value(recentTagsKey));
}

bool QuendelPrefs::updatePrefsRecentTags(const QStringList &oldTags, const QStringList &newTags)
{
    QStringList entered;
    for (const QString &tag : newTags) {
        if (!oldTags.contains(tag))
            entered.append(tag);
    }
    if (entered.isEmpty())
        return true;
    return changeRecentTags(
        [&](const QStringList &recent) { return uniqueTags(entered + recent, {}, mostRecentTags); });
}

bool QuendelPrefs::removeTagsFromRecents(const QStringList &tags)
{
    QSet<QString> removed;
    for (const QString &tag : tags)
        removed.insert(tag.toLower());
    return changeRecentTags(
        [&](const QStringList &recent) { return uniqueTags(recent, removed, recent.size()); });
}

bool QuendelPrefs::synchPrefs()
{
    return m_sharedFile ? m_sharedFile->synchronize() : m_applicationDefaults.synchronize();
}

void QuendelPrefs::synchPrefsIfItsBeenAWhile()
{
    const double now = ReferenceTime::now();
    if (std::abs(now - m_lastSynch) < synchInterval)
        return;
    m_lastSynch = now;
    synchPrefs();
}

bool QuendelPrefs::changeRecentTags(const std::function<QStringList(const QStringList &)> &change)
{
    if (m_sharedFile) {
        // Read, changed and written under the file's lock, so that another process's entries are kept.
        return m_sharedFile->modify(recentTagsKey,
                                    [&](const QVariant &stored) { return QVariant(change(tagsOf(stored))); });
    }
    m_applicationDefaults.setValue(recentTagsKey, change(tagsOf(m_applicationDefaults.value(recentTagsKey))));
    return m_applicationDefaults.synchronize();
}
