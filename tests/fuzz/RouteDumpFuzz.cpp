// The routing dump's interface messages (sysctl NET_RT_IFLIST2).
#include "Sampling/RouteDumpDecoding.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    (void)orv::RouteDumpDecoding::interfaces(orv::fuzz::bytes(data, size), [](uint16_t index) {
        return std::optional<std::string>(index % 2 ? "en" + std::to_string(index) : std::string());
    });
    return 0;
}
