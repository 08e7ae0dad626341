#include <gtest/gtest.h>

#include "Sampling/HelperIdentity.h"
#include "Sampling/UnicodeText.h"

namespace orv {
namespace {

constexpr const char* appRequirement =
    "identifier \"app.orvantine.Orvantine\" and anchor apple generic and certificate leaf[subject.OU] = \"ABCDE12345\"";

TEST(HelperIdentity, ConstantsNameBothPrograms) {
    EXPECT_EQ(HelperIdentity::helperBundleID, "app.orvantine.helper");
    EXPECT_EQ(HelperIdentity::machServiceName, "app.orvantine.helper");
    EXPECT_EQ(HelperIdentity::plistName, "app.orvantine.helper.plist");
    EXPECT_EQ(HelperIdentity::appBundleID, "app.orvantine.Orvantine");
}

TEST(HelperIdentity, ValidTeamGivesTheExactRequirement) {
    auto r = HelperIdentity::requirement(HelperIdentity::appBundleID, std::string("ABCDE12345"));
    ASSERT_TRUE(r.has_value());
    EXPECT_EQ(*r, appRequirement);
}

TEST(HelperIdentity, HelperRequirementNamesTheHelper) {
    auto r = HelperIdentity::requirement(HelperIdentity::helperBundleID, std::string("ABCDE12345"));
    ASSERT_TRUE(r.has_value());
    EXPECT_EQ(*r,
              "identifier \"app.orvantine.helper\" and anchor apple generic and certificate leaf[subject.OU] = "
              "\"ABCDE12345\"");
}

TEST(HelperIdentity, NineCharactersGiveNothing) {
    EXPECT_FALSE(HelperIdentity::requirement("x", std::string("ABCDE1234")).has_value());
}

TEST(HelperIdentity, ElevenCharactersGiveNothing) {
    EXPECT_FALSE(HelperIdentity::requirement("x", std::string("ABCDE123456")).has_value());
}

TEST(HelperIdentity, HyphenGivesNothing) {
    EXPECT_FALSE(HelperIdentity::requirement("x", std::string("ABCDE-1234")).has_value());
}

TEST(HelperIdentity, SpaceOrSymbolGivesNothing) {
    EXPECT_FALSE(HelperIdentity::requirement("x", std::string("ABCDE 1234")).has_value());
    EXPECT_FALSE(HelperIdentity::requirement("x", std::string("ABCDE$1234")).has_value());
    EXPECT_FALSE(HelperIdentity::requirement("x", std::string("ABCDE\xE2\x82\xAC" "1234")).has_value());  // euro sign
}

TEST(HelperIdentity, AccentedLetterIsAccepted) {
    // Ten letters, one of them É (two bytes in UTF-8: eleven bytes in all).
    const std::string team = "ABCD\xC3\x89" "FGHIJ";
    ASSERT_EQ(team.size(), 11u);
    auto r = HelperIdentity::requirement("x", team);
    ASSERT_TRUE(r.has_value());
    EXPECT_NE(r->find("= \"" + team + "\""), std::string::npos);
}

TEST(HelperIdentity, DecomposedAccentCountsAsOneCharacter) {
    // E followed by a combining acute accent is one user-perceived character.
    const std::string team = "ABCDE\xCC\x81" "FGHIJ";
    EXPECT_TRUE(HelperIdentity::requirement("x", team).has_value());
}

TEST(HelperIdentity, NonLatinDigitsAndLettersAreAccepted) {
    // Arabic-Indic digits and Greek letters are numbers and letters.
    const std::string team = "\xD9\xA1\xD9\xA2\xD9\xA3" "\xCE\xB1\xCE\xB2" "ABCDE";
    EXPECT_TRUE(HelperIdentity::requirement("x", team).has_value());
}

TEST(HelperIdentity, EmptyTeamGivesNothing) {
    EXPECT_FALSE(HelperIdentity::requirement("x", std::string()).has_value());
}

TEST(HelperIdentity, AbsentTeamGivesNothing) {
    EXPECT_FALSE(HelperIdentity::requirement("x", std::nullopt).has_value());
}

TEST(HelperIdentity, InvalidUtf8GivesNothing) {
    EXPECT_FALSE(HelperIdentity::requirement("x", std::string("ABCDE1234\xFF")).has_value());
}

TEST(HelperIdentity, TeamIsNotCaseFolded) {
    auto r = HelperIdentity::requirement("x", std::string("abcde12345"));
    ASSERT_TRUE(r.has_value());
    EXPECT_NE(r->find("\"abcde12345\""), std::string::npos);
}

TEST(UnicodeText, CountsUserPerceivedCharacters) {
    EXPECT_EQ(UnicodeText::characterCount(""), 0u);
    EXPECT_EQ(UnicodeText::characterCount("abc"), 3u);
    EXPECT_EQ(UnicodeText::characterCount("\xC3\x89"), 1u);           // É composed
    EXPECT_EQ(UnicodeText::characterCount("E\xCC\x81"), 1u);          // É decomposed
    EXPECT_EQ(UnicodeText::characterCount("\xF0\x9F\x87\xAB\xF0\x9F\x87\xB7"), 1u);  // a flag: two code points
    EXPECT_EQ(UnicodeText::characterCount("\r\n"), 1u);
    EXPECT_EQ(UnicodeText::characterCount("a\r\nb\n\r"), 5u);
    EXPECT_EQ(UnicodeText::characterCount("\r\r\n"), 2u);
}

TEST(UnicodeText, ASCIIAndOtherTextAgreeAcrossTheBoundary) {
    // The same count and class whether the text is ASCII alone or carries
    // one character that needs the Unicode data.
    EXPECT_EQ(UnicodeText::characterCount("ABCDE12345"), 10u);
    EXPECT_EQ(UnicodeText::characterCount("ABCDE1234\xC3\x89"), 10u);
    EXPECT_TRUE(UnicodeText::isLettersAndNumbers("ABCDE12345"));
    EXPECT_TRUE(UnicodeText::isLettersAndNumbers("ABCDE1234\xC3\x89"));
    EXPECT_FALSE(UnicodeText::isLettersAndNumbers("ABCDE1234\xC2\xA0"));  // a no-break space
    EXPECT_FALSE(UnicodeText::isLettersAndNumbers("\x7F"));
    EXPECT_TRUE(UnicodeText::isLettersAndNumbers(""));
}

TEST(UnicodeText, InvalidUtf8HasNoCount) {
    EXPECT_FALSE(UnicodeText::characterCount("ab\xC3").has_value());
}

TEST(UnicodeText, LettersAndNumbersInTheUnicodeSense) {
    EXPECT_TRUE(UnicodeText::isLettersAndNumbers("Abc123"));
    EXPECT_TRUE(UnicodeText::isLettersAndNumbers("\xC3\x89t\xC3\xA9"));  // Été
    EXPECT_TRUE(UnicodeText::isLettersAndNumbers("\xE6\x97\xA5\xE6\x9C\xAC"));  // 日本
    EXPECT_FALSE(UnicodeText::isLettersAndNumbers("a-b"));
    EXPECT_FALSE(UnicodeText::isLettersAndNumbers("a b"));
    EXPECT_FALSE(UnicodeText::isLettersAndNumbers("a_b"));
    EXPECT_FALSE(UnicodeText::isLettersAndNumbers("\xF0\x9F\x98\x80"));  // an emoji is a symbol
    EXPECT_FALSE(UnicodeText::isLettersAndNumbers("ab\xFF"));
}

}  // namespace
}  // namespace orv
