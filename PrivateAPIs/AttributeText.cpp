#include "PrivateAPIs/AttributeText.h"

#include "core/TextDecoding.h"

namespace orv::AttributeText {

using TextDecoding::isDigit;

std::string_view trimmed(std::string_view text) {
    // Some drivers pad an attribute with NULs as well as a newline.
    return TextDecoding::trimIf(text, [](char c) { return c == '\0' || TextDecoding::isSpace(c); });
}

std::optional<int64_t> integer(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('+')) text.remove_prefix(1);
    return TextDecoding::parseNumber<int64_t>(text);
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
