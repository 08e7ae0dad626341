#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <random>
#include <stdexcept>

#include "core/Alert.h"
#include "core/AlertSettings.h"
#include "core/AlertState.h"
#include "core/AppActivityHistory.h"
#include "core/JsonCoding.h"
#include "core/JsonWriter.h"
#include "core/NetworkByteCounts.h"
#include "core/PeriodChange.h"
#include "core/ProcessReading.h"
#include "core/Project.h"
#include "core/Snapshot.h"
#include "support/ArbitraryRecords.h"

namespace orv {
namespace {

std::string written(auto write) {
    std::string out;
    json::JsonWriter writer(out);
    write(writer);
    return out;
}

TEST(JsonWriter, ADoubleIsItsShortestExactDecimalAndNeverLooksLikeAnInteger) {
    EXPECT_EQ(written([](auto& w) { w.number(0.25); }), "0.25");
    EXPECT_EQ(written([](auto& w) { w.number(40.0); }), "40.0");
    EXPECT_EQ(written([](auto& w) { w.number(0.1); }), "0.1");
    EXPECT_EQ(written([](auto& w) { w.number(1e300); }), "1e+300");
    EXPECT_EQ(written([](auto& w) { w.number(5e-324); }), "5e-324");
    EXPECT_EQ(written([](auto& w) { w.number(1e15); }), "1000000000000000.0");
    // Past 2^64 a whole number written bare would be read as an integer too
    // large for any integer type; it reads back as the same double.
    const std::string big = written([](auto& w) { w.number(18446744073709551616.0); });
    EXPECT_EQ(big, "1.8446744073709552e+19");
    EXPECT_EQ(json::decode<double>(big), 18446744073709551616.0);
}

TEST(JsonWriter, NegativeZeroKeepsItsSign) {
    const std::string text = written([](auto& w) { w.number(-0.0); });
    EXPECT_EQ(text, "-0.0");
    EXPECT_TRUE(std::signbit(json::decode<double>(text)));
}

TEST(JsonWriter, ADoubleThatIsNotFiniteIsRefusedAsSwiftRefusesIt) {
    for (double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                       -std::numeric_limits<double>::infinity()}) {
        std::string out = "[";
        json::JsonWriter writer(out);
        EXPECT_THROW(writer.number(bad), std::invalid_argument);
    }
    ProcessReading r;
    r.startTime = Date{std::numeric_limits<double>::quiet_NaN()};
    try {
        (void)json::encode(r);
        ADD_FAILURE() << "a NaN date was written";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "Unable to encode Double.nan directly in JSON.");
    }
}

TEST(JsonWriter, IntegersAreExactAtBothEndsOfTheirRange) {
    EXPECT_EQ(written([](auto& w) { w.integer(std::numeric_limits<int64_t>::min()); }), "-9223372036854775808");
    EXPECT_EQ(written([](auto& w) { w.integer(std::numeric_limits<uint64_t>::max()); }), "18446744073709551615");
    EXPECT_EQ(written([](auto& w) { w.integer(int8_t(-7)); }), "-7");
}

TEST(JsonWriter, StringsEscapeQuotesReverseSolidiAndControlCharactersOnly) {
    EXPECT_EQ(written([](auto& w) { w.string("a\"b\\c/d"); }), R"("a\"b\\c/d")");
    EXPECT_EQ(written([](auto& w) { w.string("\b\f\n\r\t"); }), R"("\b\f\n\r\t")");
    EXPECT_EQ(written([](auto& w) { w.string(std::string_view("\x00\x01\x1f\x7f", 4)); }), "\"\\u0000\\u0001\\u001f\x7f\"");
    EXPECT_EQ(written([](auto& w) { w.string("é€😀"); }), "\"é€😀\"");
    // Bytes that are not UTF-8 are written as they are; a reader refuses
    // the document, as it refused the old writer's.
    const std::string odd = written([](auto& w) { w.string("\xff"); });
    EXPECT_EQ(odd, "\"\xff\"");
    EXPECT_THROW(json::decode<std::string>(odd), json::DecodingError);
}

TEST(JsonWriter, EveryEscapedStringReadsBackAsItsBytes) {
    std::string all;
    for (int c = 1; c < 128; ++c) all += char(c);
    all += "é€";
    EXPECT_EQ(json::decode<std::string>(json::encode(all)), all);
}

// Records that exercise every generic rule at once.
enum class Shade { light, deepDark };
BOOST_DESCRIBE_ENUM(Shade, light, deepDark)
struct Empty {
    static constexpr const char* caseName = "empty";
    friend bool operator==(const Empty&, const Empty&) = default;
};
BOOST_DESCRIBE_STRUCT(Empty, (), ())
struct Valued {
    static constexpr const char* caseName = "valued";
    double _0 = 0;
    std::optional<std::string> note;
    friend bool operator==(const Valued&, const Valued&) = default;
};
BOOST_DESCRIBE_STRUCT(Valued, (), (_0, note))
struct Everything {
    std::optional<int16_t> small;
    Shade shade = Shade::light;
    std::map<Shade, std::vector<uint8_t>> byShade;
    std::map<std::string, std::optional<double>> byName;
    std::vector<std::variant<Empty, Valued>> cases;
    std::set<int64_t> numbers;
    std::optional<Duration> took;
    friend bool operator==(const Everything&, const Everything&) = default;
};
BOOST_DESCRIBE_STRUCT(Everything, (), (small, shade, byShade, byName, cases, numbers, took))

// The streamed text and the text of the Boost.JSON document built from the
// same value must be the same document, doubles equal to the bit; where a
// value holds a double JSON cannot state, the streamed writer refuses it.
template <class T>
int compareWriters(uint32_t seed, int count) {
    std::mt19937 random(seed);
    int compared = 0;
    for (int i = 0; i < count; ++i) {
        std::vector<uint8_t> bytes(2048);
        for (auto& b : bytes) b = uint8_t(random());
        testing::ByteSource in(bytes);
        const T value = testing::arbitrary<T>(in);
        const std::string reference = json::encodeThroughValue(value);
        std::string streamed;
        try {
            streamed = json::encode(value);
        } catch (const std::invalid_argument&) {
            EXPECT_TRUE(reference.find("NaN") != std::string::npos || reference.find("Infinity") != std::string::npos)
                << reference;
            continue;
        }
        std::string why;
        EXPECT_TRUE(testing::sameJsonDocument(streamed, reference, &why)) << why << "\n" << streamed << "\n" << reference;
        EXPECT_EQ(json::decode<T>(streamed), json::decode<T>(reference));
        ++compared;
    }
    return compared;
}

TEST(JsonWriter, WritesTheSameDocumentsAsTheValueWriterOnRandomRecords) {
    EXPECT_GT(compareWriters<Everything>(1, 2000), 1500);
    EXPECT_GT(compareWriters<std::vector<ProcessReading>>(2, 500), 400);
    EXPECT_GT(compareWriters<NetworkBytesByPID>(3, 300), 250);
    EXPECT_GT(compareWriters<PeriodChange>(4, 300), 250);
    EXPECT_GT(compareWriters<AlertSettings>(5, 300), 200);
    EXPECT_GT(compareWriters<AlertState>(6, 300), 200);
    EXPECT_GT(compareWriters<std::vector<Alert>>(7, 300), 200);
    EXPECT_GT(compareWriters<std::vector<Project>>(8, 300), 200);
    EXPECT_GT(compareWriters<AppActivityHistory>(9, 300), 150);
    EXPECT_GT(compareWriters<Snapshot>(10, 300), 100);
}

TEST(JsonWriter, TheSameDocumentCheckTellsDifferentDocumentsApart) {
    // The comparison above would pass vacuously if it could not fail.
    EXPECT_TRUE(testing::sameJsonDocument(R"({"a":[1,2.5E0]})", R"({"a":[1,2.5]})"));
    EXPECT_FALSE(testing::sameJsonDocument("-0.0", "0.0"));
    EXPECT_FALSE(testing::sameJsonDocument("1", "1.0"));
    EXPECT_FALSE(testing::sameJsonDocument(R"({"a":1,"b":2})", R"({"b":2,"a":1})"));
    EXPECT_FALSE(testing::sameJsonDocument("[1]", "[1,2]"));
    EXPECT_FALSE(testing::sameJsonDocument("\"x\"", "not json"));
}

TEST(JsonCodingDecode, FieldsInAnyOrderDecodeAsInWriterOrder) {
    // The reader tries the writer's order first; any other order, unknown
    // keys between, and repeated keys (the first counts) read the same.
    const Valued expected{1.5, "n"};
    EXPECT_EQ(json::decode<Valued>(R"({"_0":1.5,"note":"n"})"), expected);
    EXPECT_EQ(json::decode<Valued>(R"({"note":"n","_0":1.5})"), expected);
    EXPECT_EQ(json::decode<Valued>(R"({"x":0,"note":"n","y":[],"_0":1.5})"), expected);
    EXPECT_EQ(json::decode<Valued>(R"({"_0":1.5,"note":"n","_0":9,"note":"m"})"), expected);
    EXPECT_EQ(json::decode<Valued>(R"({"note":"n","_0":1.5,"note":"m"})"), expected);
    EXPECT_EQ(json::decode<Valued>(R"({"_0":1.5})"), (Valued{1.5, std::nullopt}));
    EXPECT_EQ(json::decode<Valued>(R"({"_0":1.5,"note":null})"), (Valued{1.5, std::nullopt}));
}

TEST(JsonCodingDecode, AnEnumerationMatchesItsWholeName) {
    EXPECT_EQ(json::decode<Shade>(R"("deepDark")"), Shade::deepDark);
    EXPECT_THROW(json::decode<Shade>(R"("deep")"), json::DecodingError);
    EXPECT_THROW(json::decode<Shade>(R"("light\u0000x")"), json::DecodingError);
}

}  // namespace
}  // namespace orv
