// Desktop entries, and the cgroup paths and unit names apps are found by.
#include "Sampling/CgroupAppRule.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    namespace rule = orv::CgroupAppRule;
    const auto text = orv::fuzz::text(data, size);
    (void)rule::DesktopEntry::decode(text);
    if (auto path = rule::unifiedPath(text)) (void)rule::ownerOf(*path);
    (void)rule::ownerOf(text);
    (void)rule::unescape(text);
    (void)rule::fallbackName(text);
    return 0;
}
