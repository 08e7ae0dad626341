#include <gtest/gtest.h>

#include "core/Utf8.h"

namespace orv {
namespace {

TEST(Utf8, WellFormedTextIsValidAndUnchanged) {
    for (std::string text : {"", "launchd", "Caf\xC3\xA9", "\xE6\x97\xA5\xE6\x9C\xAC", "\xF0\x9F\x98\x80"}) {
        EXPECT_TRUE(isValidUtf8(text)) << text;
        EXPECT_EQ(repairUtf8(text), text);
    }
}

TEST(Utf8, IllFormedSequencesAreInvalid) {
    for (std::string text : {"\xFF", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE6\x97", "a\x80"}) {
        EXPECT_FALSE(isValidUtf8(text));
    }
}

TEST(Utf8, EachMaximalIllFormedSubpartBecomesOneReplacement) {
    const std::string r = "\xEF\xBF\xBD";
    EXPECT_EQ(repairUtf8("ab\xFF" "c"), "ab" + r + "c");
    EXPECT_EQ(repairUtf8("\xE6\x97" "x"), r + "x");   // a cut three-byte sequence is one subpart
    EXPECT_EQ(repairUtf8("\xC0\xAF"), r + r);          // overlong: two
    EXPECT_EQ(repairUtf8("\xF0\x9F\x98"), r);          // truncated at the end
}

}  // namespace
}  // namespace orv
