#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv {

// The machine's board identifier (such as "Mac-827FB448E656EC26" or
// "J316sAP"), which names its power-model file.
struct BoardIdentifier {
    // The registry stores it as data with trailing NULs; the identifier is
    // the bytes up to the first zero byte (all of them when there is none),
    // and nothing when those bytes are not UTF-8.
    static std::optional<std::string> decode(std::span<const uint8_t> bytes);
};

// The platform's read of the raw identifier bytes. macOS: the "board-id"
// property of the IOPlatformExpertDevice registry entry. Linux has no such
// property: nothing.
class BoardIdentifierPort {
public:
    virtual ~BoardIdentifierPort() = default;
    virtual std::optional<std::vector<uint8_t>> readBoardIdentifier() = 0;
};

std::unique_ptr<BoardIdentifierPort> makeBoardIdentifierPort();

}  // namespace orv
