#include "core/Utf8.h"

#include <cstdint>

namespace orv {

namespace {

// The length of the well-formed sequence at `i`, or 0 with `bad` set to the
// length of the maximal ill-formed subpart (at least 1).
size_t sequenceAt(std::string_view s, size_t i, size_t& bad) {
    auto byte = [&](size_t k) { return static_cast<uint8_t>(s[k]); };
    uint8_t b0 = byte(i);
    if (b0 < 0x80) return 1;
    size_t need;
    uint8_t lo = 0x80, hi = 0xBF;
    if (b0 >= 0xC2 && b0 <= 0xDF) need = 1;
    else if (b0 == 0xE0) { need = 2; lo = 0xA0; }
    else if (b0 >= 0xE1 && b0 <= 0xEC) need = 2;
    else if (b0 == 0xED) { need = 2; hi = 0x9F; }
    else if (b0 >= 0xEE && b0 <= 0xEF) need = 2;
    else if (b0 == 0xF0) { need = 3; lo = 0x90; }
    else if (b0 >= 0xF1 && b0 <= 0xF3) need = 3;
    else if (b0 == 0xF4) { need = 3; hi = 0x8F; }
    else { bad = 1; return 0; }
    for (size_t k = 1; k <= need; ++k) {
        if (i + k >= s.size()) { bad = k; return 0; }
        uint8_t b = byte(i + k);
        uint8_t low = k == 1 ? lo : 0x80, high = k == 1 ? hi : 0xBF;
        if (b < low || b > high) { bad = k; return 0; }
    }
    return need + 1;
}

}  // namespace

bool isValidUtf8(std::string_view bytes) {
    for (size_t i = 0; i < bytes.size();) {
        size_t bad = 0;
        size_t n = sequenceAt(bytes, i, bad);
        if (n == 0) return false;
        i += n;
    }
    return true;
}

std::string repairUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (size_t i = 0; i < bytes.size();) {
        size_t bad = 0;
        size_t n = sequenceAt(bytes, i, bad);
        if (n > 0) {
            out.append(bytes.substr(i, n));
            i += n;
        } else {
            out.append("\xEF\xBF\xBD");
            i += bad;
        }
    }
    return out;
}

}  // namespace orv
