#include "cli/TopKey.h"

namespace orv::cli {

namespace {

bool isFinal(char c) { return c >= 0x40 && c <= 0x7e; }

// The key a control sequence's body names ("A", "5~", "1~"…); escape when
// none of the view's keys.
std::optional<TopKey::Kind> sequenceKey(std::string_view body) {
    using K = TopKey::Kind;
    if (body == "A") return K::up;
    if (body == "B") return K::down;
    if (body == "H" || body == "1~" || body == "7~") return K::home;
    if (body == "F" || body == "4~" || body == "8~") return K::end;
    if (body == "5~") return K::pageUp;
    if (body == "6~") return K::pageDown;
    return std::nullopt;
}

}  // namespace

std::vector<TopKey> TopKey::decodeAll(std::string_view bytes) {
    std::vector<TopKey> keys;
    size_t i = 0;
    while (i < bytes.size()) {
        char c = bytes[i];
        if (c != '\x1b') {
            if (c == '\r' || c == '\n') keys.push_back({Kind::enter, 0});
            else if (c == '\x7f' || c == '\x08') keys.push_back({Kind::backspace, 0});
            else keys.push_back(of(c));
            ++i;
            continue;
        }
        // ESC: alone, or the start of ESC [ … final or ESC O final.
        if (i + 1 >= bytes.size() || (bytes[i + 1] != '[' && bytes[i + 1] != 'O')) {
            keys.push_back({Kind::escape, 0});
            ++i;
            continue;
        }
        size_t start = i + 2, end = start;
        while (end < bytes.size() && !isFinal(bytes[end])) ++end;
        if (end >= bytes.size()) break;  // cut short: nothing to act on
        if (auto kind = sequenceKey(bytes.substr(start, end + 1 - start))) keys.push_back({*kind, 0});
        i = end + 1;
    }
    return keys;
}

}  // namespace orv::cli
