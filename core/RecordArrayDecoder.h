#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/JsonCoding.h"

namespace orv::json {

// Reads a JSON array of records as decode<std::vector<T>>() does, copying
// every element whose text is, byte for byte, the one the previous call
// read at about the same place, instead of decoding it again. The elements are found by the parser's
// structural pass alone, which skips over their numbers; only the changed
// ones are parsed in full. Anything unexpected (malformed text, an element
// that does not decode) is left to the plain decoder, so errors and their
// coding paths are exactly its own. Not thread-safe: one decoder belongs to
// one thread.
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
    std::optional<std::vector<T>> decodeReusing(const std::string& text) {
        simdjson::padded_string copy;
        simdjson::padded_string_view padded(text.data(), text.size(), text.capacity());
        if (text.capacity() - text.size() < simdjson::SIMDJSON_PADDING) {
            copy = simdjson::padded_string(text);
            padded = copy;
        }
        const char* base = padded.data();
        std::vector<T> items;           // for the caller
        std::vector<T> kept;            // for the next call
        std::vector<Span> spans;        // each element's place in `text`
        std::vector<bool> taken(items_.size());
        items.reserve(items_.size() + 16);
        kept.reserve(items_.size() + 16);
        spans.reserve(items_.size() + 16);
        // The last call's elements are looked for where they would be if the
        // table kept its order: at the cursor, or one or two past it (rows
        // gone), or one before it (a row inserted). A miss costs only a
        // decode of that one element.
        size_t cursor = 0;
        try {
            simdjson::ondemand::document document;
            if (parser_.iterate(padded).get(document)) return std::nullopt;
            simdjson::ondemand::array array;
            if (document.get_array().get(array)) return std::nullopt;
            for (auto element : array) {
                simdjson::ondemand::object object;
                std::string_view raw;
                if (element.get_object().get(object) || object.raw_json().get(raw)) return std::nullopt;
                std::optional<size_t> match;
                for (long step : {0L, 1L, 2L, -1L}) {
                    const long at = long(cursor) + step;
                    if (at < 0 || size_t(at) >= items_.size() || taken[size_t(at)]) continue;
                    if (previous(size_t(at)) == raw) {
                        match = size_t(at);
                        break;
                    }
                }
                if (match) {
                    taken[*match] = true;
                    items.push_back(items_[*match]);
                    kept.push_back(std::move(items_[*match]));
                    cursor = *match + 1;
                } else {
                    kept.push_back(json::decode<T>(raw));
                    items.push_back(kept.back());
                    ++cursor;
                }
                spans.push_back(Span{size_t(raw.data() - base), raw.size()});
            }
        } catch (const DecodingError&) {
            return std::nullopt;
        } catch (const simdjson::simdjson_error&) {
            return std::nullopt;
        }
        // Every element is known good (decoded, or the very text of one that
        // was); what lies between them must be the array's own punctuation,
        // or the text is not the array the parser's skipping took it for.
        if (!onlyPunctuationBetween(std::string_view(text), spans)) return std::nullopt;
        // This reply's text and records are the next call's reference.
        text_.assign(base, padded.length());
        spans_ = std::move(spans);
        items_ = std::move(kept);
        return items;
    }

    std::string_view previous(size_t i) const { return std::string_view(text_).substr(spans_[i].offset, spans_[i].size); }

    struct Span {
        size_t offset;
        size_t size;
    };

    static bool onlyPunctuationBetween(std::string_view text, const std::vector<Span>& spans) {
        auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
        // `gap` must be whitespace around exactly one `mark`.
        auto isGap = [&](std::string_view gap, char mark) {
            size_t at = 0;
            while (at < gap.size() && isSpace(gap[at])) ++at;
            if (at == gap.size() || gap[at] != mark) return false;
            for (++at; at < gap.size(); ++at) {
                if (!isSpace(gap[at])) return false;
            }
            return true;
        };
        if (spans.empty()) {
            // "[", whitespace, "]", each with whitespace around.
            size_t open = text.find('[');
            return open != std::string_view::npos && isGap(text.substr(0, open + 1), '[') &&
                   isGap(text.substr(open + 1), ']');
        }
        if (!isGap(text.substr(0, spans.front().offset), '[')) return false;
        for (size_t i = 1; i < spans.size(); ++i) {
            const size_t end = spans[i - 1].offset + spans[i - 1].size;
            if (!isGap(text.substr(end, spans[i].offset - end), ',')) return false;
        }
        return isGap(text.substr(spans.back().offset + spans.back().size), ']');
    }

    void forget() {
        spans_.clear();
        items_.clear();
        text_.clear();
    }

    simdjson::ondemand::parser parser_;
    std::string text_;         // the previous text
    std::vector<Span> spans_;  // its elements
    std::vector<T> items_;     // and their records
};

}  // namespace orv::json
