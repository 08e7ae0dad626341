// /proc/diskstats.
#include <vector>

#include "Sampling/DiskstatsDecoding.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<orv::DiskstatsEntry> entries;
    orv::DiskstatsEntry::decodeAll(orv::fuzz::text(data, size), entries);
    return 0;
}
