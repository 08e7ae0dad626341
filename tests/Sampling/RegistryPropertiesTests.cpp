#include <gtest/gtest.h>

#include "Sampling/BlockStorageProperties.h"
#include "Sampling/CPUTopologyMath.h"

namespace orv {
namespace {

PropertyValue statistics(std::optional<PropertyValue> read, std::optional<PropertyValue> write) {
    PropertyValue::Dictionary entries{{"Operations (Read)", int64_t(3)}};
    if (read) entries.emplace("Bytes (Read)", *read);
    if (write) entries.emplace("Bytes (Write)", *write);
    return PropertyValue(entries);
}

TEST(BlockStorageProperties, ReadsBothByteCounts) {
    auto stats = statistics(PropertyValue(int64_t(4096)), PropertyValue(uint64_t(0xFFFFFFFFFFFFFFF0ull)));
    EXPECT_EQ(BlockStorageProperties::counters(&stats), (BlockCounters{4096, 0xFFFFFFFFFFFFFFF0ull}));
}

TEST(BlockStorageProperties, MissingWriteCountLeavesTheDriverOut) {
    auto stats = statistics(PropertyValue(int64_t(4096)), std::nullopt);
    EXPECT_FALSE(BlockStorageProperties::counters(&stats));
}

TEST(BlockStorageProperties, CountOfAnotherKindLeavesTheDriverOut) {
    auto stats = statistics(PropertyValue(int64_t(4096)), PropertyValue("lots"));
    EXPECT_FALSE(BlockStorageProperties::counters(&stats));
    EXPECT_FALSE(BlockStorageProperties::counters(nullptr));
}

TEST(BlockStorageProperties, VirtualInterfaceIsADiskImage) {
    PropertyValue image(PropertyValue::Dictionary{{"Physical Interconnect", "Virtual Interface"}});
    PropertyValue nvme(PropertyValue::Dictionary{{"Physical Interconnect", "PCI-Express"}});
    PropertyValue empty(PropertyValue::Dictionary{});
    EXPECT_TRUE(BlockStorageProperties::isVirtualInterconnect(&image));
    EXPECT_FALSE(BlockStorageProperties::isVirtualInterconnect(&nvme));
    EXPECT_FALSE(BlockStorageProperties::isVirtualInterconnect(&empty));
    EXPECT_FALSE(BlockStorageProperties::isVirtualInterconnect(nullptr));
}

TEST(CPUTopologyMath, ClusterEntryReadsTheTypeUpToTheFirstZero) {
    PropertyValue id(int64_t(5));
    PropertyValue type(PropertyValue::Data{'P', 0, 'x'});
    EXPECT_EQ(CPUTopologyMath::clusterEntry(&id, &type), (std::pair<int64_t, std::string>{5, "P"}));
    PropertyValue whole(PropertyValue::Data{'E'});
    EXPECT_EQ(CPUTopologyMath::clusterEntry(&id, &whole)->second, "E");
}

TEST(CPUTopologyMath, ClusterEntryWithInvalidTextIsEmpty) {
    PropertyValue id(int64_t(1));
    PropertyValue type(PropertyValue::Data{0xFF, 0xFE});
    EXPECT_EQ(CPUTopologyMath::clusterEntry(&id, &type)->second, "");
}

TEST(CPUTopologyMath, ClusterEntryOfTheWrongKindIsSkipped) {
    PropertyValue id(int64_t(1));
    PropertyValue textType("P");
    PropertyValue type(PropertyValue::Data{'P'});
    PropertyValue textID("1");
    EXPECT_FALSE(CPUTopologyMath::clusterEntry(&id, &textType));
    EXPECT_FALSE(CPUTopologyMath::clusterEntry(&textID, &type));
    EXPECT_FALSE(CPUTopologyMath::clusterEntry(nullptr, &type));
    EXPECT_FALSE(CPUTopologyMath::clusterEntry(&id, nullptr));
}

}  // namespace
}  // namespace orv
