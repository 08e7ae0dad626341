#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include <cmath>
#include <cstring>
#include <map>
#include <random>

#include "core/JsonCoding.h"
#include "core/ProcessReading.h"

namespace orv {
namespace {

// Records used only to pin the generic rules.
enum class Tint { red, deepBlue };
BOOST_DESCRIBE_ENUM(Tint, red, deepBlue)

struct Working {
    static constexpr const char* caseName = "working";
    friend bool operator==(const Working&, const Working&) = default;
};
BOOST_DESCRIBE_STRUCT(Working, (), ())
struct Idle {
    static constexpr const char* caseName = "idle";
    int64_t minutes = 0;
    friend bool operator==(const Idle&, const Idle&) = default;
};
BOOST_DESCRIBE_STRUCT(Idle, (), (minutes))
struct Process {
    static constexpr const char* caseName = "process";
    int32_t _0 = 0;
    friend bool operator==(const Process&, const Process&) = default;
};
BOOST_DESCRIBE_STRUCT(Process, (), (_0))
using Activity = std::variant<Working, Idle, Process>;

struct Sample {
    std::optional<std::string> label;
    Tint tint = Tint::red;
    std::map<Tint, int32_t> counts;
    std::map<std::string, double> byName;
    std::vector<Activity> activities;
    friend bool operator==(const Sample&, const Sample&) = default;
};
BOOST_DESCRIBE_STRUCT(Sample, (), (label, tint, counts, byName, activities))

ProcessReading reading() {
    ProcessReading r;
    r.pid = 42;
    r.parentPID = 1;
    r.uid = 501;
    r.name = "Safari";
    r.executablePath = "/Applications/Safari.app/Contents/MacOS/Safari";
    r.startTime = Date::fromUnixSeconds(1'700'000'000);
    r.cpuTime = Duration::milliseconds(2500);
    r.footprintBytes = 1 << 20;
    r.diskReadBytes = 10;
    r.diskWriteBytes = 20;
    r.energyNJ = 30;
    r.isComplete = true;
    r.wakeups = 7;
    return r;
}

boost::json::value parsed(const std::string& text) { return boost::json::parse(text); }

TEST(JsonCoding, DurationOfTwoAndAHalfSecondsIsZeroHighAndAttosecondsLow) {
    auto v = parsed(json::encode(Duration::milliseconds(2500)));
    EXPECT_EQ(v, parsed("[0, 2500000000000000000]"));
}

TEST(JsonCoding, DurationOfTwentySecondsCarriesIntoTheHighWord) {
    auto v = parsed(json::encode(Duration::seconds(20)));
    EXPECT_EQ(v, parsed("[1, 1553255926290448384]"));
    EXPECT_EQ(json::decode<Duration>("[1, 1553255926290448384]"), Duration::seconds(20));
}

TEST(JsonCoding, DurationLowWordAcceptsTheFullUnsignedRange) {
    auto d = json::decode<Duration>("[-1, 18446744073709551615]");
    EXPECT_EQ(d.attoseconds, -1);
    EXPECT_EQ(json::decode<Duration>("[0, 0]"), Duration::zero());
}

TEST(JsonCoding, DurationMustBeAPairOfIntegers) {
    EXPECT_THROW(json::decode<Duration>("[1]"), json::DecodingError);
    EXPECT_THROW(json::decode<Duration>("[1, -2]"), json::DecodingError);
    EXPECT_THROW(json::decode<Duration>("{\"high\": 1}"), json::DecodingError);
}

json::DecodingError decodingError(auto decodeIt) {
    try {
        decodeIt();
    } catch (const json::DecodingError& e) {
        return e;
    }
    ADD_FAILURE() << "it decoded";
    return json::DecodingError(json::DecodingError::Kind::dataCorrupted, "", "");
}

TEST(JsonCoding, DurationReadsItsFirstTwoElementsAsSwiftDoes) {
    // Swift's Duration reads high and low from its unkeyed container and
    // never looks further; a short array runs out at the missing element.
    EXPECT_EQ(json::decode<Duration>("[1, 2, 3]"), Duration::fromParts(1, 2));
    auto shortOne = decodingError([] { (void)json::decode<Duration>("[1]"); });
    EXPECT_EQ(shortOne.kind(), json::DecodingError::Kind::valueNotFound);
    EXPECT_EQ(shortOne.path(), "[1]");
    EXPECT_EQ(shortOne.description(), "Unkeyed container is at end.");
    auto empty = decodingError([] { (void)json::decode<Duration>("[]"); });
    EXPECT_EQ(empty.kind(), json::DecodingError::Kind::valueNotFound);
    EXPECT_EQ(empty.path(), "[0]");
}

TEST(JsonCoding, NullWhereAValueMustBeIsAMissingValueAtAnyDepth) {
    // Swift reports valueNotFound for a null element, payload or nested
    // record, as it does for a null field.
    auto element = decodingError([] { (void)json::decode<std::vector<int32_t>>("[1, null]"); });
    EXPECT_EQ(element.kind(), json::DecodingError::Kind::valueNotFound);
    EXPECT_EQ(element.path(), "[1]");
    auto reading = decodingError([] { (void)json::decode<std::vector<ProcessReading>>("[null]"); });
    EXPECT_EQ(reading.kind(), json::DecodingError::Kind::valueNotFound);
    auto duration = decodingError([] { (void)json::decode<Duration>("[null, 1]"); });
    EXPECT_EQ(duration.kind(), json::DecodingError::Kind::valueNotFound);
    EXPECT_EQ(duration.path(), "[0]");
}

TEST(JsonCoding, AnIntegerPastTheUnsignedRangeIsADouble) {
    // Swift reads 18446744073709551616 as a double, and refuses it for an
    // integer field.
    EXPECT_EQ(json::decode<double>("18446744073709551616"), 18446744073709551616.0);
    EXPECT_EQ(json::decode<std::vector<double>>(R"([1, 123456789012345678901234567890, -18446744073709551617])"),
              (std::vector<double>{1, 123456789012345678901234567890.0, -18446744073709551617.0}));
    EXPECT_EQ(json::decode<std::vector<std::string>>(R"(["123456789012345678901234567890"])")[0],
              "123456789012345678901234567890");
    auto tooBig = decodingError([] { (void)json::decode<uint64_t>("18446744073709551616"); });
    EXPECT_EQ(tooBig.kind(), json::DecodingError::Kind::dataCorrupted);
    EXPECT_THROW(json::decode<double>("1e400"), json::DecodingError);
    EXPECT_THROW(json::decode<double>("[01]"), json::DecodingError);
}

TEST(JsonCoding, APayloadThatIsNullIsAMissingValue) {
    auto e = decodingError([] { (void)json::decode<Activity>(R"({"process": null})"); });
    EXPECT_EQ(e.kind(), json::DecodingError::Kind::valueNotFound);
    EXPECT_EQ(e.path(), "process");
    auto notAnObject = decodingError([] { (void)json::decode<Activity>(R"({"process": 4242})"); });
    EXPECT_EQ(notAnObject.kind(), json::DecodingError::Kind::typeMismatch);
}

TEST(JsonCoding, NegativeZeroKeepsItsSign) {
    // Swift writes a negative zero double as "-0".
    EXPECT_TRUE(std::signbit(json::decode<double>("-0")));
    EXPECT_TRUE(std::signbit(json::decode<std::vector<double>>("[1,-0,-0.0,-0E0]")[1]));
    EXPECT_TRUE(std::signbit(json::decode<Date>("-0").secondsSinceReferenceDate));
    EXPECT_FALSE(std::signbit(json::decode<double>("0")));
    EXPECT_EQ(json::decode<std::vector<double>>("[-0.5,-0e1,-0]").size(), 3u);
    EXPECT_EQ(json::decode<double>("-0.5"), -0.5);
    // Integers take it as 0; strings keep their text.
    EXPECT_EQ(json::decode<uint64_t>("-0"), 0u);
    EXPECT_EQ(json::decode<int32_t>("-0"), 0);
    EXPECT_EQ(json::decode<std::vector<std::string>>(R"(["-0", "a\"-0", "-0,"])"),
              (std::vector<std::string>{"-0", "a\"-0", "-0,"}));
    auto r = json::decode<ProcessReading>(R"({"pid":-0,"parentPID":0,"uid":0,"name":"-0","startTime":-0,)"
                                          R"("cpuTime":[-0,0],"footprintBytes":0,"diskReadBytes":0,)"
                                          R"("diskWriteBytes":0,"energyNJ":0,"isComplete":true,"wakeups":-0})");
    EXPECT_TRUE(std::signbit(r.startTime.secondsSinceReferenceDate));
    EXPECT_EQ(r.name, "-0");
    EXPECT_EQ(r.cpuTime, Duration::zero());
}

TEST(JsonCoding, DurationSecondsAreWholeSecondsPlusAttosecondsFraction) {
    EXPECT_DOUBLE_EQ(Duration::milliseconds(2500).toSeconds(), 2.5);
    EXPECT_DOUBLE_EQ(Duration::milliseconds(-1500).toSeconds(), -1.5);
}

TEST(JsonCoding, DateIsSecondsSinceTheReferenceDate) {
    EXPECT_EQ(json::decode<double>(json::encode(Date::fromUnixSeconds(1'700'000'000))), 721692800.0);
    EXPECT_EQ(json::decode<double>(json::encode(Date::fromUnixSeconds(978'307'200))), 0.0);
    EXPECT_EQ(json::decode<Date>("721692800"), Date{721692800.0});
}

TEST(JsonCoding, ProcessReadingHasExactlyItsThirteenKeys) {
    auto object = parsed(json::encode(reading())).as_object();
    std::vector<std::string> keys;
    for (auto& kv : object) keys.emplace_back(kv.key());
    std::sort(keys.begin(), keys.end());
    std::vector<std::string> expected{"cpuTime",     "diskReadBytes",  "diskWriteBytes", "energyNJ", "executablePath",
                                      "footprintBytes", "isComplete", "name",           "parentPID", "pid",
                                      "startTime",   "uid",            "wakeups"};
    EXPECT_EQ(keys, expected);
    EXPECT_EQ(object.at("startTime").to_number<double>(), 721692800.0);
    EXPECT_EQ(object.at("cpuTime"), parsed("[0, 2500000000000000000]"));
}

TEST(JsonCoding, AbsentExecutablePathIsLeftOutNotNull) {
    auto r = reading();
    r.executablePath.reset();
    auto object = parsed(json::encode(r)).as_object();
    EXPECT_FALSE(object.contains("executablePath"));
}

TEST(JsonCoding, NullAndMissingBothReadAsAbsent) {
    auto r = reading();
    r.executablePath.reset();
    auto text = json::encode(r);
    EXPECT_EQ(json::decode<ProcessReading>(text), r);
    auto object = parsed(text).as_object();
    object["executablePath"] = nullptr;
    EXPECT_EQ(json::decode<ProcessReading>(boost::json::serialize(object)), r);
}

TEST(JsonCoding, IncompleteReadingRoundTripsWithZeros) {
    ProcessReading r;
    r.pid = 7;
    r.name = "kthreadd";
    r.startTime = Date{123.25};
    EXPECT_EQ(json::decode<ProcessReading>(json::encode(r)), r);
    auto object = parsed(json::encode(r)).as_object();
    EXPECT_EQ(object.at("isComplete"), false);
    EXPECT_EQ(object.at("cpuTime"), parsed("[0, 0]"));
}

TEST(JsonCoding, UnknownKeysAreIgnored) {
    auto object = parsed(json::encode(reading())).as_object();
    object["somethingNew"] = "from a later version";
    EXPECT_EQ(json::decode<ProcessReading>(boost::json::serialize(object)), reading());
}

TEST(JsonCoding, MissingKeyIsNamedInTheError) {
    auto object = parsed(json::encode(reading())).as_object();
    object.erase("wakeups");
    try {
        json::decode<ProcessReading>(boost::json::serialize(object));
        FAIL() << "decoded without wakeups";
    } catch (const json::DecodingError& e) {
        EXPECT_EQ(e.kind(), json::DecodingError::Kind::keyNotFound);
        EXPECT_EQ(e.path(), "wakeups");
        EXPECT_NE(std::string(e.what()).find("\"wakeups\""), std::string::npos);
    }
}

TEST(JsonCoding, TypeMismatchNamesTheFieldAndTheType) {
    auto object = parsed(json::encode(reading())).as_object();
    object["pid"] = "forty-two";
    try {
        json::decode<ProcessReading>(boost::json::serialize(object));
        FAIL();
    } catch (const json::DecodingError& e) {
        EXPECT_EQ(e.kind(), json::DecodingError::Kind::typeMismatch);
        EXPECT_EQ(e.path(), "pid");
        EXPECT_EQ(e.description(), "Expected to decode Int32 but found a string instead.");
    }
}

TEST(JsonCoding, NumberOutOfRangeForTheFieldIsRefused) {
    auto object = parsed(json::encode(reading())).as_object();
    object["uid"] = -1;
    EXPECT_THROW(json::decode<ProcessReading>(boost::json::serialize(object)), json::DecodingError);
    object["uid"] = 4294967296ULL;
    EXPECT_THROW(json::decode<ProcessReading>(boost::json::serialize(object)), json::DecodingError);
}

TEST(JsonCoding, UnsignedFieldsAcceptTheirWholeRange) {
    auto object = parsed(json::encode(reading())).as_object();
    object["energyNJ"] = 18446744073709551615ULL;
    object["wakeups"] = 1553255926290448384LL;
    auto r = json::decode<ProcessReading>(boost::json::serialize(object));
    EXPECT_EQ(r.energyNJ, 18446744073709551615ULL);
    EXPECT_EQ(r.wakeups, 1553255926290448384ULL);
}

TEST(JsonCoding, MalformedJsonIsAClearError) {
    EXPECT_THROW(json::decode<ProcessReading>("{\"pid\": "), json::DecodingError);
    EXPECT_THROW(json::decode<std::vector<ProcessReading>>("[{]"), json::DecodingError);
    EXPECT_THROW(json::decode<std::vector<ProcessReading>>(""), json::DecodingError);
}

TEST(JsonCoding, EmptySampleIsTwoBrackets) {
    EXPECT_EQ(json::encode(std::vector<ProcessReading>{}), "[]");
    EXPECT_TRUE(json::decode<std::vector<ProcessReading>>("[]").empty());
}

TEST(JsonCoding, EnumerationIsItsRawValue) {
    EXPECT_EQ(json::encode(Tint::deepBlue), "\"deepBlue\"");
    EXPECT_EQ(json::decode<Tint>("\"red\""), Tint::red);
    EXPECT_THROW(json::decode<Tint>("\"green\""), json::DecodingError);
}

TEST(JsonCoding, PayloadEnumerationIsOneKeyedObject) {
    EXPECT_EQ(parsed(json::encode(Activity{Working{}})), parsed(R"({"working": {}})"));
    EXPECT_EQ(parsed(json::encode(Activity{Idle{12}})), parsed(R"({"idle": {"minutes": 12}})"));
    EXPECT_EQ(parsed(json::encode(Activity{Process{4242}})), parsed(R"({"process": {"_0": 4242}})"));
    EXPECT_EQ(json::decode<Activity>(R"({"process": {"_0": 12}})"), Activity{Process{12}});
}

TEST(JsonCoding, PayloadEnumerationWithOtherThanOneCaseFails) {
    for (const char* text : {R"({"process": {"_0": 12}, "idle": {"minutes": 1}})", "{}", R"({"kill": {}})"}) {
        try {
            json::decode<Activity>(text);
            FAIL() << text;
        } catch (const json::DecodingError& e) {
            EXPECT_EQ(e.description(), "Invalid number of keys found, expected one.") << text;
            EXPECT_EQ(e.kind(), json::DecodingError::Kind::typeMismatch);
        }
    }
}

TEST(JsonCoding, KeysThatAreNotCaseNamesAreNotCounted) {
    EXPECT_EQ(json::decode<Activity>(R"({"process": {"_0": 3}, "note": 1})"), Activity{Process{3}});
}

TEST(JsonCoding, NonStringKeyedMapIsAFlatArray) {
    Sample s;
    s.counts = {{Tint::red, 1}, {Tint::deepBlue, 2}};
    s.byName = {{"a", 1.5}};
    auto object = parsed(json::encode(s)).as_object();
    EXPECT_EQ(object.at("counts"), parsed(R"(["red", 1, "deepBlue", 2])"));
    EXPECT_EQ(object.at("byName"), parsed(R"({"a": 1.5})"));
    EXPECT_FALSE(object.contains("label"));
    EXPECT_EQ(json::decode<Sample>(json::encode(s)), s);
    EXPECT_THROW(json::decode<Sample>(R"({"tint": "red", "counts": ["red"], "byName": {}, "activities": []})"),
                 json::DecodingError);
}

TEST(JsonCoding, ReadingsRoundTripThroughTheWireForm) {
    std::vector<ProcessReading> readings(3, reading());
    readings[1].executablePath.reset();
    readings[2].isComplete = false;
    EXPECT_EQ(json::decode<std::vector<ProcessReading>>(json::encode(readings)), readings);
}

TEST(JsonCoding, AMillionRandomDoublesSurviveTheRoundTrip) {
    std::mt19937_64 random(20261121);
    std::uniform_real_distribution<double> seconds(-1e9, 1e10);
    std::vector<double> values;
    values.reserve(1'000'000);
    for (int i = 0; i < 1'000'000; ++i) {
        // Half plausible dates, half arbitrary bit patterns.
        if (i % 2 == 0) {
            values.push_back(seconds(random));
        } else {
            uint64_t bits = random();
            double d;
            std::memcpy(&d, &bits, sizeof d);
            values.push_back(std::isfinite(d) ? d : 0.0);
        }
    }
    auto back = json::decode<std::vector<double>>(json::encode(values));
    ASSERT_EQ(back.size(), values.size());
    size_t misses = 0;
    for (size_t i = 0; i < values.size(); ++i) misses += std::memcmp(&back[i], &values[i], sizeof(double)) != 0;
    EXPECT_EQ(misses, 0u);
}

TEST(RecordHash, EqualRecordsHashEquallyAndFieldsMatter) {
    auto a = reading();
    auto b = reading();
    EXPECT_EQ(std::hash<ProcessReading>{}(a), std::hash<ProcessReading>{}(b));
    b.wakeups += 1;
    EXPECT_NE(a, b);
    EXPECT_NE(std::hash<ProcessReading>{}(a), std::hash<ProcessReading>{}(b));
}

}  // namespace
}  // namespace orv
