#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "core/JsonCoding.h"
#include "core/ProcessReading.h"
#include "core/PropertyList.h"
#include "support/TempDir.h"

namespace orv {
namespace {

// Bad bytes end in a clean error or absence, never a crash: random bytes and
// mutations of a valid document, through both readers of outside data.

std::string validReplyText() {
    std::vector<ProcessReading> readings(3);
    for (int i = 0; i < 3; ++i) {
        readings[i].pid = 100 + i;
        readings[i].name = "p" + std::to_string(i);
        readings[i].executablePath = "/usr/bin/p";
        readings[i].cpuTime = Duration::seconds(20);
        readings[i].isComplete = true;
    }
    return json::encode(readings);
}

TEST(MalformedInput, MutatedHelperRepliesDecodeOrFailCleanly) {
    std::mt19937 random(7);
    const std::string valid = validReplyText();
    size_t decoded = 0, refused = 0;
    for (int round = 0; round < 20'000; ++round) {
        std::string text = valid;
        int edits = 1 + int(random() % 4);
        for (int e = 0; e < edits; ++e) {
            size_t at = random() % text.size();
            switch (random() % 3) {
                case 0: text[at] = char(random()); break;
                case 1: text.erase(at, 1 + random() % 8); break;
                default: text.resize(at); break;
            }
            if (text.empty()) break;
        }
        try {
            json::decode<std::vector<ProcessReading>>(text);
            ++decoded;
        } catch (const json::DecodingError&) {
            ++refused;
        }
    }
    EXPECT_EQ(decoded + refused, 20'000u);
    EXPECT_GT(refused, 0u);
}

TEST(MalformedInput, RandomBytesAreNotJson) {
    std::mt19937 random(11);
    for (int round = 0; round < 5'000; ++round) {
        std::string text(1 + random() % 64, '\0');
        for (auto& c : text) c = char(random());
        EXPECT_THROW(json::decode<std::vector<ProcessReading>>(text), json::DecodingError);
    }
}

TEST(MalformedInput, MutatedPropertyListsParseOrAreAbsent) {
    std::mt19937 random(13);
    for (const char* name : {"plist/sample.binary.plist", "plist/sample.xml.plist"}) {
        auto original = PropertyList::read(test::fixture(name));
        ASSERT_TRUE(original);
        std::ifstream in(test::fixture(name), std::ios::binary);
        std::vector<uint8_t> valid((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        for (int round = 0; round < 3'000; ++round) {
            auto bytes = valid;
            int edits = 1 + int(random() % 3);
            for (int e = 0; e < edits && !bytes.empty(); ++e) {
                size_t at = random() % bytes.size();
                if (random() % 4 == 0) bytes.resize(at);
                else bytes[at] = uint8_t(random());
            }
            (void)PropertyList::parse(bytes);  // must return, whatever it returns
        }
    }
    SUCCEED();
}

}  // namespace
}  // namespace orv
