#include "XPTagEditorController.h"

#include "Log.h"
#include "NotificationCenter.h"
#include "Presenter.h"
#include "Quendel.h"
#include "QuitFlag.h"
#include "StringTable.h"
#include "UserDefaults.h"
#include "XPDeltaTagsOperation.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

// Set by the progress window's stop button, cleared by every write.
bool stopRequested = false;

const QString recentTagGroupsKey = QStringLiteral("recentTagGroups");
constexpr qint64 defaultTagGroupsToRemember = 6;
constexpr qsizetype lastListedFailureBeforeLeftovers = 9;

QString text(const QString &key, const QStringList &arguments = {})
{
    return StringTable::substitute(StringTable::localized(key, QStringLiteral("XPTagEditorLocalizable")),
                                   arguments);
}

QString number(qsizetype value)
{
    return QString::number(value);
}

QString abbreviatingHome(const QString &path)
{
    const QString home = QDir::homePath();
    if (path == home || path.startsWith(home + QLatin1Char('/')))
        return QLatin1Char('~') + path.mid(home.size());
    return path;
}

// Lets backups and synchronisers that look only at modification times see the new tags, without making an
// old document look freshly edited.
void nudgeModificationDate(const QString &path)
{
    constexpr time_t untouchedSeconds = 3600;
    constexpr time_t nudgeSeconds = 2;
    const QByteArray name = QFile::encodeName(path);
    struct stat status {};
    if (lstat(name.constData(), &status) != 0)
        return;
    if (QDateTime::currentSecsSinceEpoch() < status.st_mtim.tv_sec + untouchedSeconds)
        return;
    timespec times[2] = {status.st_atim, status.st_mtim};
    times[1].tv_sec += nudgeSeconds;
    utimensat(AT_FDCWD, name.constData(), times, AT_SYMLINK_NOFOLLOW);
}

QString changeReportKey(bool tags, bool rating, qsizetype changed)
{
    const bool none = changed < 1;
    if (tags && rating)
        return none ? QStringLiteral("KPReportNoTagsOrRatingsChanges")
                    : QStringLiteral("KPReportTagsAndRatingsChanges");
    if (rating)
        return none ? QStringLiteral("KPReportNoRatingsChanges") : QStringLiteral("KPReportRatingsChanges");
    return none ? QStringLiteral("KPReportNoTagsChanges") : QStringLiteral("KPReportTagsChanges");
}

void post(const QString &name, const QStringList &filePaths)
{
    NotificationCenter::defaultCenter().post(name, nullptr, {{QStringLiteral("filePaths"), filePaths}});
}

} // namespace

bool XPTagEditorController::needToSetTags(const QStringList &originalTags, const QStringList &newTags)
{
    return originalTags != newTags;
}

bool XPTagEditorController::needToSet(const QStringList &, const QStringList &, const QStringList &filePaths,
                                      std::optional<double>)
{
    return !filePaths.isEmpty();
}

XPTagWriteOutcome
XPTagEditorController::replaceOriginalTags(const QStringList &originalTags, const QStringList &newTags,
                                           const QStringList &filePaths, std::optional<double> rating,
                                           bool confirmWhenChangingManyFiles, bool reportChanges,
                                           Presenter &presenter, UserDefaults &defaults)
{
    using Status = XPTagWriteOutcome::Status;
    if (!needToSet(originalTags, newTags, filePaths, rating))
        return {};
    const qsizetype count = filePaths.size();
    if (confirmWhenChangingManyFiles && count > refusalLimit) {
        showTooManyWarning(count, presenter);
        return {Status::refused, {}};
    }
    if (confirmWhenChangingManyFiles && count > confirmationLimit) {
        const XPDeltaTagsOperation operation{filePaths, originalTags, newTags, rating};
        const int answer = presenter.runAlert(
            {Presenter::AlertStyle::critical,
             text(QStringLiteral("XPEditTagsManyDocumentsTitle"), {number(count)}),
             text(QStringLiteral("XPEditTagsManyDocumentsComments"), {number(count)}),
             {text(QStringLiteral("XPEditTagsManyDocumentsOKButton")), text(QStringLiteral("XPCancel"))}});
        if (answer != 0)
            return {Status::declined, {}};
        return replaceOriginalTags(operation.originalTags, operation.newTags, operation.filePaths,
                                   operation.newRating, false, presenter, defaults);
    }
    return replaceOriginalTags(originalTags, newTags, filePaths, rating, reportChanges, presenter, defaults);
}

XPTagWriteOutcome XPTagEditorController::replaceOriginalTagsAfterCheckingHowManyFilesAreChanging(
    const QStringList &originalTags, const QStringList &newTags, const QStringList &filePaths,
    std::optional<double> rating, Presenter &presenter, UserDefaults &defaults)
{
    return replaceOriginalTags(originalTags, newTags, filePaths, rating, true, false, presenter, defaults);
}

XPTagWriteOutcome XPTagEditorController::replaceOriginalTags(const QStringList &originalTags,
                                                             const QStringList &newTags,
                                                             const QStringList &filePaths,
                                                             std::optional<double> rating, bool reportChanges,
                                                             Presenter &presenter, UserDefaults &defaults)
{
    XPTagWriteOutcome outcome;
    if (!needToSet(originalTags, newTags, filePaths, rating))
        return outcome;
    addNewTagsToRecentGroups(newTags, defaults);
    stopRequested = false;

    const bool showsProgress = filePaths.size() >= progressThreshold;
    if (showsProgress)
        presenter.beginProgress(text(QStringLiteral("XPProgressSettingTags")), filePaths.size(),
                                text(QStringLiteral("XPProgressSettingTagsStop")), &stopWritingTags);

    const bool writesTags = needToSetTags(originalTags, newTags);
    const bool nudges = defaults.boolValue(QStringLiteral("KPSetModifiyTimeOnTagsChanging"));
    outcome.status = XPTagWriteOutcome::Status::finished;
    QStringList failedPaths;
    for (const QString &path : filePaths) {
        // A quitting program ends the write between two files too.
        if (stopRequested || QuitFlag::isRaised()) {
            outcome.status = XPTagWriteOutcome::Status::stopped;
            break;
        }
        if (rating)
            Quendel::setRating(path, *rating); // a rating that does not stick is not worth a report
        if (writesTags || rating) {
            QuendelResult error;
            if (writesTags)
                error = Quendel::setCommonUserTags({path}, originalTags, newTags);
            if (nudges)
                nudgeModificationDate(path);
            if (error) {
                failedPaths.append(path);
                outcome.failures.append({path, *error});
                Log::line(QStringLiteral("error in writing tags/ratings - %1 on %2").arg(error->info, path));
            }
        }
        if (showsProgress)
            presenter.advanceProgress();
    }

    if (showsProgress) {
        presenter.endProgress();
    } else if (reportChanges && (writesTags || rating)) {
        const qsizetype changed = filePaths.size() - failedPaths.size();
        presenter.showStatus(StringTable::substitute(StringTable::localized(changeReportKey(
                                                         writesTags, rating.has_value(), changed)),
                                                     {number(changed)}),
                             reportSeconds);
    }
    if (!failedPaths.isEmpty())
        reportFailedItems(failedPaths, filePaths, presenter);
    if (rating)
        post(QStringLiteral("documentsChangingRatings"), filePaths);
    if (writesTags)
        post(QStringLiteral("documentsChangingTags"), filePaths);
    return outcome;
}

void XPTagEditorController::showTooManyWarning(qsizetype count, Presenter &presenter)
{
    presenter.runAlert({Presenter::AlertStyle::critical,
                        text(QStringLiteral("XPRefuseToEditTagsManyDocumentsTitle"), {number(count)}),
                        text(QStringLiteral("XPRefuseToEditTagsManyDocumentsComments"),
                             {number(count), number(refusalLimit)}),
                        {text(QStringLiteral("XPRefuseToEditTagsManyDocumentsOKButton"))}});
}

void XPTagEditorController::reportFailedItems(const QStringList &failedPaths, const QStringList &allPaths,
                                              Presenter &presenter)
{
    if (failedPaths.isEmpty())
        return;
    QString titleKey;
    QString messageKey;
    if (failedPaths.size() == 1) {
        titleKey = allPaths.size() == 1 ? QStringLiteral("XPOneTagsNotSetTitle")
                                        : QStringLiteral("XPOneTagsNotSetOneOfManyTitle");
        messageKey = QStringLiteral("XPOneTagsNotSetComments");
    } else if (failedPaths.size() >= allPaths.size()) {
        titleKey = QStringLiteral("XPNoTagsSetTitle");
        messageKey = QStringLiteral("XPNoTagsSetComments");
    } else {
        titleKey = QStringLiteral("XPSomeTagsSetTitle");
        messageKey = QStringLiteral("XPSomeTagsSetComments");
    }

    QStringList names;
    for (qsizetype index = 0; index < failedPaths.size(); ++index) {
        names.append(QFileInfo(failedPaths[index]).fileName());
        // A single leftover is named rather than counted.
        const qsizetype remaining = failedPaths.size() - index - 1;
        if (index >= lastListedFailureBeforeLeftovers && remaining >= 2) {
            names.append(text(QStringLiteral("XPSomeTagsSetLeftovers"), {{}, {}, {}, number(remaining)}));
            break;
        }
    }
    const QStringList arguments = {names.join(QLatin1Char('\n')), abbreviatingHome(failedPaths.first()),
                                   number(failedPaths.size())};
    presenter.runAlert({Presenter::AlertStyle::warning,
                        text(titleKey, arguments),
                        text(messageKey, arguments),
                        {text(QStringLiteral("XPTagsNotSetOKButton"))}});
}

void XPTagEditorController::stopWritingTags()
{
    stopRequested = true;
}

void XPTagEditorController::addNewTagsToRecentGroups(const QStringList &tags, UserDefaults &defaults)
{
    const QString key = tags.join(QLatin1Char(','));
    if (tags.isEmpty() || key.isEmpty())
        return;
    QVariantMap groups = defaults.dictionaryValue(recentTagGroupsKey);
    groups.insert(key, QVariantMap{{QStringLiteral("tags"), tags},
                                   {QStringLiteral("date"), QDateTime::currentDateTimeUtc()}});
    removeExtraTagGroups(groups, defaults);
    defaults.setValue(recentTagGroupsKey, groups);
}

void XPTagEditorController::removeExtraTagGroups(QVariantMap &groups, const UserDefaults &defaults)
{
    qint64 limit = defaults.integerValue(QStringLiteral("maxTagGroupsToRemember"));
    if (limit < 1)
        limit = defaultTagGroupsToRemember;
    while (groups.size() > limit) {
        auto oldest = groups.begin();
        for (auto group = groups.begin(); group != groups.end(); ++group) {
            if (group->toMap().value(QStringLiteral("date")).toDateTime() <
                oldest->toMap().value(QStringLiteral("date")).toDateTime())
                oldest = group;
        }
        groups.erase(oldest);
    }
}
