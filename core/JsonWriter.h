#pragma once

// Compact JSON text written straight into a string, token by token, with no
// document tree in between. The record coding drives it (see
// core/JsonCoding.h); this class knows only JSON's own lexical rules:
// - integers are written exactly, through std::to_chars;
// - a double is the shortest decimal that reads back as the same bits, and
//   always carries a fraction or an exponent, so that a reader cannot take
//   it for an integer (a negative zero stays negative, and a whole number
//   past 2^64 is not read as an oversized integer);
// - a double that is not finite has no JSON form: writing one throws
//   std::invalid_argument, as Swift's JSONEncoder refuses it;
// - strings are escaped as RFC 8259 requires (quotation mark, reverse
//   solidus and control characters); other bytes are written as they are.

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace orv::json {

class JsonWriter {
public:
    explicit JsonWriter(std::string& out) : out_(out) {}

    void punctuation(char c) { out_.push_back(c); }
    void null() { out_.append("null", 4); }
    void boolean(bool value) {
        if (value) out_.append("true", 4);
        else out_.append("false", 5);
    }

    template <std::integral I>
    void integer(I value) {
        char buffer[24];
        auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
        out_.append(buffer, size_t(end - buffer));
    }

    void number(double value);
    void string(std::string_view value);

    // Text already in JSON form, such as a key and its colon made once.
    void verbatim(std::string_view text) { out_.append(text); }

    // `"name":` for a key known to need no escaping (a field or case name).
    void plainKey(std::string_view name) {
        out_.push_back('"');
        out_.append(name);
        out_.append("\":", 2);
    }

private:
    std::string& out_;
};

}  // namespace orv::json
