// proc/self/mountinfo, and the volumes chosen from it.
#include "Sampling/MountinfoDecoding.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = orv::fuzz::text(data, size);
    auto entries = orv::MountinfoEntry::decodeAll(text);
    (void)orv::MountinfoDecoding::localVolumes(entries);
    (void)orv::MountinfoDecoding::unescapeOctal(text);
    (void)orv::MountinfoDecoding::unescapeHex(text);
    return 0;
}
