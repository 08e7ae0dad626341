#include <gtest/gtest.h>

#include <string_view>

#include "Sampling/BoardIdentifier.h"

namespace orv {
namespace {

std::vector<uint8_t> bytes(std::string_view text) { return {text.begin(), text.end()}; }

TEST(BoardIdentifier, TrailingZeroBytesAreCutAtTheFirstOne) {
    auto raw = bytes(std::string_view("J316sAP\0\0\0\0", 11));
    EXPECT_EQ(BoardIdentifier::decode(raw), "J316sAP");
}

TEST(BoardIdentifier, BytesAfterTheFirstZeroAreIgnored) {
    auto raw = bytes(std::string_view("Mac-AB\0garbage\xff", 15));
    EXPECT_EQ(BoardIdentifier::decode(raw), "Mac-AB");
}

TEST(BoardIdentifier, WithoutAZeroByteEveryByteCounts) {
    EXPECT_EQ(BoardIdentifier::decode(bytes("Mac-827FB448E656EC26")), "Mac-827FB448E656EC26");
}

TEST(BoardIdentifier, BytesThatAreNotUtf8GiveNoIdentifier) {
    EXPECT_EQ(BoardIdentifier::decode(bytes("Mac-\xc3\x28")), std::nullopt);
    EXPECT_EQ(BoardIdentifier::decode(bytes(std::string_view("\xff\0", 2))), std::nullopt);
}

TEST(BoardIdentifier, EmptyDataIsAnEmptyIdentifier) {
    EXPECT_EQ(BoardIdentifier::decode({}), "");
    EXPECT_EQ(BoardIdentifier::decode(bytes(std::string_view("\0J316", 5))), "");
}

}  // namespace
}  // namespace orv
