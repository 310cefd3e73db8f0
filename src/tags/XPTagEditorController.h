#pragma once

#include "QuendelError.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>
#include <utility>

class Presenter;
class UserDefaults;

// What became of a commit.
struct XPTagWriteOutcome {
    enum class Status {
        nothingToWrite, // no paths
        refused,        // more than XPTagEditorController::refusalLimit files
        declined,       // the user cancelled the confirmation
        stopped,        // the user stopped the progress; the files before the stop are written
        finished,
    };

    Status status = Status::nothingToWrite;
    QList<std::pair<QString, QuendelError>> failures; // the files whose tags could not be written, in order
};

// The commit of the tag editor: writes an edit of the common tags and the rating of many files, guarding
// large edits with a confirmation or a refusal, showing progress, reporting failed files and keeping the
// history of recently used tag groups ("recentTagGroups", limited by "maxTagGroupsToRemember") in `defaults`.
// With "KPSetModifiyTimeOnTagsChanging" on, files not modified within the last hour get their modification
// time moved forward by 2 seconds, so that backups and synchronisers notice the change.
//
// Posts "documentsChangingRatings" and "documentsChangingTags" on the default centre, with the paths under
// "filePaths" in the user info. Main thread only.
class XPTagEditorController {
public:
    static constexpr qsizetype confirmationLimit = 20; // more files ask first
    static constexpr qsizetype refusalLimit = 150000;  // more files are refused
    static constexpr qsizetype progressThreshold = 11; // this many files show progress
    static constexpr double reportSeconds = 0.8;

    // False when both are empty or equal in order; reordering counts as a change.
    static bool needToSetTags(const QStringList &originalTags, const QStringList &newTags);
    // False only for an empty selection: the writer itself skips files when there is nothing to write.
    static bool needToSet(const QStringList &originalTags, const QStringList &newTags,
                          const QStringList &filePaths, std::optional<double> rating);

    // The entry point of every commit. With `confirmWhenChangingManyFiles`, refuses more than refusalLimit
    // files and asks before changing more than confirmationLimit. `reportChanges` shows the number of changed
    // files as a status when no progress was shown.
    static XPTagWriteOutcome replaceOriginalTags(const QStringList &originalTags, const QStringList &newTags,
                                                 const QStringList &filePaths, std::optional<double> rating,
                                                 bool confirmWhenChangingManyFiles, bool reportChanges,
                                                 Presenter &presenter, UserDefaults &defaults);
    // The entry point with confirmation on and no change report.
    static XPTagWriteOutcome replaceOriginalTagsAfterCheckingHowManyFilesAreChanging(
        const QStringList &originalTags, const QStringList &newTags, const QStringList &filePaths,
        std::optional<double> rating, Presenter &presenter, UserDefaults &defaults);
    // The writer, with no questions asked.
    static XPTagWriteOutcome replaceOriginalTags(const QStringList &originalTags, const QStringList &newTags,
                                                 const QStringList &filePaths, std::optional<double> rating,
                                                 bool reportChanges, Presenter &presenter,
                                                 UserDefaults &defaults);

    static void showTooManyWarning(qsizetype count, Presenter &presenter);
    static void reportFailedItems(const QStringList &failedPaths, const QStringList &allPaths,
                                  Presenter &presenter);
    // Ends a running write between two files.
    static void stopWritingTags();

    static void addNewTagsToRecentGroups(const QStringList &tags, UserDefaults &defaults);
    static void removeExtraTagGroups(QVariantMap &groups, const UserDefaults &defaults);
};
