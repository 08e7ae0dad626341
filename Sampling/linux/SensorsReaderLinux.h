#pragma once

#include <cstddef>
#include <filesystem>

#include "Sampling/SensorsReader.h"

namespace orv {

// The temperatures and fans of the chips below <root>/sys/class/hwmon, from
// one read of their attributes; `filesRead`, when given, counts the files opened.
SensorsReader::Hardware readHwmonHardware(const std::filesystem::path& root, size_t* filesRead = nullptr);

}  // namespace orv
