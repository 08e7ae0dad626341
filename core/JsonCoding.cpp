#include "core/JsonCoding.h"

#include <fmt/format.h>

#include <cctype>
#include <optional>

namespace orv::json {

std::string CodingPath::render() const {
    std::vector<const CodingPath*> chain;
    for (const CodingPath* p = this; p != nullptr; p = p->parent) {
        if (p->parent != nullptr) chain.push_back(p);  // the root has no key
    }
    std::string out;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        if ((*it)->isIndex) {
            out += fmt::format("[{}]", (*it)->index);
        } else {
            if (!out.empty()) out += '.';
            out += (*it)->key;
        }
    }
    return out;
}

namespace {
std::string_view kindOf(Element e) {
    switch (e.type()) {
        case simdjson::dom::element_type::ARRAY: return "an array";
        case simdjson::dom::element_type::OBJECT: return "a dictionary";
        case simdjson::dom::element_type::INT64:
        case simdjson::dom::element_type::UINT64:
        case simdjson::dom::element_type::DOUBLE: return "a number";
        case simdjson::dom::element_type::STRING: return "a string";
        case simdjson::dom::element_type::BOOL: return "bool";
        case simdjson::dom::element_type::NULL_VALUE: return "null";
    }
    return "an unknown value";
}
}  // namespace

std::string detail::describeNumber(Element e) {
    switch (e.type()) {
        case simdjson::dom::element_type::INT64: return std::to_string(int64_t(e));
        case simdjson::dom::element_type::UINT64: return std::to_string(uint64_t(e));
        case simdjson::dom::element_type::DOUBLE: return fmt::format("{}", double(e));
        default: return std::string(kindOf(e));
    }
}

void throwTypeMismatch(const CodingPath& path, std::string_view expected, Element found) {
    throw DecodingError(DecodingError::Kind::typeMismatch, path.render(),
                        fmt::format("Expected to decode {} but found {} instead.", expected, kindOf(found)));
}

void throwKeyNotFound(const CodingPath& path, std::string_view key) {
    auto full = path.child(key).render();
    throw DecodingError(DecodingError::Kind::keyNotFound, full,
                        fmt::format("No value associated with key \"{}\".", key));
}

void throwValueNotFound(const CodingPath& path, std::string_view expected) {
    throw DecodingError(DecodingError::Kind::valueNotFound, path.render(),
                        fmt::format("Expected {} value but found null instead.", expected));
}

void throwDataCorrupted(const CodingPath& path, std::string description) {
    throw DecodingError(DecodingError::Kind::dataCorrupted, path.render(), std::move(description));
}

void throwInvalidCaseCount(const CodingPath& path) {
    throw DecodingError(DecodingError::Kind::typeMismatch, path.render(),
                        "Invalid number of keys found, expected one.");
}

namespace {
// simdjson reads the number -0 as the integer 0, which loses the sign that
// Swift writes for a negative zero double ("-0"); as -0.0 it reads back as
// what was meant (an integer field takes -0.0 as 0). Returns the text with
// every such number, outside strings, so rewritten, or nothing when there
// is none, which is nearly always.
std::optional<std::string> spellNegativeZeros(std::string_view text) {
    // The full, string-aware pass runs only when some "-0" is followed by
    // what can follow a number and is not a digit, a point or an exponent:
    // "-0" inside names and paths ("app-0.9", "disk-0\"") is common, a
    // negative zero rare.
    auto canEndAValue = [](char c) {
        return c == ',' || c == '}' || c == ']' || c == ' ' || c == '\t' || c == '\n' || c == '\r';
    };
    bool candidate = false;
    for (size_t at = text.find("-0"); at != std::string_view::npos; at = text.find("-0", at + 2)) {
        if (at + 2 >= text.size() || canEndAValue(text[at + 2])) {
            candidate = true;
            break;
        }
    }
    if (!candidate) return std::nullopt;
    auto endsNumber = [&](size_t i) {
        return i >= text.size() || !(std::isdigit(static_cast<unsigned char>(text[i])) || text[i] == '.' ||
                                     text[i] == 'e' || text[i] == 'E');
    };
    std::optional<std::string> out;
    size_t copied = 0;
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (inString) {
            if (c == '\\') ++i;
            else if (c == '"') inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '-' && i + 1 < text.size() && text[i + 1] == '0' && endsNumber(i + 2)) {
            if (!out) out.emplace().reserve(text.size() + 16);
            out->append(text.substr(copied, i + 2 - copied));
            out->append(".0");
            copied = i + 2;
            ++i;
        }
    }
    if (out) out->append(text.substr(copied));
    return out;
}

// simdjson refuses an integer past 2^64 - 1, which Swift reads as a double
// (and refuses for an integer field, as we then do): the text with every
// integer of 20 digits or more, outside strings, written as a decimal.
std::string spellBigIntegersAsDecimals(std::string_view text) {
    std::string out;
    out.reserve(text.size() + 16);
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (inString) {
            out += c;
            if (c == '\\' && i + 1 < text.size()) out += text[++i];
            else if (c == '"') inString = false;
            continue;
        }
        if (c == '"') inString = true;
        if (!std::isdigit(static_cast<unsigned char>(c))) {
            out += c;
            continue;
        }
        size_t end = i;
        while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end]))) ++end;
        out.append(text.substr(i, end - i));
        bool whole = end >= text.size() || (text[end] != '.' && text[end] != 'e' && text[end] != 'E');
        if (whole && end - i >= 20) out += ".0";
        i = end - 1;
    }
    return out;
}
}  // namespace

Element parseDocument(std::string_view text, bool hasReadAhead) {
    // One parser per thread: its buffers are reused, and the returned element
    // stays valid until the next parse on this thread.
    thread_local simdjson::dom::parser parser;
    thread_local std::string respelled;
    if (auto spelled = spellNegativeZeros(text)) {
        respelled = std::move(*spelled);
        text = respelled;
        hasReadAhead = false;
    }
    Element root;
    auto error = parser.parse(text.data(), text.size(), !hasReadAhead).get(root);
    if (error == simdjson::NUMBER_ERROR) {
        respelled = spellBigIntegersAsDecimals(text);
        error = parser.parse(respelled.data(), respelled.size(), true).get(root);
    }
    if (error) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, "",
                            fmt::format("The given data was not valid JSON: {}.", simdjson::error_message(error)));
    }
    return root;
}

}  // namespace orv::json
