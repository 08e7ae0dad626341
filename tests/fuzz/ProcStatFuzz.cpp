// /proc/stat's per-core lines.
#include "Sampling/ProcStatDecoding.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    (void)orv::ProcStatCore::decodeAll(orv::fuzz::text(data, size));
    return 0;
}
