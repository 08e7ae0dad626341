#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/JsonCoding.h"

namespace orv::json {

// Reads a JSON array of records as decode<std::vector<T>>() does, copying
// every element whose text is, byte for byte, the one the previous call
// read at about the same place, instead of decoding it again. An unchanged
// element costs one comparison of its bytes; only the changed ones are
// scanned for their end and parsed. Anything unexpected (malformed text, an
// element that does not decode, nesting deeper than records go) is left to
// the plain decoder, so errors and their coding paths are exactly its own.
// Not thread-safe: one decoder belongs to one thread.
template <class T>
class RecordArrayDecoder {
public:
    std::vector<T> decode(const std::string& text) {
        if (auto reused = decodeReusing(text)) return std::move(*reused);
        forget();
        return json::decode<std::vector<T>>(text);
    }

    size_t cachedCount() const { return items_.size(); }

private:
    static bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

    static size_t skipSpace(std::string_view text, size_t at) {
        while (at < text.size() && isSpace(text[at])) ++at;
        return at;
    }

    // Where the object starting at `at` ends (one past its closing brace),
    // following strings and their escapes; nullopt when the text ends first
    // or nests deeper than any record. Only a guess at the element's extent:
    // the decoder that reads it afterwards is what validates it.
    static std::optional<size_t> objectEnd(std::string_view text, size_t at) {
        constexpr size_t deepest = 256;
        size_t depth = 0;
        for (; at < text.size(); ++at) {
            const char c = text[at];
            if (c == '"') {
                for (++at; at < text.size() && text[at] != '"'; ++at) {
                    if (text[at] == '\\') ++at;
                }
                if (at >= text.size()) return std::nullopt;
            } else if (c == '{' || c == '[') {
                if (++depth > deepest) return std::nullopt;
            } else if (c == '}' || c == ']') {
                if (depth == 0) return std::nullopt;
                if (--depth == 0) return at + 1;
            }
        }
        return std::nullopt;
    }

    std::optional<std::vector<T>> decodeReusing(const std::string& text) {
        const std::string_view all(text);
        std::vector<T> items;      // for the caller
        std::vector<T> kept;       // for the next call
        std::vector<Span> spans;   // each element's place in `text`
        std::vector<bool> taken(items_.size());
        items.reserve(items_.size() + 16);
        kept.reserve(items_.size() + 16);
        spans.reserve(items_.size() + 16);
        size_t at = skipSpace(all, 0);
        if (at == all.size() || all[at] != '[') return std::nullopt;
        at = skipSpace(all, at + 1);
        if (at < all.size() && all[at] == ']') {
            if (skipSpace(all, at + 1) != all.size()) return std::nullopt;
        } else {
            // The last call's elements are looked for where they would be if
            // the table kept its order: at the cursor, or one or two past it
            // (rows gone), or one before it (a row inserted). A miss costs
            // only a decode of that one element.
            size_t cursor = 0;
            try {
                while (true) {
                    if (at == all.size() || all[at] != '{') return std::nullopt;
                    std::optional<size_t> match;
                    for (long step : {0L, 1L, 2L, -1L}) {
                        const long candidate = long(cursor) + step;
                        if (candidate < 0 || size_t(candidate) >= items_.size() || taken[size_t(candidate)]) continue;
                        // Bytes equal to a whole object read before are that
                        // object, whatever follows them.
                        const auto before = previous(size_t(candidate));
                        if (all.compare(at, before.size(), before) == 0) {
                            match = size_t(candidate);
                            break;
                        }
                    }
                    size_t end;
                    if (match) {
                        end = at + spans_[*match].size;
                        taken[*match] = true;
                        items.push_back(items_[*match]);
                        kept.push_back(std::move(items_[*match]));
                        cursor = *match + 1;
                    } else {
                        auto found = objectEnd(all, at);
                        if (!found) return std::nullopt;
                        end = *found;
                        kept.push_back(json::decode<T>(all.substr(at, end - at)));
                        items.push_back(kept.back());
                        ++cursor;
                    }
                    spans.push_back(Span{at, end - at});
                    at = skipSpace(all, end);
                    if (at < all.size() && all[at] == ',') {
                        at = skipSpace(all, at + 1);
                        continue;
                    }
                    if (at < all.size() && all[at] == ']' && skipSpace(all, at + 1) == all.size()) break;
                    return std::nullopt;
                }
            } catch (const DecodingError&) {
                return std::nullopt;
            }
        }
        // This reply's text and records are the next call's reference.
        text_.assign(all);
        spans_ = std::move(spans);
        items_ = std::move(kept);
        return items;
    }

    std::string_view previous(size_t i) const { return std::string_view(text_).substr(spans_[i].offset, spans_[i].size); }

    struct Span {
        size_t offset;
        size_t size;
    };

    void forget() {
        spans_.clear();
        items_.clear();
        text_.clear();
    }

    std::string text_;         // the previous text
    std::vector<Span> spans_;  // its elements
    std::vector<T> items_;     // and their records
};

}  // namespace orv::json
