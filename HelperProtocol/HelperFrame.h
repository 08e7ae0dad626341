#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

// The helper's socket framing: a 4-byte big-endian length, then that many
// bytes. A request's bytes are its method's selector; a reply's are one
// presence byte (0: no data, 1: data follows) and the data. Pure functions
// of bytes, so both ends and the fuzz tests share one reading of them.
namespace HelperFrame {

inline constexpr size_t headerSize = 4;
// A selector is a few dozen bytes; anything near this is not a request.
inline constexpr uint32_t maxRequestBytes = 4 * 1024;
// Two thousand readings are about 600 KB; this is far beyond any table.
inline constexpr uint32_t maxReplyBytes = 256u * 1024 * 1024;

// The header and `payload` as one frame.
std::string frame(std::string_view payload);

// The header of a frame of `length` bytes.
std::string header(uint32_t length);

// A reply's header and presence byte, for data of `dataSize` bytes (nothing:
// no data), so that large data is written from where it lies.
std::string replyHeader(std::optional<size_t> dataSize);

// The length a header announces; `header` holds at least headerSize bytes.
uint32_t announcedLength(std::string_view header);

struct Parsed {
    enum class Status {
        complete,    // `payload` is one whole frame's body, `consumed` bytes long with its header
        incomplete,  // more bytes are needed
        tooLarge,    // the announced length is over the limit: the peer is not speaking this protocol
    };
    Status status = Status::incomplete;
    std::string_view payload;
    size_t consumed = 0;
    uint32_t announced = 0;
};

// The first frame at the start of `buffer`, whose body may be at most
// `limit` bytes. `payload` points into `buffer`.
Parsed parse(std::string_view buffer, uint32_t limit);

// A reply's body: presence byte and data.
std::string replyPayload(const std::optional<std::string_view>& data);

// The data of a reply body: an outer nothing when the body is malformed
// (empty, an unknown presence byte, or bytes after a "no data" byte), an
// inner nothing when the helper sent no data.
std::optional<std::optional<std::string_view>> readReply(std::string_view payload);

}  // namespace HelperFrame

}  // namespace orv
