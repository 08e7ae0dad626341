#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PrivateAPIs/HIDSymbolTable.h"
#include "PrivateAPIs/HIDTemperatures.h"
#include "core/CapturingLogSink.h"

namespace orv {
namespace {

struct Sensor {
    std::optional<std::string> name;
    std::optional<double> value;
};

struct Walk {
    std::vector<Sensor> sensors;
    std::vector<size_t> valuesAsked;

    HIDTemperatures::Readings select(std::string_view prefix, int64_t limit) {
        return HIDTemperatures::select(
            sensors.size(), [&](size_t i) { return sensors[i].name; },
            [&](size_t i) {
                valuesAsked.push_back(i);
                return sensors[i].value;
            },
            prefix, limit);
    }
};

Walk machine() {
    return Walk{{{"PMU tdie1", 48.5}, {"PMU tdie2", 51.0}, {std::nullopt, 30.0}, {"NAND CH0 temp", 35.0},
                 {"PMU tdie1", 99.0}, {"gas gauge battery", std::nullopt}, {"PMU TP3w", 40.0}}, {}};
}

TEST(HIDTemperatures, WithLimitZeroTheMapIsEmpty) {
    auto walk = machine();
    EXPECT_TRUE(walk.select("", 0).empty());
    EXPECT_TRUE(walk.valuesAsked.empty());
}

TEST(HIDTemperatures, TwoSensorsWithOneNameGiveTheFirstOnesValue) {
    auto walk = machine();
    auto map = walk.select("PMU tdie", 64);
    EXPECT_EQ(map, (HIDTemperatures::Readings{{"PMU tdie1", 48.5}, {"PMU tdie2", 51.0}}));
    EXPECT_EQ(walk.valuesAsked, (std::vector<size_t>{0, 1}));  // the duplicate's event is never read
}

TEST(HIDTemperatures, AnEmptyPrefixMatchesEveryNamedSensor) {
    auto walk = machine();
    auto map = walk.select("", 64);
    EXPECT_EQ(map, (HIDTemperatures::Readings{
                       {"PMU tdie1", 48.5}, {"PMU tdie2", 51.0}, {"NAND CH0 temp", 35.0}, {"PMU TP3w", 40.0}}));
}

TEST(HIDTemperatures, TheLimitStopsTheWalk) {
    auto walk = machine();
    auto map = walk.select("", 2);
    EXPECT_EQ(map.size(), 2u);
    EXPECT_EQ(walk.valuesAsked, (std::vector<size_t>{0, 1}));
}

TEST(HIDTemperatures, SensorsWithoutAnEventAreLeftOut) {
    auto walk = machine();
    EXPECT_TRUE(walk.select("gas gauge", 64).empty());
}

void* const marker = reinterpret_cast<void*>(0x1000);

TEST(HIDSymbolTable, AllSixFoundInTableOrder) {
    std::vector<std::string> asked;
    HIDSymbolTable table([&](const char* name) -> void* {
        asked.emplace_back(name);
        return marker;
    });
    ASSERT_NE(table.symbols(), nullptr);
    EXPECT_EQ(asked, (std::vector<std::string>{"IOHIDEventSystemClientCreate", "IOHIDEventSystemClientSetMatching",
                                               "IOHIDEventSystemClientCopyServices", "IOHIDServiceClientCopyProperty",
                                               "IOHIDServiceClientCopyEvent", "IOHIDEventGetFloatValue"}));
}

TEST(HIDSymbolTable, AMissingSymbolStopsTheLookupAndLogsOnce) {
    ScopedLogCapture capture;
    std::vector<std::string> asked;
    HIDSymbolTable table([&](const char* name) -> void* {
        asked.emplace_back(name);
        return std::string_view(name) == "IOHIDEventSystemClientCopyServices" ? nullptr : marker;
    });
    EXPECT_EQ(table.symbols(), nullptr);
    EXPECT_EQ(table.symbols(), nullptr);
    EXPECT_EQ(asked.size(), 3u);
    auto entries = capture.sink().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].message, "HID temperature symbols unavailable");
    EXPECT_EQ(entries[0].subsystem, "app.orvantine.privateapis");
    EXPECT_EQ(entries[0].category, "hid");
}

TEST(HIDSymbolTable, TheRunningProgramHasNoneOfThemHere) {
    // Linux programs do not link IOKit: the real lookup finds nothing.
    ScopedLogCapture capture;
    HIDSymbolTable table;
    EXPECT_EQ(table.symbols(), nullptr);
    EXPECT_EQ(capture.messages(), (std::vector<std::string>{"HID temperature symbols unavailable"}));
}

}  // namespace
}  // namespace orv
