#pragma once

#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>

class UserDefaults;
class VNItem;

// Which changed folders are worth scanning and which files may enter the recent list: the user's five rule
// lists (kept as copies of the user defaults) together with fixed lists of places nobody wants to see.
// The tests run on the event-stream thread while the lists change on the main thread; each reads one
// consistent copy of the lists.
class VNRecentFilesRules {
public:
    explicit VNRecentFilesRules(UserDefaults &defaults);

    // The user defaults whose changes call for loadPrefs().
    static const QStringList &observedKeys();
    void loadPrefs();

    static bool cullPrivateAndInvisibleEtc(const QString &path);
    bool pathInPrefIncludeSet(const QString &path) const;
    bool passesPrefExcludePaths(const QString &path) const;
    static bool pathInHardCodedIncludeSet(const QString &path);
    static bool passesHardCodedExcludePaths(const QString &path);
    // These three give the path back when it passes, a null string when it does not.
    QString filterOutUnwantedExtensions(const QString &path) const;
    QString filterOutUnwantedPathFragments(const QString &path) const;
    static QString filterOutUnwantedPackages(const QString &path);
    bool userExcludesSingleFile(const QString &path) const;
    static bool isSystemFile(VNItem *item);

    bool userWantsFolderIncluded(const QString &path) const;
    bool userWantsItemIncluded(VNItem &item) const;

    // The extension as the rules compare it: after the last "." of the last component, never a leading dot.
    static QString pathExtension(const QString &path);

private:
    struct Lists {
        QStringList wantedDirectories;
        QStringList unwantedDirectories;
        QStringList unwantedExtensions;
        QStringList unwantedPathFragments;
        QStringList unwantedItems;
    };
    std::shared_ptr<const Lists> lists() const;
    static bool hasExtensionIn(const Lists &lists, const QString &path);
    // `withSlash`: test the path as if it ended with "/".
    static bool containsFragmentOf(const Lists &lists, const QString &path, bool withSlash = false);
    static bool isSingleExcludedItem(const Lists &lists, const QString &path);
    // Which rule of the folder test decided: Wanted and AlwaysIncluded let the path skip the user's other
    // lists, Passed means it went through all of them.
    enum class FolderVerdict { Wanted, AlwaysIncluded, Passed, Excluded };
    static FolderVerdict folderVerdict(const Lists &lists, const QString &path);

    UserDefaults &m_defaults;
    mutable std::mutex m_lockForPrefs;
    std::shared_ptr<const Lists> m_lists;
};
