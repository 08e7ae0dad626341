#pragma once

// A parsed JSON text, read-only: every value in one flat vector in document
// order (a container's members follow it, and it knows where they end), its
// strings unescaped into one buffer. Parsing is Boost.JSON's validating
// parser; each double is then read again from its own text by
// ExactDecimal, which rounds correctly (a date must compare equal after a
// round trip), where the parser's own conversion does not.
//
// A number keeps the kind its text has: an integer that fits 64 bits is one
// (signed when negative or when it fits int64), any other number a double,
// the bare "-0" included, so that a negative zero keeps its sign. An object
// keeps every member in order, duplicates too; a lookup finds the first.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv::json {

enum class JsonType : uint8_t { array, object, int64, uint64, real, string, boolean, null };

class JsonDocument;
class JsonArray;
class JsonObject;

// One value of a document; valid while its document is neither parsed again
// nor destroyed. A default element is null.
class JsonElement {
public:
    JsonElement() = default;

    JsonType type() const;
    bool isNull() const { return type() == JsonType::null; }

    // Each accessor requires the matching type().
    int64_t int64() const;
    uint64_t uint64() const;
    double real() const;
    bool boolean() const;
    std::string_view string() const;
    JsonArray array() const;
    JsonObject object() const;

private:
    friend class JsonDocument;
    friend class JsonArray;
    friend class JsonObject;
    JsonElement(const JsonDocument* document, uint32_t index) : document_(document), index_(index) {}

    const JsonDocument* document_ = nullptr;
    uint32_t index_ = 0;
};

class JsonArray {
public:
    class Iterator {
    public:
        JsonElement operator*() const { return JsonElement(document_, index_); }
        Iterator& operator++();
        bool operator==(const Iterator&) const = default;

    private:
        friend class JsonArray;
        Iterator(const JsonDocument* document, uint32_t index) : document_(document), index_(index) {}
        const JsonDocument* document_;
        uint32_t index_;
    };

    size_t size() const;
    Iterator begin() const { return {element_.document_, element_.index_ + 1}; }
    Iterator end() const;

private:
    friend class JsonElement;
    explicit JsonArray(JsonElement element) : element_(element) {}
    JsonElement element_;
};

class JsonObject {
public:
    class Iterator {
    public:
        std::string_view key() const { return JsonElement(document_, index_).string(); }
        JsonElement value() const { return JsonElement(document_, index_ + 1); }
        Iterator& operator++();
        bool operator==(const Iterator&) const = default;

    private:
        friend class JsonObject;
        Iterator(const JsonDocument* document, uint32_t index) : document_(document), index_(index) {}
        const JsonDocument* document_;
        uint32_t index_;  // the member's key
    };

    // The number of members, duplicates counted.
    size_t size() const;
    Iterator begin() const { return {element_.document_, element_.index_ + 1}; }
    Iterator end() const;
    // The first member of that key.
    bool find(std::string_view key, JsonElement& value) const;

private:
    friend class JsonElement;
    explicit JsonObject(JsonElement element) : element_(element) {}
    JsonElement element_;
};

class JsonDocument {
public:
    // The document's root, or false with `error` set to why the text is not
    // one JSON value (or is 4 GiB or more). Parsing again reuses the buffers and invalidates every
    // element of the previous text.
    [[nodiscard]] bool parse(std::string_view text, JsonElement& root, std::string& error);

    // Containers nested deeper than this are refused rather than read.
    static constexpr size_t maxDepth = 1024;

private:
    friend class JsonElement;
    friend class JsonArray;
    friend class JsonObject;
    friend class JsonDocumentBuilder;

    struct Node {
        JsonType type;
        uint32_t end;  // one past this value's last node
        uint32_t size;  // members or elements of a container; a string's length
        union {
            int64_t i;
            uint64_t u;
            double d;
            bool b;
            uint64_t offset;  // of a string in text_
        };
    };
    std::vector<Node> nodes_;
    std::string text_;
};

inline JsonType JsonElement::type() const { return document_ ? document_->nodes_[index_].type : JsonType::null; }
inline int64_t JsonElement::int64() const { return document_->nodes_[index_].i; }
inline uint64_t JsonElement::uint64() const { return document_->nodes_[index_].u; }
inline double JsonElement::real() const { return document_->nodes_[index_].d; }
inline bool JsonElement::boolean() const { return document_->nodes_[index_].b; }
inline std::string_view JsonElement::string() const {
    const auto& node = document_->nodes_[index_];
    return std::string_view(document_->text_).substr(node.offset, node.size);
}
inline JsonArray JsonElement::array() const { return JsonArray(*this); }
inline JsonObject JsonElement::object() const { return JsonObject(*this); }

inline JsonArray::Iterator& JsonArray::Iterator::operator++() {
    index_ = document_->nodes_[index_].end;
    return *this;
}
inline size_t JsonArray::size() const { return element_.document_->nodes_[element_.index_].size; }
inline JsonArray::Iterator JsonArray::end() const {
    return {element_.document_, element_.document_->nodes_[element_.index_].end};
}

inline JsonObject::Iterator& JsonObject::Iterator::operator++() {
    index_ = document_->nodes_[index_ + 1].end;
    return *this;
}
inline size_t JsonObject::size() const { return element_.document_->nodes_[element_.index_].size; }
inline JsonObject::Iterator JsonObject::end() const {
    return {element_.document_, element_.document_->nodes_[element_.index_].end};
}
inline bool JsonObject::find(std::string_view key, JsonElement& value) const {
    for (auto it = begin(), last = end(); it != last; ++it) {
        if (it.key() == key) {
            value = it.value();
            return true;
        }
    }
    return false;
}

}  // namespace orv::json
