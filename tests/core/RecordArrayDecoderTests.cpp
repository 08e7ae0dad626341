#include <gtest/gtest.h>

#include <random>

#include "core/ProcessReading.h"
#include "support/FakeProcessSource.h"
#include "core/RecordArrayDecoder.h"

namespace orv {
namespace {

ProcessReading reading(int32_t pid, std::string name) { return test::readingWithUsage(pid, std::move(name)); }

// What the plain decoder says of `text`: the value, or its error.
struct Outcome {
    std::optional<std::vector<ProcessReading>> value;
    std::string error;
};
template <class F>
Outcome outcome(F decode) {
    try {
        return {decode(), {}};
    } catch (const json::DecodingError& e) {
        return {std::nullopt, std::string(e.what())};
    }
}

TEST(RecordArrayDecoder, ReadsWhatTheDecoderReadsAndReusesUnchangedElements) {
    json::RecordArrayDecoder<ProcessReading> decoder;
    std::vector<ProcessReading> table{reading(1, "init"), reading(42, "sleeper"), reading(77, "busy")};
    std::string text = json::encode(table);
    EXPECT_EQ(decoder.decode(text), table);
    EXPECT_EQ(decoder.cachedCount(), 3u);
    table[1].cpuTime = Duration::milliseconds(5);
    table.push_back(reading(80, "new"));
    text = json::encode(table);
    EXPECT_EQ(decoder.decode(text), table);
    EXPECT_EQ(decoder.decode("[]"), std::vector<ProcessReading>{});
    EXPECT_EQ(decoder.cachedCount(), 0u);
}

TEST(RecordArrayDecoder, TextFromAnotherWriterReadsTheSame) {
    // Whitespace and key order of another writer, such as Swift's
    // pretty-printed output, and an element repeated.
    json::RecordArrayDecoder<ProcessReading> decoder;
    const std::string text = R"( [ {"name":"a","pid":1,"parentPID":0,"uid":0,"startTime":1,"cpuTime":[0,0],
        "footprintBytes":0,"diskReadBytes":0,"diskWriteBytes":0,"energyNJ":0,"isComplete":true,"wakeups":0} ,
        {"pid":1,"name":"a","parentPID":0,"uid":0,"startTime":1,"cpuTime":[0,0],"footprintBytes":0,
        "diskReadBytes":0,"diskWriteBytes":0,"energyNJ":0,"isComplete":true,"wakeups":0}] )";
    for (int i = 0; i < 2; ++i) EXPECT_EQ(decoder.decode(text), json::decode<std::vector<ProcessReading>>(text));
}

TEST(RecordArrayDecoder, MalformedRepliesFailExactlyAsThePlainDecoderSaysAndLoseNothingAfter) {
    json::RecordArrayDecoder<ProcessReading> decoder;
    const std::vector<ProcessReading> table{reading(1, "a"), reading(2, "b"), reading(3, "c")};
    const std::string good = json::encode(table);
    EXPECT_EQ(decoder.decode(good), table);
    std::string wrongType = good;
    wrongType.replace(wrongType.rfind("\"pid\":3"), 7, "\"pid\":\"3\"");
    const std::vector<std::string> bad{
        good.substr(0, good.size() / 2),  // truncated
        good + "x",                       // trailing bytes
        "{}",                             // not an array
        "[1,2]",                          // elements that are not records
        wrongType,                        // the third element's pid is a string: its path names it
        "[" + good.substr(1, good.size() - 2) + ",]",
        "",
    };
    for (const auto& text : bad) {
        auto ours = outcome([&] { return decoder.decode(text); });
        auto plain = outcome([&] { return json::decode<std::vector<ProcessReading>>(text); });
        EXPECT_FALSE(ours.value) << text;
        EXPECT_EQ(ours.error, plain.error) << text;
        EXPECT_EQ(decoder.decode(good), table);
    }
    EXPECT_NE(outcome([&] { return decoder.decode(wrongType); }).error.find("[2].pid"), std::string::npos);
}

TEST(RecordArrayDecoder, NamesWithBracesQuotesAndEscapesEndWhereTheirRecordEnds) {
    // A changed element is found by scanning for its closing brace; braces,
    // brackets and escaped quotes inside its strings must not end it early.
    json::RecordArrayDecoder<ProcessReading> decoder;
    std::vector<ProcessReading> table{reading(1, "a"), reading(2, "b"), reading(3, "c")};
    EXPECT_EQ(decoder.decode(json::encode(table)), table);
    table[0].name = "x}\"{[ y";
    table[1].name = "ends in a backslash \\";
    table[2].executablePath = "/opt/}]/\"quoted\"";
    const std::string text = json::encode(table);
    EXPECT_EQ(decoder.decode(text), table);
    EXPECT_EQ(decoder.decode(text), table);  // and as the reference for the next reply
}

TEST(RecordArrayDecoder, AnElementNestedDeeperThanRecordsGoIsLeftToThePlainDecoder) {
    // An unknown key may hold any JSON; nested past what the scan follows,
    // the plain decoder (which reads the whole array at once) decides.
    json::RecordArrayDecoder<ProcessReading> decoder;
    const std::vector<ProcessReading> table{reading(1, "a")};
    std::string text = json::encode(table);
    for (size_t depth : {10u, 300u, 1100u}) {
        std::string deep = text;
        deep.insert(deep.rfind('}'), ",\"extra\":" + std::string(depth, '[') + std::string(depth, ']'));
        auto ours = outcome([&] { return decoder.decode(deep); });
        auto plain = outcome([&] { return json::decode<std::vector<ProcessReading>>(deep); });
        EXPECT_EQ(ours.value, plain.value) << depth;
        EXPECT_EQ(ours.error, plain.error) << depth;
    }
}

TEST(RecordArrayDecoder, ManyPassesOfAChangingTableMatchTheDecoder) {
    std::mt19937 random(11);
    json::RecordArrayDecoder<ProcessReading> decoder;
    std::vector<ProcessReading> table;
    for (int32_t pid = 1; pid <= 300; ++pid) table.push_back(reading(pid, "p" + std::to_string(pid)));
    for (int pass = 0; pass < 50; ++pass) {
        for (auto& r : table) {
            if (random() % 10 == 0) r.wakeups += 1;
            if (random() % 40 == 0) r.name = "renamed " + std::to_string(random() % 3);
        }
        if (pass % 6 == 2) std::swap(table[random() % table.size()], table[random() % table.size()]);
        if (pass % 5 == 1) table.push_back(reading(int32_t(1000 + pass), "new"));
        const std::string text = json::encode(table);
        ASSERT_EQ(decoder.decode(text), table) << "pass " << pass;
    }
}

}  // namespace
}  // namespace orv
