#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/TextDecoding.h"

namespace orv {
namespace {

using namespace TextDecoding;

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> out;
    for (std::string_view line : Lines(text)) out.emplace_back(line);
    return out;
}

TEST(TextDecodingLines, EmptyTextHasNoLines) { EXPECT_TRUE(linesOf("").empty()); }

TEST(TextDecodingLines, FinalLineWithoutNewlineIsALine) {
    EXPECT_EQ(linesOf("a\nb"), (std::vector<std::string>{"a", "b"}));
}

TEST(TextDecodingLines, FinalNewlineStartsNoLine) {
    EXPECT_EQ(linesOf("a\nb\n"), (std::vector<std::string>{"a", "b"}));
}

TEST(TextDecodingLines, EmptyLinesInsideAreKept) {
    EXPECT_EQ(linesOf("a\n\n\nb\n"), (std::vector<std::string>{"a", "", "", "b"}));
}

TEST(TextDecodingLines, ALoneNewlineIsOneEmptyLine) { EXPECT_EQ(linesOf("\n"), (std::vector<std::string>{""})); }

TEST(TextDecodingLines, CarriageReturnStaysOnItsLineForTrimToRemove) {
    auto lines = linesOf("key=a\r\nkey=b\r\n");
    EXPECT_EQ(lines, (std::vector<std::string>{"key=a\r", "key=b\r"}));
    EXPECT_EQ(trim(lines[0]), "key=a");
}

TEST(TextDecodingTrim, RemovesWhiteSpaceAtBothEndsOnly) {
    EXPECT_EQ(trim(" \t a b \r\n"), "a b");
    EXPECT_EQ(trimStart("  a "), "a ");
    EXPECT_EQ(trimEnd("  a "), "  a");
}

TEST(TextDecodingTrim, AllBlankTextTrimsToEmpty) {
    EXPECT_EQ(trim(" \n\t "), "");
    EXPECT_EQ(trim(""), "");
}

TEST(TextDecodingTrim, TrimIfDropsWhatThePredicateNames) {
    EXPECT_EQ(trimIf(std::string_view("\0 42\n\0", 6), [](char c) { return c == '\0' || isSpace(c); }), "42");
}

TEST(TextDecodingTakeUntil, TakesTheHeadAndDropsTheSeparator) {
    std::string_view rest = "a,b";
    EXPECT_EQ(takeUntil(rest, ','), "a");
    EXPECT_EQ(rest, "b");
}

TEST(TextDecodingTakeUntil, WithoutSeparatorTakesEverything) {
    std::string_view rest = "abc";
    EXPECT_EQ(takeUntil(rest, ','), "abc");
    EXPECT_EQ(rest, "");
}

TEST(TextDecodingSplitFields, SplitsOnRunsOfWhiteSpace) {
    std::array<std::string_view, 4> fields;
    ASSERT_EQ(splitFields("  8  0\tsda \n", fields), 3u);
    EXPECT_EQ(fields[0], "8");
    EXPECT_EQ(fields[1], "0");
    EXPECT_EQ(fields[2], "sda");
}

TEST(TextDecodingSplitFields, StopsAtTheNthField) {
    std::array<std::string_view, 2> fields;
    EXPECT_EQ(splitFields("a b c d", fields), 2u);
    EXPECT_EQ(fields[1], "b");
}

TEST(TextDecodingSplitFields, EmptyTextHasNoFields) {
    std::array<std::string_view, 2> fields;
    EXPECT_EQ(splitFields("", fields), 0u);
    EXPECT_EQ(splitFields(" \n", fields), 0u);
}

TEST(TextDecodingSplitKeyValue, TrimsTheValueButNotTheKey) {
    auto pair = splitKeyValue("MemTotal:   16 kB");
    ASSERT_TRUE(pair);
    EXPECT_EQ(pair->first, "MemTotal");
    EXPECT_EQ(pair->second, "16 kB");
}

TEST(TextDecodingSplitKeyValue, SplitsAtTheFirstSeparator) {
    auto pair = splitKeyValue("Exec=a=b", '=');
    ASSERT_TRUE(pair);
    EXPECT_EQ(pair->first, "Exec");
    EXPECT_EQ(pair->second, "a=b");
}

TEST(TextDecodingSplitKeyValue, LineWithoutSeparatorIsAbsent) { EXPECT_FALSE(splitKeyValue("no separator")); }

TEST(TextDecodingParseNumber, ReadsTheWholeField) {
    EXPECT_EQ(parseNumber<uint64_t>("18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(parseNumber<int32_t>("-42"), -42);
}

TEST(TextDecodingParseNumber, EmptyFieldIsAbsent) { EXPECT_FALSE(parseNumber<int64_t>("")); }

TEST(TextDecodingParseNumber, LeftoverCharactersAreAbsent) {
    EXPECT_FALSE(parseNumber<int64_t>("12kB"));
    EXPECT_FALSE(parseNumber<int64_t>("12 "));
    EXPECT_FALSE(parseNumber<int64_t>(" 12"));
}

TEST(TextDecodingParseNumber, OverflowIsAbsent) {
    EXPECT_FALSE(parseNumber<uint64_t>("18446744073709551616"));
    EXPECT_FALSE(parseNumber<int32_t>("2147483648"));
    EXPECT_FALSE(parseNumber<int32_t>("-2147483649"));
    EXPECT_FALSE(parseNumber<double>("1e400"));
}

TEST(TextDecodingParseNumber, NegativeIntoUnsignedIsAbsent) {
    EXPECT_FALSE(parseNumber<uint64_t>("-1"));
    EXPECT_FALSE(parseNumber<uint32_t>("-0"));
}

TEST(TextDecodingParseNumber, PlusSignIsAbsent) {
    EXPECT_FALSE(parseNumber<int64_t>("+1"));
    EXPECT_FALSE(parseNumber<double>("+1.5"));
}

TEST(TextDecodingParseNumber, ReadsInTheGivenBase) {
    EXPECT_EQ(parseNumber<unsigned>("660", 8), 0660u);
    EXPECT_FALSE(parseNumber<unsigned>("8", 8));
    EXPECT_EQ(parseNumber<uint32_t>("ff", 16), 255u);
}

TEST(TextDecodingParseNumber, ReadsFloatingPoint) {
    EXPECT_EQ(parseNumber<double>("0.25"), 0.25);
    EXPECT_EQ(parseNumber<double>("-3"), -3.0);
    EXPECT_EQ(parseNumber<double>("1e3"), 1000.0);
}

TEST(TextDecodingParseNumber, FloatingPointRefusesWhatFromCharsRefuses) {
    EXPECT_FALSE(parseNumber<double>(""));
    EXPECT_FALSE(parseNumber<double>(" 1.5"));
    EXPECT_FALSE(parseNumber<double>("1.5 "));
    EXPECT_FALSE(parseNumber<double>("0x10"));
    EXPECT_FALSE(parseNumber<double>("ten"));
}

TEST(TextDecodingParseNumber, FloatingPointReadsOnlyItsField) {
    std::string_view line = "1.5 2.5";
    EXPECT_EQ(parseNumber<double>(line.substr(0, 3)), 1.5);
}

TEST(TextDecodingParseLeadingNumber, IgnoresLeadingBlanksAndWhatFollows) {
    EXPECT_EQ(parseLeadingNumber<uint64_t>("  1024 kB"), 1024u);
    EXPECT_EQ(parseLeadingNumber<double>("0.50 total=7"), 0.5);
}

TEST(TextDecodingParseLeadingNumber, TextWithoutANumberIsAbsent) {
    EXPECT_FALSE(parseLeadingNumber<uint64_t>("kB"));
    EXPECT_FALSE(parseLeadingNumber<uint64_t>(""));
    EXPECT_FALSE(parseLeadingNumber<uint64_t>("-1 kB"));
}

TEST(TextDecodingParseNumberAndRest, GivesTheTextAfterTheNumber) {
    auto parsed = parseNumberAndRest<uint64_t>(" 15 ns");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->first, 15u);
    EXPECT_EQ(parsed->second, " ns");
}

TEST(TextDecodingHex, DigitsOfEitherCaseHaveTheirValue) {
    EXPECT_EQ(hexDigitValue('0'), 0);
    EXPECT_EQ(hexDigitValue('a'), 10);
    EXPECT_EQ(hexDigitValue('F'), 15);
    EXPECT_EQ(hexDigitValue('g'), -1);
}

TEST(TextDecodingHex, UnescapeReplacesEachEscapeByItsByte) {
    EXPECT_EQ(unescapeHex("My\\x20Disk\\x2d2"), "My Disk-2");
}

TEST(TextDecodingHex, MalformedOrCutEscapesStayAsTheyStand) {
    EXPECT_EQ(unescapeHex("a\\xzz"), "a\\xzz");
    EXPECT_EQ(unescapeHex("end\\x2"), "end\\x2");
}

}  // namespace
}  // namespace orv
