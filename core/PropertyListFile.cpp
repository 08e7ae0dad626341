#include <fstream>
#include <iterator>
#include <vector>

#include "core/PropertyList.h"

namespace orv {

std::optional<PropertyValue> PropertyList::read(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return std::nullopt;
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) return std::nullopt;
    return parse(bytes);
}

}  // namespace orv
