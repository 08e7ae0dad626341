// /proc/meminfo and /proc/pressure/memory.
#include "Sampling/MeminfoDecoding.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = orv::fuzz::text(data, size);
    (void)orv::Meminfo::decode(text);
    (void)orv::MemoryStall::decode(text);
    return 0;
}
