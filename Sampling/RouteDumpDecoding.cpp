#include "Sampling/RouteDumpDecoding.h"

#include <cstring>

#include "core/ByteDecoding.h"
#include "core/Utf8.h"

namespace orv {

using ByteDecoding::loadNative;

InterfaceCounterMap RouteDumpDecoding::interfaces(std::span<const uint8_t> dump, const IndexToName& indexToName) {
    InterfaceCounterMap out;
    size_t offset = 0;
    while (dump.size() - offset >= minimumRemaining) {
        const auto length = loadNative<uint16_t>(dump, offset);
        if (!length || *length == 0 || *length > dump.size() - offset) break;
        auto message = dump.subspan(offset, *length);
        offset += *length;
        if (*length < interfaceMessageSize || message[typeOffset] != interfaceInfo2Type) continue;

        const auto addresses = loadNative<uint32_t>(message, addressMaskOffset);
        const auto index = loadNative<uint16_t>(message, indexOffset);
        const auto inputBytes = loadNative<uint64_t>(message, inputBytesOffset);
        const auto outputBytes = loadNative<uint64_t>(message, outputBytesOffset);
        if (!addresses || !index || !inputBytes || !outputBytes) continue;

        std::optional<std::string> name;
        if ((*addresses & interfaceAddressBit) != 0 && *length >= linkAddressMinimumEnd) {
            auto link = message.subspan(interfaceMessageSize);
            const size_t nameLength = link[linkNameLengthOffset];
            if (link[linkFamilyOffset] == linkFamily && nameLength != 0 && ByteDecoding::has(link, linkNameOffset, nameLength)) {
                auto bytes = link.subspan(linkNameOffset, nameLength);
                if (isValidUtf8(bytes)) name = std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            }
        }
        if (!name && indexToName) name = indexToName(*index);
        if (!name) continue;
        out.insert_or_assign(std::move(*name), InterfaceCounters{*inputBytes, *outputBytes});
    }
    return out;
}

}  // namespace orv
