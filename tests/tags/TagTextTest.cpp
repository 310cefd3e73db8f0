#include "TagText.h"

#include "QtPrinters.h"
#include "TagLists.h"

#include <gtest/gtest.h>

namespace {

TEST(TagTextTest, PrefixedFormRoundTrips)
{
    const QStringList tags{"work", "two words"};
    const QString text = TagText::tagFormattedStringPrefix(tags, "&");
    EXPECT_EQ(text, "&work &\"two words\"");
    EXPECT_EQ(TagText::arrayWithTagFormattedString(text, "&"), tags);
}

TEST(TagTextTest, PrefixedParsingIgnoresTextBetweenTagsAndRepeats)
{
    EXPECT_EQ(TagText::arrayWithTagFormattedString("see &work and &\"two words\" here", "&"),
              (QStringList{"work", "two words"}));
    EXPECT_EQ(TagText::arrayWithTagFormattedString("&Work &work", "&"), QStringList{"Work"});
    EXPECT_EQ(TagText::arrayWithTagFormattedString("no tags & here", "&"), QStringList{});
    // An unterminated quote runs to the end; a prefix glued to a word is not a marker.
    EXPECT_EQ(TagText::arrayWithTagFormattedString("a&b &\"open ended", "&"), QStringList{"open ended"});
    EXPECT_EQ(TagText::arrayWithTagFormattedString("#one #two%20x", "#"), (QStringList{"one", "two x"}));
}

TEST(TagTextTest, SpaceSeparatedFormSplitsQuotesAndJoinsKeys)
{
    EXPECT_EQ(TagText::arrayWithTagFormattedStringOld("a  b"), (QStringList{"a", "b"}));
    EXPECT_EQ(TagText::arrayWithTagFormattedStringOld("one \"two  words\" &three key: value"),
              (QStringList{"one", "two  words", "three", "key:value"}));
    EXPECT_EQ(TagText::arrayWithTagFormattedStringOld("a:b: c last:"), (QStringList{"a:b:c", "last:"}));
    EXPECT_EQ(TagText::arrayWithTagFormattedStringOld("x\"open end"), (QStringList{"x", "open end"}));
    EXPECT_EQ(TagText::arrayWithTagFormattedStringOld("Tag tag & \"\""), QStringList{"Tag"});

    const QStringList tags{"plain", "with space", "x"};
    EXPECT_EQ(TagText::tagFormattedStringOld(tags), "plain \"with space\" x");
    EXPECT_EQ(TagText::arrayWithTagFormattedStringOld(TagText::tagFormattedStringOld(tags)), tags);
}

TEST(TagTextTest, CleaningTrimsOnlySpacesAndDropsLineEnds)
{
    EXPECT_EQ(TagText::cleanTag("  a\tb%20c\r\n "), "a\tb c");
    EXPECT_EQ(TagText::cleanTag("\tx\t"), "\tx\t");
}

TEST(TagListsTest, CaseInsensitiveLookupAndRemoval)
{
    const QStringList tags{"Work", "home", "Ärger"};
    EXPECT_EQ(TagLists::indexOfCaseInsensitiveString(tags, "HOME"), 1);
    EXPECT_EQ(TagLists::indexOfCaseInsensitiveString(tags, "ärger"), 2);
    EXPECT_EQ(TagLists::indexOfCaseInsensitiveString(tags, "hom"), -1);
    EXPECT_EQ(TagLists::arrayByRemovingObjectsFromArrayCaseInsensitive(tags, {"work", "ÄRGER"}),
              QStringList{"home"});
}

TEST(TagListsTest, CommonTagsKeepTheFirstListsOrderAndSpelling)
{
    EXPECT_EQ(TagLists::combineArraysCommonOnlyCaseInsensitive({"B", "a", "c"}, {"A", "b"}),
              (QStringList{"B", "a"}));
    EXPECT_EQ(TagLists::combineArraysCommonOnlyCaseInsensitive({"a"}, {"b"}), QStringList{});
    EXPECT_EQ(TagLists::combineArraysCommonOnlyCaseInsensitive({}, {"b"}), QStringList{});
}

TEST(TagListsTest, CombiningSkipsRepeatsIgnoringCaseAndComposition)
{
    const QString composed = QString::fromUtf8("Caf\u00e9");
    const QString decomposed = QString::fromUtf8("CAFE\u0301");
    EXPECT_EQ(TagLists::combineArraysSkipDuplicatesCaseInsensitive({composed, "x", "two%20words"},
                                                                   {decomposed, "X", "y"}),
              (QStringList{composed, "x", "y"}));
    EXPECT_EQ(TagLists::combineArraysSkipDuplicatesCaseInsensitive({}, {}), QStringList{});
    EXPECT_EQ(TagLists::removeDuplicateCaseInsensitiveStrings({"b", "A", "B", "a"}), (QStringList{"b", "A"}));
}

} // namespace
