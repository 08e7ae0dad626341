#include <gtest/gtest.h>

#include <unordered_set>

#include "core/BlockCounters.h"
#include "core/CPUStats.h"
#include "core/CPUTicks.h"
#include "core/DiskStats.h"
#include "core/InterfaceCounters.h"
#include "core/JsonCoding.h"
#include "core/MemoryStats.h"
#include "core/NetworkStats.h"
#include "core/VMPageCounts.h"

namespace orv {
namespace {

// Keys appear in the order the records declare their fields.
void expectKeysInOrder(const std::string& text, std::initializer_list<const char*> keys) {
    size_t at = 0;
    for (const char* key : keys) {
        auto found = text.find(std::string("\"") + key + "\":", at);
        ASSERT_NE(found, std::string::npos) << key << " in " << text;
        at = found;
    }
}

TEST(SystemRecords, CPUStatsKeysAndRoundTrip) {
    CPUStats stats{50, 30, 20, {40, 60}, {CoreCluster{"CPU", 0, {0, 1}, 50}}, LoadAverage{1, 2, 3}};
    auto text = json::encode(stats);
    expectKeysInOrder(text, {"totalPercent", "userPercent", "systemPercent", "perCorePercent", "clusters",
                             "loadAverage"});
    expectKeysInOrder(text, {"name", "level", "coreIndexes", "percent", "one", "five", "fifteen"});
    EXPECT_EQ(json::decode<CPUStats>(text), stats);
}

TEST(SystemRecords, TopologyAndTicksKeys) {
    expectKeysInOrder(json::encode(CPUTopology{{{"Performance", 0, {4, 5}}}}), {"levels", "name", "level", "coreIndexes"});
    expectKeysInOrder(json::encode(CPUTicks{1, 2, 3, 4}), {"user", "system", "idle", "nice"});
}

TEST(SystemRecords, MemoryStatsKeys) {
    expectKeysInOrder(json::encode(MemoryStats{}), {"totalBytes", "usedBytes", "appBytes", "wiredBytes",
                                                    "compressedBytes", "cachedFilesBytes", "swapUsedBytes",
                                                    "pressure", "availableLevel"});
    expectKeysInOrder(json::encode(VMPageCounts{}), {"internalPages", "wiredPages", "compressorPages",
                                                     "externalPages", "purgeablePages"});
}

TEST(SystemRecords, DiskAndNetworkKeys) {
    expectKeysInOrder(json::encode(DiskStats{{VolumeStats{"a", "b", 1, 2}}, 3, 4}),
                      {"volumes", "id", "name", "totalBytes", "freeBytes", "readBPS", "writeBPS"});
    expectKeysInOrder(json::encode(NetworkStats{1, 2, "en0"}), {"inBPS", "outBPS", "primaryInterface"});
    expectKeysInOrder(json::encode(InterfaceCounters{1, 2}), {"bytesIn", "bytesOut"});
    expectKeysInOrder(json::encode(BlockCounters{1, 2}), {"bytesRead", "bytesWritten"});
}

TEST(SystemRecords, RecordsHashOverTheirFields) {
    std::unordered_set<CPUTicks> ticks{{1, 2, 3, 4}, {1, 2, 3, 4}, {4, 3, 2, 1}};
    EXPECT_EQ(ticks.size(), 2u);
    EXPECT_NE(std::hash<MemoryStats>{}(MemoryStats{}), std::hash<MemoryStats>{}(MemoryStats{1}));
}

}  // namespace
}  // namespace orv
