#include "XPTagsTokenFieldController.h"

#include "QtPrinters.h"
#include "TemporaryHome.h"
#include "UserDefaults.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

class XPTagsTokenFieldControllerTest : public ::testing::Test {
protected:
    void useCommas(bool on) { defaults.setValue("KPUseCommas", on); }
    static QStringList words(int count, const QString &word = "w")
    {
        QStringList strings;
        for (int i = 0; i < count; ++i)
            strings.append(word + QString::number(i));
        return strings;
    }

    TemporaryHome home;
    UserDefaults defaults{home.filePath("Vantry.plist")};
    XPTagsTokenFieldController controller{defaults};
    QSignalSpy beeps{&controller, &XPTagsTokenFieldController::beep};
};

TEST_F(XPTagsTokenFieldControllerTest, QuotedTagsRoundTripThroughTheirEditingString)
{
    EXPECT_EQ(XPTagsTokenFieldController::userStringToDisplayString("\"New York\""), "New York");
    EXPECT_EQ(XPTagsTokenFieldController::displayStringToUserString(" New York "), "\"New York\"");
    EXPECT_EQ(XPTagsTokenFieldController::userStringToDisplayString("say \"hi\""), "say \"hi\"");
    EXPECT_TRUE(XPTagsTokenFieldController::userStringToDisplayString(QString()).isNull());

    const QStringList strings{"a", "\"A\"", "", "a ", "\" \""};
    EXPECT_EQ(XPTagsTokenFieldController::tagDisplayNamesForEditingStrings(strings, true),
              (QStringList{"a", "A"}));
    EXPECT_EQ(XPTagsTokenFieldController::tagDisplayNamesForEditingStrings(strings, false),
              (QStringList{"a", "A", "a"}));
}

TEST_F(XPTagsTokenFieldControllerTest, FreeTextSplitsByCommasOrSpaces)
{
    useCommas(true);
    EXPECT_EQ(XPTagsTokenFieldController::grepStringForTags("one two", defaults), QStringList{"one two"});
    EXPECT_EQ(XPTagsTokenFieldController::grepStringForTags("a, b,, ,a", defaults), (QStringList{"a", "b"}));
    EXPECT_EQ(XPTagsTokenFieldController::grepStringForTags("x \"two words\"", defaults),
              (QStringList{"x", "two words"}));
    const QString longText = "a text of forty characters or more, yes"; // the comma decides
    EXPECT_EQ(XPTagsTokenFieldController::grepStringForTags(longText, defaults).size(), 2);
    const QString longWords = "a text of exactly forty characters ....."; // 40 characters, no comma
    ASSERT_EQ(longWords.size(), 40);
    EXPECT_EQ(XPTagsTokenFieldController::grepStringForTags(longWords, defaults).size(), 7);
    EXPECT_EQ(XPTagsTokenFieldController::grepStringForTags("", defaults), QStringList{});

    useCommas(false);
    EXPECT_EQ(XPTagsTokenFieldController::grepStringForTags("one two", defaults),
              (QStringList{"one", "two"}));
}

TEST_F(XPTagsTokenFieldControllerTest, SpacesEndTokensOnlyWhenCommasAreOffAndNoQuoteIsOpen)
{
    const auto endsTokens = [&](const QString &typed, QChar character) {
        controller.setTokenizingCharacterSetBasedOnWhatsTyped(typed);
        return controller.tokenizingCharacters().contains(character);
    };
    useCommas(true);
    EXPECT_FALSE(endsTokens("\"New", ' '));
    EXPECT_TRUE(endsTokens("abc", ','));
    EXPECT_TRUE(endsTokens("abc", '\n'));

    useCommas(false);
    EXPECT_TRUE(endsTokens("abc", ' '));
    EXPECT_TRUE(endsTokens("abc", '\t'));
    EXPECT_FALSE(endsTokens("\"New", ' '));
    EXPECT_FALSE(endsTokens("\"", ' '));
    EXPECT_TRUE(endsTokens("\"New\"", ' '));
    EXPECT_TRUE(endsTokens("\"New", '\r'));
}

TEST_F(XPTagsTokenFieldControllerTest, AcceptedTokensJoinQuotedRuns)
{
    EXPECT_EQ(controller.tokenFieldShouldAddObjects({"\"New", "York\"", "x%20y", "\"\""}),
              (QStringList{"New York", "x y"}));
    EXPECT_EQ(controller.tokenFieldShouldAddObjects({"\"New York\"", "\"a", "b", "\""}),
              (QStringList{"New York", "a b"}));
    EXPECT_EQ(controller.tokenFieldShouldAddObjects({"\"never", "closed"}), QStringList{"never closed"});
    EXPECT_EQ(controller.tokenFieldShouldAddObjects(words(50)).size(), 50);
    EXPECT_EQ(controller.tokenFieldShouldAddObjects({QString(200, 'x')}).size(), 1);
    EXPECT_EQ(beeps.count(), 0);
}

TEST_F(XPTagsTokenFieldControllerTest, OversizedAdditionsAreRefusedWhole)
{
    EXPECT_EQ(controller.tokenFieldShouldAddObjects(words(51)), QStringList{});
    EXPECT_EQ(controller.tokenFieldShouldAddObjects({"ok", QString(201, 'x')}), QStringList{});
    EXPECT_EQ(controller.tokenFieldShouldAddObjects({"ok", "rejectedPasteTooBig"}), QStringList{});
    EXPECT_EQ(beeps.count(), 3);
}

TEST_F(XPTagsTokenFieldControllerTest, CompletionsKeepTheTypedCaseAndEncodeSpaces)
{
    controller.setCompletionCandidates({"world peace", "Work", "work", "other", "Wo"});
    useCommas(false);
    EXPECT_EQ(controller.tokenFieldCompletionsForSubstring("wo", {"wo"}, 1),
              (QStringList{"wo", "work", "world%20peace"}));
    EXPECT_EQ(controller.tokenFieldCompletionsForSubstring("\"wo", {}, 1),
              (QStringList{"\"wo", "\"work", "\"world peace"}));
    // Tokens already in the field are not offered again.
    EXPECT_EQ(controller.tokenFieldCompletionsForSubstring("WO", {"Wo", "Work", "world peace"}, 1),
              (QStringList{"WO", "WOrk"}));
    EXPECT_EQ(controller.tokenFieldCompletionsForSubstring("\"", {}, 1), QStringList{});

    useCommas(true);
    EXPECT_EQ(controller.tokenFieldCompletionsForSubstring("worl", {}, 1), QStringList{"world peace"});

    defaults.setValue("XPSkipTagAutoComplete", true);
    EXPECT_EQ(controller.tokenFieldCompletionsForSubstring("wo", {}, 1), QStringList{});
}

TEST_F(XPTagsTokenFieldControllerTest, CompletionsFillSixteenRowsOnTwoScreens)
{
    controller.setCompletionCandidates({"tea", "team"});
    QStringList padded{"tea", "team"};
    while (padded.size() < 16)
        padded.append(QString());
    EXPECT_EQ(controller.tokenFieldCompletionsForSubstring("te", {}, 2), padded);

    controller.setCompletionCandidates(words(20, "t"));
    const QStringList completions = controller.tokenFieldCompletionsForSubstring("t", {}, 3);
    ASSERT_EQ(completions.size(), 16);
    EXPECT_EQ(completions.first(), "t0");
    EXPECT_EQ(completions.last(), "t5"); // sorted as text: t0, t1, t10 ... t19, t2 ... t5
    EXPECT_EQ(controller.tokenFieldCompletionsForSubstring("t", {}, 1).size(), 20);
}

} // namespace
