#include "Sampling/linux/FanReaderLinux.h"

#include "PrivateAPIs/linux/HwmonClass.h"
#include "Sampling/FanReader.h"

namespace orv {

std::vector<FanReading> fanReadings(const std::filesystem::path& root) {
    std::vector<FanReading> out;
    auto chips = readHwmonChips(root);
    if (!chips) return out;
    for (const auto& chip : *chips) {
        for (const auto& fan : HwmonDecoding::fans(chip)) {
            out.push_back({static_cast<int64_t>(out.size()), fan.rpm, fan.minRPM, fan.maxRPM});
        }
    }
    return out;
}

std::vector<FanReading> FanReader::readings() { return fanReadings("/"); }

}  // namespace orv
