#include <span>

#include "core/FileReading.h"
#include "core/PropertyList.h"

namespace orv {

std::optional<PropertyValue> PropertyList::read(const std::filesystem::path& file) {
    // A directory, a vanished file or an unreadable one is simply no
    // property list, never an exception.
    constexpr size_t limit = 64 << 20;  // property lists we read are kilobytes; refuse anything absurd
    auto bytes = FileReading::readSmallFile(file, limit + 1);
    if (!bytes || bytes->size() > limit) return std::nullopt;
    return parse(std::span(reinterpret_cast<const uint8_t*>(bytes->data()), bytes->size()));
}

}  // namespace orv
