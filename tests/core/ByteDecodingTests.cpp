#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "core/ByteDecoding.h"

namespace orv {
namespace {

using namespace ByteDecoding;

const std::vector<uint8_t> bytes{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09};

TEST(ByteDecoding, LoadsLittleEndianAtAnUnalignedOffset) {
    EXPECT_EQ(loadLittleEndian<uint32_t>(bytes, 1), 0x05040302u);
}

TEST(ByteDecoding, LoadsBigEndianAtAnUnalignedOffset) { EXPECT_EQ(loadBigEndian<uint16_t>(bytes, 3), 0x0405u); }

TEST(ByteDecoding, LoadsNativeOrderAsTheBytesLie) {
    uint32_t expected;
    std::memcpy(&expected, bytes.data() + 2, sizeof expected);
    EXPECT_EQ(loadNative<uint32_t>(bytes, 2), expected);
}

TEST(ByteDecoding, LoadThatEndsExactlyAtTheLastByteIsRead) { EXPECT_EQ(loadLittleEndian<uint8_t>(bytes, 8), 0x09); }

TEST(ByteDecoding, TruncatedLoadIsAbsent) {
    EXPECT_FALSE(loadLittleEndian<uint64_t>(bytes, 2));
    EXPECT_FALSE(loadNative<uint32_t>(bytes, 6));
    EXPECT_FALSE(loadBigEndian<uint16_t>(bytes, 8));
}

TEST(ByteDecoding, LoadFromNoBytesIsAbsent) { EXPECT_FALSE(loadNative<uint8_t>({}, 0)); }

TEST(ByteDecoding, OffsetPastTheEndIsAbsent) { EXPECT_FALSE(loadNative<uint8_t>(bytes, 10)); }

TEST(ByteDecoding, OffsetThatWouldOverflowIsAbsent) {
    constexpr size_t huge = std::numeric_limits<size_t>::max();
    EXPECT_FALSE(has(bytes, huge, 4));
    EXPECT_FALSE(has(bytes, 4, huge));
    EXPECT_FALSE(loadLittleEndian<uint32_t>(bytes, huge - 1));
}

TEST(ByteDecoding, ZeroBytesAtTheEndAreThere) { EXPECT_TRUE(has(bytes, bytes.size(), 0)); }

TEST(ByteDecoding, ByteswappedReversesTheBytes) {
    EXPECT_EQ(byteswapped<uint32_t>(0x01020304u), 0x04030201u);
    EXPECT_EQ(byteswapped<int16_t>(int16_t(0x0180)), int16_t(-32767));
}

TEST(ByteDecoding, LoadsBigEndianOfAGivenWidth) {
    EXPECT_EQ(loadBigEndianOfWidth(bytes, 1, 3), 0x020304u);
    EXPECT_EQ(loadBigEndianOfWidth(bytes, 0, 8), 0x0102030405060708u);
}

TEST(ByteDecoding, WidthOutOfRangeOrPastTheEndIsAbsent) {
    EXPECT_FALSE(loadBigEndianOfWidth(bytes, 0, 0));
    EXPECT_FALSE(loadBigEndianOfWidth(bytes, 0, 9));
    EXPECT_FALSE(loadBigEndianOfWidth(bytes, 7, 3));
}

}  // namespace
}  // namespace orv
