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
        case JsonType::array: return "an array";
        case JsonType::object: return "a dictionary";
        case JsonType::int64:
        case JsonType::uint64:
        case JsonType::real: return "a number";
        case JsonType::string: return "a string";
        case JsonType::boolean: return "bool";
        case JsonType::null: return "null";
    }
    return "an unknown value";
}
}  // namespace

std::string detail::describeNumber(Element e) {
    switch (e.type()) {
        case JsonType::int64: return std::to_string(e.int64());
        case JsonType::uint64: return std::to_string(e.uint64());
        case JsonType::real: return fmt::format("{}", e.real());
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
    // One document per thread: its buffers are reused, and the returned
    // element stays valid until the next parse on this thread.
    thread_local JsonDocument document;
    thread_local std::string error;
    Element root;
    if (!document.parse(text, root, error)) {
        throw DecodingError(DecodingError::Kind::dataCorrupted, "",
                            fmt::format("The given data was not valid JSON: {}.", error));
    }
    return root;
}

}  // namespace orv::json
