#pragma once

#include <string_view>

namespace orv {

// The order in which volume names are listed, as a file browser sorts
// them: case-insensitive, with runs of digits compared by value ("Disk 2"
// before "Disk 10"). CoreFoundation's localized numeric comparison on
// macOS; on Linux the C library's collation of the user's locale (code
// point order in C.UTF-8) over case-folded runs, digit runs by value.
struct VolumeNameOrder {
    static bool less(std::string_view a, std::string_view b);
};

}  // namespace orv
