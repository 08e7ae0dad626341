#include <gtest/gtest.h>

#include <cstring>

#include "Sampling/RouteDumpBuffer.h"
#include "Sampling/RouteDumpDecoding.h"
#include "core/SamplingError.h"

namespace orv {
namespace {

// Builds one RTM_IFINFO2 message the way the kernel lays it out: an
// if_msghdr2 of 160 bytes, then optionally a sockaddr_dl with the name.
std::vector<uint8_t> interfaceMessage(uint16_t index, uint64_t in, uint64_t out, std::string_view name,
                                      uint8_t type = 18) {
    std::vector<uint8_t> message(160, 0);
    if (!name.empty()) {
        std::vector<uint8_t> link(std::max<size_t>(20, 8 + name.size()), 0);
        link[0] = uint8_t(link.size());
        link[1] = 18;  // AF_LINK
        link[5] = uint8_t(name.size());
        std::memcpy(link.data() + 8, name.data(), name.size());
        message.insert(message.end(), link.begin(), link.end());
        uint32_t addresses = 16;  // RTA_IFP
        std::memcpy(message.data() + 4, &addresses, 4);
    }
    uint16_t length = uint16_t(message.size());
    std::memcpy(message.data(), &length, 2);
    message[2] = 5;  // RTM_VERSION
    message[3] = type;
    std::memcpy(message.data() + 12, &index, 2);
    std::memcpy(message.data() + 96, &in, 8);
    std::memcpy(message.data() + 104, &out, 8);
    return message;
}

std::vector<uint8_t> concat(std::initializer_list<std::vector<uint8_t>> parts) {
    std::vector<uint8_t> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

const RouteDumpDecoding::IndexToName noNames = [](uint16_t) { return std::optional<std::string>{}; };

TEST(RouteDumpDecoding, ReadsNamesAndByteCounts) {
    auto dump = concat({interfaceMessage(1, 10, 20, "lo0"), interfaceMessage(4, 1000, 2000, "en0")});
    auto out = RouteDumpDecoding::interfaces(dump, noNames);
    EXPECT_EQ(out.size(), 2u);
    EXPECT_EQ(out.at("en0"), (InterfaceCounters{1000, 2000}));
    EXPECT_EQ(out.at("lo0"), (InterfaceCounters{10, 20}));
}

TEST(RouteDumpDecoding, WithoutALinkAddressTheIndexNamesTheInterface) {
    auto dump = interfaceMessage(7, 1, 2, "");
    auto out = RouteDumpDecoding::interfaces(dump, [](uint16_t index) -> std::optional<std::string> {
        return index == 7 ? std::optional<std::string>("en7") : std::nullopt;
    });
    EXPECT_EQ(out.at("en7"), (InterfaceCounters{1, 2}));
}

TEST(RouteDumpDecoding, UnnamableInterfaceIsSkipped) {
    auto out =
        RouteDumpDecoding::interfaces(concat({interfaceMessage(7, 1, 2, ""), interfaceMessage(8, 3, 4, "en1")}), noNames);
    EXPECT_EQ(out.size(), 1u);
    EXPECT_TRUE(out.count("en1"));
}

TEST(RouteDumpDecoding, OtherMessageTypesAreSkipped) {
    auto dump = concat({interfaceMessage(1, 1, 1, "en0", 14 /* RTM_NEWADDR */), interfaceMessage(2, 5, 5, "en1")});
    auto out = RouteDumpDecoding::interfaces(dump, noNames);
    EXPECT_EQ(out.size(), 1u);
    EXPECT_TRUE(out.count("en1"));
}

TEST(RouteDumpDecoding, MessageShorterThanTheHeaderIsSkipped) {
    std::vector<uint8_t> shortMessage(120, 0);
    uint16_t length = 120;
    std::memcpy(shortMessage.data(), &length, 2);
    shortMessage[3] = 18;
    auto out = RouteDumpDecoding::interfaces(concat({shortMessage, interfaceMessage(2, 5, 5, "en1")}), noNames);
    EXPECT_EQ(out.size(), 1u);
}

TEST(RouteDumpDecoding, TruncatedMessageEndsTheWalkKeepingWhatWasRead) {
    auto dump = concat({interfaceMessage(1, 1, 1, "en0"), interfaceMessage(2, 2, 2, "en1")});
    dump.resize(dump.size() - 30);
    auto out = RouteDumpDecoding::interfaces(dump, noNames);
    EXPECT_EQ(out.size(), 1u);
    EXPECT_TRUE(out.count("en0"));
}

TEST(RouteDumpDecoding, ZeroLengthEndsTheWalk) {
    std::vector<uint8_t> zero(200, 0);
    auto out = RouteDumpDecoding::interfaces(concat({zero, interfaceMessage(2, 2, 2, "en1")}), noNames);
    EXPECT_TRUE(out.empty());
}

TEST(RouteDumpDecoding, LaterMessageWithTheSameNameReplaces) {
    auto out =
        RouteDumpDecoding::interfaces(concat({interfaceMessage(1, 1, 1, "en0"), interfaceMessage(1, 9, 9, "en0")}), noNames);
    EXPECT_EQ(out.at("en0"), (InterfaceCounters{9, 9}));
}

TEST(RouteDumpBuffer, SizesOnceAndThenReusesTheBuffer) {
    RouteDumpBuffer buffer;
    int calls = 0;
    auto fetch = [&](uint8_t* data, size_t& length) {
        ++calls;
        if (!data) {
            length = 4000;
            return 0;
        }
        if (length < 4000) return 12;
        length = 4000;
        return 0;
    };
    EXPECT_EQ(buffer.fill(fetch).value().size(), 4000u);
    EXPECT_EQ(buffer.capacity(), 4000u + 1000 + 1024);
    calls = 0;
    EXPECT_TRUE(buffer.fill(fetch));
    EXPECT_EQ(calls, 1);
}

TEST(RouteDumpBuffer, TableThatKeepsGrowingFailsWithENOMEMAfterTheThirdSizing) {
    RouteDumpBuffer buffer;
    size_t table = 1000;
    int sizeQueries = 0;
    auto fetch = [&](uint8_t* data, size_t& length) {
        if (!data) {
            ++sizeQueries;
            length = table;
            table *= 4;  // more interfaces appear each time
            return 0;
        }
        return length < table ? 12 : 0;
    };
    auto filled = buffer.fill(fetch);
    ASSERT_FALSE(filled);
    EXPECT_EQ(RouteDumpBuffer::samplingError(filled.error()), SamplingError::sysctl("NET_RT_IFLIST2", 12));
    EXPECT_EQ(sizeQueries, 3);
}

TEST(RouteDumpBuffer, OtherErrorsFailWithTheirErrno) {
    RouteDumpBuffer buffer;
    auto sizeFails = [](uint8_t*, size_t&) { return 1; };
    EXPECT_EQ(buffer.fill(sizeFails).error(), errorFrom(1));
    auto readFails = [](uint8_t* data, size_t& length) {
        if (!data) length = 10;
        return data ? 5 : 0;
    };
    EXPECT_TRUE(buffer.fill([](uint8_t*, size_t& length) { length = 10; return 0; }));
    auto filled = buffer.fill(readFails);
    ASSERT_FALSE(filled);
    EXPECT_EQ(RouteDumpBuffer::samplingError(filled.error()), SamplingError::sysctl("NET_RT_IFLIST2", 5));
}

}  // namespace
}  // namespace orv
