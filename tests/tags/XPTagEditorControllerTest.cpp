#include "XPTagEditorController.h"

#include "NotificationCenter.h"
#include "Quendel.h"
#include "ScriptedPresenter.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"

#include <QFile>
#include <QObject>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

qint64 modificationNanoseconds(const QString &path)
{
    struct stat status {};
    lstat(QFile::encodeName(path).constData(), &status);
    return qint64(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
}

class XPTagEditorControllerTest : public ::testing::Test {
protected:
    XPTagEditorControllerTest()
    {
        for (const QString &name :
             {QStringLiteral("documentsChangingTags"), QStringLiteral("documentsChangingRatings")})
            NotificationCenter::defaultCenter().addObserver(
                name, &observer, [this](const Notification &note) {
                    notifications.append({note.name, note.userInfo.value("filePaths").toStringList()});
                });
    }
    ~XPTagEditorControllerTest() override { NotificationCenter::defaultCenter().removeObservers(&observer); }

    QStringList files(int count, const QString &tag = "old", double ageSeconds = 0)
    {
        QStringList paths;
        for (int index = 0; index < count; ++index) {
            paths.append(
                home.writeFile(QString("docs/file%1.txt").arg(index, 2, 10, QChar('0')), ageSeconds));
            Quendel::setUserTags(QStringList{tag, "keep"}, paths.last());
        }
        return paths;
    }

    XPTagWriteOutcome commit(const QStringList &paths, std::optional<double> rating = std::nullopt)
    {
        return XPTagEditorController::replaceOriginalTagsAfterCheckingHowManyFilesAreChanging(
            {"old"}, {"new"}, paths, rating, presenter, defaults);
    }

    TemporaryHome home;
    UserDefaults defaults{home.filePath("defaults.plist")};
    ScriptedPresenter presenter;
    QObject observer;
    QList<std::pair<QString, QStringList>> notifications;
};

TEST_F(XPTagEditorControllerTest, AsksBeforeChangingMoreThanTwentyFilesAndRefusesMoreThan150000)
{
    const QStringList twenty = files(20);
    EXPECT_EQ(commit(twenty).status, XPTagWriteOutcome::Status::finished);
    EXPECT_TRUE(presenter.alerts.isEmpty());
    EXPECT_EQ(Quendel::getUserTags(twenty.last()), QStringList({"keep", "new"}));

    const QStringList twentyOne = files(21);
    presenter.answers = {1};
    notifications.clear();
    EXPECT_EQ(commit(twentyOne).status, XPTagWriteOutcome::Status::declined);
    ASSERT_EQ(presenter.alerts.size(), 1);
    const Presenter::Alert &question = presenter.alerts.first();
    EXPECT_EQ(question.style, Presenter::AlertStyle::critical);
    EXPECT_EQ(question.title, "Change the tags of 21 documents?");
    EXPECT_EQ(question.buttons, QStringList({"Change Tags", "Cancel"}));
    for (const QString &path : twentyOne)
        EXPECT_EQ(Quendel::getUserTags(path), QStringList({"old", "keep"})) << "declining changes nothing";
    EXPECT_TRUE(notifications.isEmpty());

    presenter.answers = {0};
    EXPECT_EQ(commit(twentyOne).status, XPTagWriteOutcome::Status::finished);
    for (const QString &path : twentyOne)
        EXPECT_EQ(Quendel::getUserTags(path), QStringList({"keep", "new"}));

    presenter.alerts.clear();
    defaults.removeValue("recentTagGroups");
    QStringList tooMany(150001, home.filePath("absent"));
    EXPECT_EQ(commit(tooMany).status, XPTagWriteOutcome::Status::refused);
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts.first().buttons.size(), 1);
    EXPECT_TRUE(presenter.alerts.first().message.contains("150000"));
    EXPECT_TRUE(presenter.alerts.first().message.contains("150001"));
    EXPECT_FALSE(defaults.value("recentTagGroups").isValid()) << "a refused edit is not history";

    presenter.alerts.clear();
    EXPECT_EQ(XPTagEditorController::replaceOriginalTags({"old"}, {"new"}, twentyOne, std::nullopt, false,
                                                         false, presenter, defaults)
                  .status,
              XPTagWriteOutcome::Status::finished);
    EXPECT_TRUE(presenter.alerts.isEmpty()) << "without confirmation nothing is asked";
    EXPECT_EQ(commit({}).status, XPTagWriteOutcome::Status::nothingToWrite);
}

TEST_F(XPTagEditorControllerTest, ShowsProgressFromElevenFilesAndElseReportsTheChange)
{
    const QStringList ten = files(10);
    XPTagEditorController::replaceOriginalTags({"old"}, {"new"}, ten, 3.0, true, presenter, defaults);
    EXPECT_EQ(presenter.progressCount, -1);
    EXPECT_EQ(presenter.statuses.size(), 1);
    EXPECT_EQ(presenter.statusSeconds, 0.8);

    presenter.statuses.clear();
    const QStringList eleven = files(11);
    XPTagEditorController::replaceOriginalTags({"old"}, {"new"}, eleven, std::nullopt, true, presenter,
                                               defaults);
    EXPECT_EQ(presenter.progressCount, 11);
    EXPECT_EQ(presenter.stopTitle, "Stop");
    EXPECT_EQ(presenter.itemsDone, 11);
    EXPECT_TRUE(presenter.progressEnded);
    EXPECT_TRUE(presenter.statuses.isEmpty()) << "the progress window stands for the report";

    // Nothing to write, nothing to report.
    XPTagEditorController::replaceOriginalTags({"a"}, {"a"}, ten, std::nullopt, true, presenter, defaults);
    EXPECT_TRUE(presenter.statuses.isEmpty());
}

TEST_F(XPTagEditorControllerTest, StopEndsTheWriteBetweenTwoFiles)
{
    const QStringList paths = files(12);
    presenter.stopAfterItems = 3;
    EXPECT_EQ(commit(paths).status, XPTagWriteOutcome::Status::stopped);
    for (int index = 0; index < paths.size(); ++index)
        EXPECT_EQ(Quendel::getUserTags(paths[index]).contains("new"), index < 3) << index;

    presenter.stopAfterItems = -1;
    EXPECT_EQ(XPTagEditorController::replaceOriginalTags({"old"}, {"new"}, paths.mid(3), std::nullopt, false,
                                                         presenter, defaults)
                  .status,
              XPTagWriteOutcome::Status::finished)
        << "every write starts with the stop cleared";
    EXPECT_TRUE(Quendel::getUserTags(paths.last()).contains("new"));
}

TEST_F(XPTagEditorControllerTest, ReportsTheFilesThatFailedAndWritesTheOthers)
{
    QStringList paths = files(2);
    const QString link = home.filePath("docs/link.txt");
    ASSERT_TRUE(QFile::link(paths.first(), link));
    paths.insert(1, link);

    const XPTagWriteOutcome outcome = commit(paths);
    ASSERT_EQ(outcome.failures.size(), 1);
    EXPECT_EQ(outcome.failures.first().first, link);
    EXPECT_EQ(outcome.failures.first().second.info, "errno error: 1, Operation not permitted");
    EXPECT_EQ(Quendel::getUserTags(paths.last()), QStringList({"keep", "new"}));
    ASSERT_EQ(presenter.alerts.size(), 1);
    EXPECT_EQ(presenter.alerts.first().title, "The tags of one document could not be set.");
    EXPECT_EQ(presenter.alerts.first().message, "Vantry could not change the tags of ~/docs/link.txt.");
    ASSERT_EQ(notifications.size(), 1) << "the failure does not hold back the notification";
    EXPECT_EQ(notifications.first(), std::make_pair(QString("documentsChangingTags"), paths));
}

TEST_F(XPTagEditorControllerTest, FailureListNamesUpToElevenFiles)
{
    QStringList failed;
    for (int index = 1; index <= 12; ++index)
        failed.append(QString("/data/f%1").arg(index));

    XPTagEditorController::reportFailedItems(failed, failed, presenter);
    XPTagEditorController::reportFailedItems(failed.mid(0, 11), failed, presenter);
    ASSERT_EQ(presenter.alerts.size(), 2);
    EXPECT_EQ(presenter.alerts[0].title, "No tags could be set.");
    EXPECT_EQ(
        presenter.alerts[0].message,
        "None of the 12 documents could be changed:\nf1\nf2\nf3\nf4\nf5\nf6\nf7\nf8\nf9\nf10\nand 2 more");
    EXPECT_EQ(presenter.alerts[1].title, "The tags of 11 documents could not be set.");
    EXPECT_EQ(presenter.alerts[1].message,
              "These documents could not be changed:\nf1\nf2\nf3\nf4\nf5\nf6\nf7\nf8\nf9\nf10\nf11");

    XPTagEditorController::reportFailedItems({"/data/only"}, {"/data/only"}, presenter);
    EXPECT_EQ(presenter.alerts.last().title, "The tags of \u201conly\u201d could not be set.");
}

TEST_F(XPTagEditorControllerTest, ReorderedTagsAreAChange)
{
    EXPECT_FALSE(XPTagEditorController::needToSetTags({}, {}));
    EXPECT_FALSE(XPTagEditorController::needToSetTags({"a", "b"}, {"a", "b"}));
    EXPECT_TRUE(XPTagEditorController::needToSetTags({"a", "b"}, {"b", "a"}));

    const QString path = home.writeFile("a.txt");
    Quendel::setUserTags(QStringList{"a", "b"}, path);
    XPTagEditorController::replaceOriginalTags({"a", "b"}, {"b", "a"}, {path}, std::nullopt, false, presenter,
                                               defaults);
    EXPECT_EQ(Quendel::getUserTags(path), QStringList({"b", "a"}));
}

TEST_F(XPTagEditorControllerTest, RatingChangesNudgeOldFilesByTwoSeconds)
{
    defaults.setValue("KPSetModifiyTimeOnTagsChanging", true);
    const QString old = home.writeFile("old.txt", 7200);
    const QString fresh = home.writeFile("fresh.txt");
    const qint64 oldBefore = modificationNanoseconds(old);
    const qint64 freshBefore = modificationNanoseconds(fresh);

    XPTagEditorController::replaceOriginalTags({}, {}, {old, fresh}, 4.0, false, presenter, defaults);
    EXPECT_EQ(Quendel::getRating(old), 4.0);
    EXPECT_EQ(modificationNanoseconds(old), oldBefore + 2000000000);
    EXPECT_EQ(modificationNanoseconds(fresh), freshBefore)
        << "files changed within the hour stay as they are";
    ASSERT_EQ(notifications.size(), 1) << "a rating-only change is no tag change";
    EXPECT_EQ(notifications.first().first, "documentsChangingRatings");

    defaults.setValue("KPSetModifiyTimeOnTagsChanging", false);
    XPTagEditorController::replaceOriginalTags({}, {}, {old}, 2.0, false, presenter, defaults);
    EXPECT_EQ(modificationNanoseconds(old), oldBefore + 2000000000);
}

TEST_F(XPTagEditorControllerTest, RemembersTheMostRecentTagGroups)
{
    for (int index = 1; index <= 7; ++index)
        XPTagEditorController::addNewTagsToRecentGroups({QString("g%1").arg(index), "x"}, defaults);
    XPTagEditorController::addNewTagsToRecentGroups({}, defaults);
    XPTagEditorController::addNewTagsToRecentGroups({""}, defaults);

    QVariantMap groups = defaults.dictionaryValue("recentTagGroups");
    EXPECT_EQ(groups.keys(), QStringList({"g2,x", "g3,x", "g4,x", "g5,x", "g6,x", "g7,x"}));
    EXPECT_EQ(groups.value("g7,x").toMap().value("tags").toStringList(), QStringList({"g7", "x"}));
    EXPECT_TRUE(groups.value("g7,x").toMap().value("date").toDateTime().isValid());

    defaults.setValue("maxTagGroupsToRemember", 2);
    XPTagEditorController::replaceOriginalTags({"old"}, {"g8"}, {home.writeFile("a.txt")}, std::nullopt,
                                               false, presenter, defaults);
    groups = defaults.dictionaryValue("recentTagGroups");
    EXPECT_EQ(groups.size(), 2);
    EXPECT_TRUE(groups.contains("g8"));
}

} // namespace
