// proc/<pid>/fdinfo/<fd> of a DRM client.
#include "Sampling/DRMFdinfo.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    (void)orv::DRMClientUsage::decode(orv::fuzz::text(data, size));
    return 0;
}
