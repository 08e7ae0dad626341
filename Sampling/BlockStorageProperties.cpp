#include "Sampling/BlockStorageProperties.h"

namespace orv {

std::optional<BlockCounters> BlockStorageProperties::counters(const PropertyValue* statistics) {
    if (!statistics || !statistics->dictionary()) return std::nullopt;
    const PropertyValue* read = statistics->find("Bytes (Read)");
    const PropertyValue* written = statistics->find("Bytes (Write)");
    if (!read || !written) return std::nullopt;
    auto readBytes = read->unsignedInteger();
    auto writtenBytes = written->unsignedInteger();
    if (!readBytes || !writtenBytes) return std::nullopt;
    return BlockCounters{*readBytes, *writtenBytes};
}

bool BlockStorageProperties::isVirtualInterconnect(const PropertyValue* protocolCharacteristics) {
    if (!protocolCharacteristics) return false;
    const PropertyValue* interconnect = protocolCharacteristics->find("Physical Interconnect");
    return interconnect && interconnect->string() && *interconnect->string() == "Virtual Interface";
}

}  // namespace orv
