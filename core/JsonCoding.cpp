#include "core/JsonCoding.h"

#include <fmt/format.h>

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

Element parseDocument(std::string_view text) {
    // One parser per thread: its buffers are reused, and the returned element
    // stays valid until the next parse on this thread.
    thread_local simdjson::dom::parser parser;
    Element root;
    auto error = parser.parse(text.data(), text.size(), true).get(root);
    if (error) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, "",
                            fmt::format("The given data was not valid JSON: {}.", simdjson::error_message(error)));
    }
    return root;
}

}  // namespace orv::json
