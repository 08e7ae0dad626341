#include "core/StrainReason.h"

namespace orv {

std::optional<StrainReason> strainReasonFromRaw(std::string_view raw) {
    if (raw == "cpu") return StrainReason::cpu;
    if (raw == "memory") return StrainReason::memory;
    if (raw == "disk") return StrainReason::disk;
    if (raw == "thermal") return StrainReason::thermal;
    return std::nullopt;
}

}  // namespace orv
