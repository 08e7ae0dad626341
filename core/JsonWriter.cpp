#include "core/JsonWriter.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <stdexcept>

namespace orv::json {

void JsonWriter::number(double value) {
    if (!std::isfinite(value)) {
        throw std::invalid_argument(std::isnan(value)    ? "Unable to encode Double.nan directly in JSON."
                                    : value > 0          ? "Unable to encode Double.infinity directly in JSON."
                                                         : "Unable to encode -Double.infinity directly in JSON.");
    }
    // fmt's shortest form (the C++ library's floating-point to_chars is
    // missing from macOS 13.0's).
    char buffer[40];
    auto end = fmt::format_to_n(buffer, sizeof buffer - 2, "{}", value).out;
    bool marked = false;
    for (char* p = buffer; p != end; ++p) {
        if (*p == '.' || *p == 'e') {
            marked = true;
            break;
        }
    }
    if (!marked) {
        *end++ = '.';
        *end++ = '0';
    }
    out_.append(buffer, size_t(end - buffer));
}

namespace {

// 0: the byte stands for itself; otherwise the letter of its short escape,
// or 'u' for a \u00XX escape.
constexpr std::array<char, 256> escapes = [] {
    std::array<char, 256> table{};
    for (int c = 0; c < 0x20; ++c) table[size_t(c)] = 'u';
    table['\b'] = 'b';
    table['\f'] = 'f';
    table['\n'] = 'n';
    table['\r'] = 'r';
    table['\t'] = 't';
    table['"'] = '"';
    table['\\'] = '\\';
    return table;
}();

}  // namespace

void JsonWriter::string(std::string_view value) {
    out_.reserve(out_.size() + value.size() + 2);
    out_.push_back('"');
    const char* run = value.data();
    const char* const end = value.data() + value.size();
    for (const char* p = run; p != end; ++p) {
        const char escape = escapes[static_cast<unsigned char>(*p)];
        if (escape == 0) continue;
        out_.append(run, size_t(p - run));
        run = p + 1;
        if (escape == 'u') {
            static constexpr char hex[] = "0123456789abcdef";
            const auto byte = static_cast<unsigned char>(*p);
            const char spelled[6] = {'\\', 'u', '0', '0', hex[byte >> 4], hex[byte & 0xf]};
            out_.append(spelled, 6);
        } else {
            const char spelled[2] = {'\\', escape};
            out_.append(spelled, 2);
        }
    }
    out_.append(run, size_t(end - run));
    out_.push_back('"');
}

}  // namespace orv::json
