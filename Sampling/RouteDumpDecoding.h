#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "core/InterfaceCounters.h"

namespace orv {

// The macOS NET_RT_IFLIST2 routing dump: a run of messages, each starting
// with its 16-bit length, version and type; RTM_IFINFO2 messages are a
// struct if_msghdr2 (160 bytes, from <net/if.h>), usually followed by the
// interface's link-level address (struct sockaddr_dl, <net/if_dl.h>).
struct RouteDumpDecoding {
    static constexpr size_t minimumRemaining = 112;     // less than this left ends the walk
    static constexpr size_t interfaceMessageSize = 160; // sizeof(struct if_msghdr2)
    static constexpr size_t typeOffset = 3;             // ifm_type
    static constexpr uint8_t interfaceInfo2Type = 18;   // RTM_IFINFO2
    static constexpr size_t addressMaskOffset = 4;      // ifm_addrs
    static constexpr size_t indexOffset = 12;           // ifm_index
    static constexpr size_t inputBytesOffset = 96;      // ifm_data.ifi_ibytes (struct if_data64)
    static constexpr size_t outputBytesOffset = 104;    // ifm_data.ifi_obytes
    static constexpr uint32_t interfaceAddressBit = 16; // RTA_IFP: a sockaddr_dl follows
    static constexpr size_t linkAddressMinimumEnd = 180;
    static constexpr size_t linkFamilyOffset = 1;       // sdl_family
    static constexpr uint8_t linkFamily = 18;           // AF_LINK
    static constexpr size_t linkNameLengthOffset = 5;   // sdl_nlen
    static constexpr size_t linkNameOffset = 8;         // sdl_data

    using IndexToName = std::function<std::optional<std::string>(uint16_t index)>;

    // Every interface's counters, by name; a later message with the same
    // name replaces an earlier one. A truncated or malformed message ends
    // the walk and what was read so far is the answer, so this never fails.
    // A message without a usable link-level name is named by `indexToName`
    // (if_indextoname on the machine), or skipped when that has no answer
    // either.
    [[nodiscard]] static InterfaceCounterMap interfaces(std::span<const uint8_t> dump, const IndexToName& indexToName);
};

}  // namespace orv
