#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

// The toolkit every reader of kernel and file text is built on: lines,
// white-space separated fields, key-value lines, trimming and exact number
// parsing. Nothing here allocates or does I/O, so a decoder built from it is
// a pure function of its bytes.
namespace orv::TextDecoding {

// White space as the kernel's text files use it.
constexpr bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

constexpr std::string_view trimStart(std::string_view text) {
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    return text;
}
constexpr std::string_view trimEnd(std::string_view text) {
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}
constexpr std::string_view trim(std::string_view text) { return trimEnd(trimStart(text)); }

// Takes the text up to `separator` out of `rest` and returns it; the
// separator is dropped. With no separator left, returns the whole rest.
constexpr std::string_view takeUntil(std::string_view& rest, char separator) {
    const auto at = rest.find(separator);
    const std::string_view head = rest.substr(0, at);
    rest = at == std::string_view::npos ? std::string_view{} : rest.substr(at + 1);
    return head;
}

// The lines of a text without their '\n'. A final line without '\n' is a
// line; the empty string after a final '\n' is not.
class Lines {
public:
    class iterator {
    public:
        using value_type = std::string_view;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;

        iterator() = default;
        explicit constexpr iterator(std::string_view text) : rest_(text), atEnd_(false) { ++*this; }
        constexpr std::string_view operator*() const { return line_; }
        constexpr iterator& operator++() {
            if (rest_.empty()) {
                atEnd_ = true;
            } else {
                line_ = takeUntil(rest_, '\n');
            }
            return *this;
        }
        constexpr void operator++(int) { ++*this; }
        constexpr bool operator==(const iterator& other) const {
            return atEnd_ == other.atEnd_ && (atEnd_ || line_.data() == other.line_.data());
        }

    private:
        std::string_view rest_;
        std::string_view line_;
        bool atEnd_ = true;
    };

    explicit constexpr Lines(std::string_view text) : text_(text) {}
    iterator begin() const { return iterator(text_); }
    iterator end() const { return iterator(); }

private:
    std::string_view text_;
};

// Splits `text` on white space into at most N fields and returns how many
// it found; fields past the N-th are not looked at.
template <std::size_t N>
constexpr std::size_t splitFields(std::string_view text, std::array<std::string_view, N>& fields) {
    std::size_t count = 0;
    std::size_t i = 0;
    while (count < N) {
        while (i < text.size() && isSpace(text[i])) ++i;
        if (i >= text.size()) break;
        const std::size_t start = i;
        while (i < text.size() && !isSpace(text[i])) ++i;
        fields[count++] = text.substr(start, i - start);
    }
    return count;
}

// "key: value" (or another separator): the key as it stands and the value
// with white space trimmed; absent when the line has no separator.
constexpr std::optional<std::pair<std::string_view, std::string_view>> splitKeyValue(std::string_view line,
                                                                                       char separator = ':') {
    const auto at = line.find(separator);
    if (at == std::string_view::npos) return std::nullopt;
    return std::pair{line.substr(0, at), trim(line.substr(at + 1))};
}

// The whole of `field` as a number (integers in `base`, or a double), or
// absent when any character is left over, the field is empty, or the value
// does not fit T.
template <class T>
std::optional<T> parseNumber(std::string_view field, int base = 10) {
    T value{};
    std::from_chars_result parsed;
    if constexpr (std::is_floating_point_v<T>) {
        parsed = std::from_chars(field.data(), field.data() + field.size(), value);
    } else {
        parsed = std::from_chars(field.data(), field.data() + field.size(), value, base);
    }
    if (parsed.ec != std::errc() || parsed.ptr != field.data() + field.size()) return std::nullopt;
    return value;
}

// The number at the start of `text`, ignoring what follows it ("1024 kB").
template <class T>
std::optional<T> parseLeadingNumber(std::string_view text, int base = 10) {
    text = trimStart(text);
    T value{};
    std::from_chars_result parsed;
    if constexpr (std::is_floating_point_v<T>) {
        parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    } else {
        parsed = std::from_chars(text.data(), text.data() + text.size(), value, base);
    }
    if (parsed.ec != std::errc()) return std::nullopt;
    return value;
}

}  // namespace orv::TextDecoding
