// sysfs CPU lists ("0-3,8,10-11").
#include "Sampling/CoreGroupTopology.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    (void)orv::CPUList::decode(orv::fuzz::text(data, size));
    return 0;
}
