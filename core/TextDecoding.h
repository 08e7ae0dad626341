#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

// The toolkit every reader of kernel and file text is built on: lines,
// white-space separated fields, key-value lines, trimming and exact number
// parsing. Nothing here does I/O, and only unescapeHex allocates, so a
// decoder built from it is a pure function of its bytes.
namespace orv::TextDecoding {

// White space as the kernel's text files use it.
constexpr bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The value of a hexadecimal digit of either case, or -1.
constexpr int hexDigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

constexpr std::string_view trimStart(std::string_view text) {
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    return text;
}
constexpr std::string_view trimEnd(std::string_view text) {
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    return text;
}
constexpr std::string_view trim(std::string_view text) { return trimEnd(trimStart(text)); }

// `text` without the characters at either end for which `drop` holds, for
// files padded with more than white space (sysfs attributes with a NUL).
template <class Predicate>
constexpr std::string_view trimIf(std::string_view text, Predicate drop) {
    while (!text.empty() && drop(text.front())) text.remove_prefix(1);
    while (!text.empty() && drop(text.back())) text.remove_suffix(1);
    return text;
}

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

// `text` with every "\xHH" replaced by the byte it names, as systemd's unit
// names and udev's device links write unsafe bytes; a malformed escape is
// kept as it stands.
inline std::string unescapeHex(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x' && hexDigitValue(text[i + 2]) >= 0 &&
            hexDigitValue(text[i + 3]) >= 0) {
            out.push_back(char(hexDigitValue(text[i + 2]) * 16 + hexDigitValue(text[i + 3])));
            i += 3;
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

namespace detail {

// from_chars for floating point as the libc++ of the macOS toolchains lacks
// it: strtod on a terminated copy, held to what from_chars accepts (no
// leading blanks or '+', no hexadecimal) so that both hosts read the same
// numbers. The process never calls setlocale, so the decimal point is '.'.
template <class T>
std::from_chars_result floatingFromChars(const char* first, const char* last, T& value) {
    if (first == last || isSpace(*first) || *first == '+') return {first, std::errc::invalid_argument};
    char copy[64];
    std::size_t length = std::min<std::size_t>(std::size_t(last - first), sizeof copy - 1);
    // strtod reads "0x1p3" as hexadecimal; from_chars stops at the 'x'.
    if (const void* x = std::memchr(first, 'x', length)) length = std::size_t(static_cast<const char*>(x) - first);
    if (const void* x = std::memchr(first, 'X', length)) length = std::size_t(static_cast<const char*>(x) - first);
    std::memcpy(copy, first, length);
    copy[length] = '\0';
    char* end = nullptr;
    const int savedErrno = errno;
    errno = 0;
    T parsed;
    if constexpr (std::is_same_v<T, float>) parsed = std::strtof(copy, &end);
    else if constexpr (std::is_same_v<T, double>) parsed = std::strtod(copy, &end);
    else parsed = std::strtold(copy, &end);
    const bool outOfRange = errno == ERANGE;
    errno = savedErrno;
    if (end == copy) return {first, std::errc::invalid_argument};
    const char* stop = first + (end - copy);
    if (outOfRange) return {stop, std::errc::result_out_of_range};
    value = parsed;
    return {stop, std::errc()};
}

template <class T>
std::from_chars_result numberFromChars(const char* first, const char* last, T& value, int base) {
    if constexpr (std::is_floating_point_v<T>) {
        (void)base;
        return floatingFromChars(first, last, value);
    } else {
        return std::from_chars(first, last, value, base);
    }
}

}  // namespace detail

// The whole of `field` as a number (integers in `base`, or a floating-point
// value), or absent when any character is left over, the field is empty,
// or the value does not fit T. A minus sign is refused for unsigned T.
template <class T>
std::optional<T> parseNumber(std::string_view field, int base = 10) {
    T value{};
    const char* last = field.data() + field.size();
    const auto parsed = detail::numberFromChars(field.data(), last, value, base);
    if (parsed.ec != std::errc() || parsed.ptr != last) return std::nullopt;
    return value;
}

// The number at the start of `text`, ignoring what follows it ("1024 kB").
template <class T>
std::optional<T> parseLeadingNumber(std::string_view text, int base = 10) {
    text = trimStart(text);
    T value{};
    const auto parsed = detail::numberFromChars(text.data(), text.data() + text.size(), value, base);
    if (parsed.ec != std::errc()) return std::nullopt;
    return value;
}

// Like parseLeadingNumber, and also what follows the number, so that a
// caller can check the unit ("1024 kB", "15 ns").
template <class T>
std::optional<std::pair<T, std::string_view>> parseNumberAndRest(std::string_view text, int base = 10) {
    text = trimStart(text);
    T value{};
    const char* last = text.data() + text.size();
    const auto parsed = detail::numberFromChars(text.data(), last, value, base);
    if (parsed.ec != std::errc()) return std::nullopt;
    return std::pair{value, std::string_view(parsed.ptr, std::size_t(last - parsed.ptr))};
}

}  // namespace orv::TextDecoding
