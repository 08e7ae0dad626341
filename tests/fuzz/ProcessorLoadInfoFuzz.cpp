// macOS's per-processor tick counters (host_processor_info): the first
// byte is the processor count the kernel reported, the rest the array.
#include <cstring>
#include <vector>

#include "Sampling/ProcessorTickDecoding.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    // The kernel hands over an aligned array of 32-bit words.
    std::vector<uint32_t> words((size - 1) / sizeof(uint32_t));
    if (!words.empty()) std::memcpy(words.data(), data + 1, words.size() * sizeof(uint32_t));
    (void)orv::ProcessorLoadInfo::decode(words, data[0]);
    return 0;
}
