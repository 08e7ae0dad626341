#include <gtest/gtest.h>

#include <cstring>

#include "Sampling/ProcArgs2.h"

namespace orv {
namespace {

std::vector<uint8_t> buffer(int32_t argc, std::string_view rest) {
    std::vector<uint8_t> bytes(4 + rest.size());
    std::memcpy(bytes.data(), &argc, 4);
    std::memcpy(bytes.data() + 4, rest.data(), rest.size());
    return bytes;
}

TEST(ProcArgs2, ReadsTheArgumentsAfterThePathAndItsPadding) {
    auto bytes = buffer(3, std::string_view("/usr/local/bin/node\0\0\0\0node\0server.js\0--watch\0PATH=/usr/bin\0", 61));
    EXPECT_EQ(ProcArgs2::decode(bytes), (std::vector<std::string>{"node", "server.js", "--watch"}));
}

TEST(ProcArgs2, AShortOrNegativeBufferIsAbsent) {
    EXPECT_EQ(ProcArgs2::decode(buffer(3, std::string_view("/bin/x\0x\0y", 10))), std::nullopt);
    EXPECT_EQ(ProcArgs2::decode(buffer(-1, std::string_view("/bin/x\0", 7))), std::nullopt);
    EXPECT_EQ(ProcArgs2::decode(buffer(1, "/bin/x")), std::nullopt);
    EXPECT_EQ(ProcArgs2::decode(std::vector<uint8_t>{1, 0}), std::nullopt);
    EXPECT_EQ(ProcArgs2::decode(buffer(0, std::string_view("/bin/x\0", 7))), std::vector<std::string>{});
}

}  // namespace
}  // namespace orv
