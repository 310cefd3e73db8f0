#include "StringTable.h"

#include <gtest/gtest.h>

namespace {

TEST(StringTableTest, LooksUpKeysInTheirOwnTableAndMissingOnesAreEmpty)
{
    EXPECT_EQ(StringTable::localized("VNTodayDate"), "Today, %1");
    EXPECT_EQ(StringTable::localized("VNStackSubtitleTemplate", "Localizable"), "%1 items");
    EXPECT_EQ(StringTable::localized("VNTodayDate", "ServerStrings"), QString());
    EXPECT_EQ(StringTable::localized("VNNoSuchKey"), QString());
    EXPECT_EQ(StringTable::localized("VNTodayDate", "NoSuchTable"), QString());
}

TEST(StringTableTest, SubstitutesEachPlaceholderOnceThroughWithoutTouchingArguments)
{
    EXPECT_EQ(StringTable::substitute("%2 of %1, %2 again", {"ten", "three"}), "three of ten, three again");
    EXPECT_EQ(StringTable::substitute("%1%2%3%4", {"a", "b", "c", "d"}), "abcd");
    EXPECT_EQ(StringTable::substitute("%1 and %2", {"%2", "100%1"}), "%2 and 100%1");
    EXPECT_EQ(StringTable::substitute("%1 / %2 / %5 / %0 / %", {"x"}), "x / %2 / %5 / %0 / %");
    EXPECT_EQ(StringTable::substitute("%5", {"a", "b", "c", "d", "e"}), "%5");
}

} // namespace
