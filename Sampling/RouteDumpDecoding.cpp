#include "Sampling/RouteDumpDecoding.h"

#include <cstring>

#include "core/Utf8.h"

namespace orv {

namespace {
template <class T>
T load(std::span<const uint8_t> bytes, size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}
}  // namespace

void RouteDumpDecoding::interfaces(std::span<const uint8_t> dump, const IndexToName& indexToName,
                                   InterfaceCounterMap& out) {
    size_t offset = 0;
    while (dump.size() - offset >= minimumRemaining) {
        const size_t length = load<uint16_t>(dump, offset);
        if (length == 0 || length > dump.size() - offset) break;
        auto message = dump.subspan(offset, length);
        offset += length;
        if (length < interfaceMessageSize || message[typeOffset] != interfaceInfo2Type) continue;

        const uint32_t addresses = load<uint32_t>(message, addressMaskOffset);
        const uint16_t index = load<uint16_t>(message, indexOffset);
        const InterfaceCounters counters{load<uint64_t>(message, inputBytesOffset),
                                         load<uint64_t>(message, outputBytesOffset)};

        std::optional<std::string> name;
        if ((addresses & interfaceAddressBit) != 0 && length >= linkAddressMinimumEnd) {
            auto link = message.subspan(interfaceMessageSize);
            const size_t nameLength = link[linkNameLengthOffset];
            if (link[linkFamilyOffset] == linkFamily && nameLength != 0 && link.size() >= nameLength + linkNameOffset) {
                auto bytes = link.subspan(linkNameOffset, nameLength);
                if (isValidUtf8(bytes)) name = std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            }
        }
        if (!name && indexToName) name = indexToName(index);
        if (!name) continue;
        out.insert_or_assign(std::move(*name), counters);
    }
}

}  // namespace orv
