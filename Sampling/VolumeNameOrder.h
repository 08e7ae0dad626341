#pragma once

#include <string_view>

namespace orv {

// The order in which volume names are listed, as a file browser sorts
// them: case-insensitive, with runs of digits compared by value ("Disk 2"
// before "Disk 10"). CoreFoundation's localized numeric comparison on
// macOS, an ICU collator with numeric ordering on Linux.
struct VolumeNameOrder {
    static bool less(std::string_view a, std::string_view b);
};

}  // namespace orv
