#include "core/NumberLocale.h"

namespace orv {

std::string NumberLocale::identifierFromPosix(std::string_view posixName) {
    auto name = posixName.substr(0, posixName.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") return "en_US_POSIX";
    return std::string(name);
}

}  // namespace orv
