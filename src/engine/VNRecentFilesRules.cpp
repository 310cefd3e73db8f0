#include "VNRecentFilesRules.h"

#include "TildePaths.h"
#include "UserDefaults.h"
#include "VNItem.h"

#include <QDir>

namespace {

const QStringList folderCulls = {"/private/var/", "/private/etc/", "/.", ".inProgress/"};
const QStringList alwaysIncludedFragments = {"/Library/Mail Downloads",
                                             "/Library/Application Support/Pinnel/Pending"};
const QStringList unwantedPackageSuffixes = {"/iPhoto Library", ".aplibrary"};
const QString alwaysUnwantedItem =
    QStringLiteral("~/Pictures/iPhoto Library"); // compared unexpanded, on purpose

// Every list build tests each file against these short fragments, nearly all of which begin with "/": only
// the places of "/" need a look, and finding those is a vectorised search, unlike a general substring search.
bool contains(QStringView path, QStringView fragment)
{
    if (!fragment.startsWith(u'/'))
        return path.contains(fragment);
    for (qsizetype at = path.indexOf(u'/'); at >= 0 && path.size() - at >= fragment.size();
         at = path.indexOf(u'/', at + 1)) {
        if (path.sliced(at, fragment.size()) == fragment)
            return true;
    }
    return false;
}

bool containsAny(const QString &path, const QStringList &fragments, Qt::CaseSensitivity sensitivity)
{
    return std::any_of(fragments.cbegin(), fragments.cend(), [&](const QString &fragment) {
        return sensitivity == Qt::CaseSensitive ? contains(path, fragment)
                                                : path.contains(fragment, sensitivity);
    });
}

bool hasPrefixIn(const QString &path, const QStringList &prefixes)
{
    return std::any_of(prefixes.cbegin(), prefixes.cend(),
                       [&](const QString &prefix) { return path.startsWith(prefix); });
}

QStringList expandedTildes(const QStringList &paths)
{
    QStringList expanded;
    expanded.reserve(paths.size());
    for (const QString &path : paths)
        expanded.append(TildePaths::expandedTilde(path));
    return expanded;
}

} // namespace

VNRecentFilesRules::VNRecentFilesRules(UserDefaults &defaults)
    : m_defaults(defaults), m_lists(std::make_shared<Lists>())
{
}

const QStringList &VNRecentFilesRules::observedKeys()
{
    static const QStringList keys = {"wantedDirectories", "unwantedDirectories", "unwantedExtensions",
                                     "unwantedPathFragments", "unwantedItems"};
    return keys;
}

void VNRecentFilesRules::loadPrefs()
{
    auto fresh = std::make_shared<Lists>();
    fresh->wantedDirectories =
        expandedTildes(m_defaults.stringListValue(QStringLiteral("wantedDirectories")));
    fresh->unwantedDirectories =
        expandedTildes(m_defaults.stringListValue(QStringLiteral("unwantedDirectories")));
    fresh->unwantedExtensions = m_defaults.stringListValue(QStringLiteral("unwantedExtensions"));
    fresh->unwantedPathFragments = m_defaults.stringListValue(QStringLiteral("unwantedPathFragments"));
    fresh->unwantedItems = expandedTildes(m_defaults.stringListValue(QStringLiteral("unwantedItems")));
    std::lock_guard lock(m_lockForPrefs);
    m_lists = std::move(fresh);
}

std::shared_ptr<const VNRecentFilesRules::Lists> VNRecentFilesRules::lists() const
{
    std::lock_guard lock(m_lockForPrefs);
    return m_lists;
}

QString VNRecentFilesRules::pathExtension(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    const qsizetype dot = path.lastIndexOf(u'.');
    return dot > slash + 1 ? path.mid(dot + 1) : QString();
}

bool VNRecentFilesRules::cullPrivateAndInvisibleEtc(const QString &path)
{
    return containsAny(path, folderCulls, Qt::CaseSensitive);
}

bool VNRecentFilesRules::pathInPrefIncludeSet(const QString &path) const
{
    return hasPrefixIn(path, lists()->wantedDirectories);
}

bool VNRecentFilesRules::passesPrefExcludePaths(const QString &path) const
{
    return !hasPrefixIn(path, lists()->unwantedDirectories);
}

bool VNRecentFilesRules::pathInHardCodedIncludeSet(const QString &path)
{
    return containsAny(path, alwaysIncludedFragments, Qt::CaseSensitive);
}

bool VNRecentFilesRules::passesHardCodedExcludePaths(const QString &path)
{
    if (contains(path, u"/Library/Mobile Documents"))
        return true;
    return !contains(path, u"/Library/") && !contains(path, u"/Backups.backupdb/") &&
           !contains(path, u"/Music/iTunes") && !contains(path, u"/.");
}

bool VNRecentFilesRules::hasExtensionIn(const Lists &lists, const QString &path)
{
    return lists.unwantedExtensions.contains(pathExtension(path).toLower());
}

bool VNRecentFilesRules::containsFragmentOf(const Lists &lists, const QString &path, bool withSlash)
{
    return std::any_of(lists.unwantedPathFragments.cbegin(), lists.unwantedPathFragments.cend(),
                       [&](const QString &fragment) {
                           if (path.contains(fragment, Qt::CaseInsensitive))
                               return true;
                           // Only a fragment ending in "/" can meet the appended "/".
                           return withSlash && fragment.endsWith(u'/') &&
                                  path.endsWith(QStringView(fragment).chopped(1), Qt::CaseInsensitive);
                       });
}

bool VNRecentFilesRules::isSingleExcludedItem(const Lists &lists, const QString &path)
{
    return lists.unwantedItems.contains(path) || path == alwaysUnwantedItem;
}

QString VNRecentFilesRules::filterOutUnwantedExtensions(const QString &path) const
{
    return path.isNull() || hasExtensionIn(*lists(), path) ? QString() : path;
}

QString VNRecentFilesRules::filterOutUnwantedPathFragments(const QString &path) const
{
    return path.isNull() || containsFragmentOf(*lists(), path) ? QString() : path;
}

QString VNRecentFilesRules::filterOutUnwantedPackages(const QString &path)
{
    const bool unwanted = std::any_of(unwantedPackageSuffixes.cbegin(), unwantedPackageSuffixes.cend(),
                                      [&](const QString &suffix) { return path.endsWith(suffix); });
    return unwanted ? QString() : path;
}

bool VNRecentFilesRules::userExcludesSingleFile(const QString &path) const
{
    return isSingleExcludedItem(*lists(), path);
}

bool VNRecentFilesRules::isSystemFile(VNItem *item)
{
    if (!item)
        return true;
    // Only the metadata index can call a file a system support file, and it keeps no such record yet.
    return false;
}

VNRecentFilesRules::FolderVerdict VNRecentFilesRules::folderVerdict(const Lists &lists, const QString &path)
{
    if (hasPrefixIn(path, lists.wantedDirectories))
        return FolderVerdict::Wanted;
    if (hasPrefixIn(path, lists.unwantedDirectories))
        return FolderVerdict::Excluded;
    if (pathInHardCodedIncludeSet(path))
        return FolderVerdict::AlwaysIncluded;
    // The appended "/" lets a fragment such as "/build/" match a folder named build itself.
    if (containsFragmentOf(lists, path, true) || hasExtensionIn(lists, path) ||
        isSingleExcludedItem(lists, path))
        return FolderVerdict::Excluded;
    return passesHardCodedExcludePaths(path) ? FolderVerdict::Passed : FolderVerdict::Excluded;
}

bool VNRecentFilesRules::userWantsFolderIncluded(const QString &path) const
{
    return folderVerdict(*lists(), path) != FolderVerdict::Excluded;
}

bool VNRecentFilesRules::userWantsItemIncluded(VNItem &item) const
{
    if (item.isInvisible() || !item.fileExists())
        return false;
    const QString path = item.path();
    const std::shared_ptr<const Lists> current = lists();
    switch (folderVerdict(*current, path)) {
    case FolderVerdict::Excluded:
        return false;
    case FolderVerdict::Passed:
        // The folder test already applied the extension, fragment and single-item lists.
        break;
    case FolderVerdict::Wanted:
    case FolderVerdict::AlwaysIncluded:
        if (hasExtensionIn(*current, path) || containsFragmentOf(*current, path) ||
            isSingleExcludedItem(*current, path))
            return false;
        break;
    }
    return !isSystemFile(&item);
}
