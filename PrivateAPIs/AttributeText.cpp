#include "PrivateAPIs/AttributeText.h"

#include <charconv>

namespace orv::AttributeText {

namespace {
bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\0'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
}  // namespace

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

std::optional<int64_t> integer(std::string_view text) {
    text = trimmed(text);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    if (text.empty()) return std::nullopt;
    int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<int64_t> integerAt(const Attributes& attributes, std::string_view key) {
    auto it = attributes.find(key);
    return it == attributes.end() ? std::nullopt : integer(it->second);
}

const std::string* textAt(const Attributes& attributes, std::string_view key) {
    auto it = attributes.find(key);
    return it == attributes.end() ? nullptr : &it->second;
}

bool naturalLess(std::string_view a, std::string_view b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            size_t ie = i, je = j;
            while (ie < a.size() && isDigit(a[ie])) ++ie;
            while (je < b.size() && isDigit(b[je])) ++je;
            auto da = a.substr(i, ie - i), db = b.substr(j, je - j);
            while (da.size() > 1 && da.front() == '0') da.remove_prefix(1);
            while (db.size() > 1 && db.front() == '0') db.remove_prefix(1);
            if (da.size() != db.size()) return da.size() < db.size();
            if (da != db) return da < db;
            i = ie;
            j = je;
        } else {
            if (a[i] != b[j]) return a[i] < b[j];
            ++i;
            ++j;
        }
    }
    return a.size() - i < b.size() - j;
}

}  // namespace orv::AttributeText
