#include "Sampling/VolumeNameOrder.h"

#include <locale.h>
#include <wchar.h>
#include <wctype.h>

#include <cstdlib>
#include <string>

namespace orv {

namespace {

// The C library's collation and case mapping of the user's locale
// (LC_ALL, LC_COLLATE, LANG), or C.UTF-8's (code point order, full Unicode
// case mapping) when that is not installed; made once, and read-only
// afterwards, so comparing from any thread is safe.
locale_t collation() {
    static const locale_t shared = [] {
        constexpr int mask = LC_COLLATE_MASK | LC_CTYPE_MASK;
        for (const char* variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
            const char* value = std::getenv(variable);
            if (!value || !*value) continue;
            if (locale_t made = newlocale(mask, value, locale_t(nullptr))) return made;
            break;
        }
        if (locale_t made = newlocale(mask, "C.UTF-8", locale_t(nullptr))) return made;
        return newlocale(mask, "C", locale_t(nullptr));
    }();
    return shared;
}

// The next code point of UTF-8 `text` from `at`; a byte that starts no
// valid sequence reads as U+FFFD.
wchar_t nextCodePoint(std::string_view text, size_t& at) {
    auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = byte(at);
    size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
    if (length == 0 || at + length > text.size()) {
        ++at;
        return 0xFFFD;
    }
    uint32_t point = length == 1 ? lead : lead & (0x7F >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(at + i) >> 6) != 0x2) {
            ++at;
            return 0xFFFD;
        }
        point = (point << 6) | (byte(at + i) & 0x3F);
    }
    at += length;
    return wchar_t(point);
}

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// One run of a name: ASCII digits, or anything else, case folded.
struct Run {
    std::wstring text;
    bool digits = false;
};

Run nextRun(std::string_view name, size_t& at, locale_t locale) {
    Run run;
    while (at < name.size()) {
        size_t before = at;
        wchar_t c = nextCodePoint(name, at);
        if (run.text.empty()) run.digits = isDigit(c);
        if (isDigit(c) != run.digits) {
            at = before;
            break;
        }
        run.text.push_back(run.digits ? c : (locale ? towlower_l(wint_t(c), locale) : c));
    }
    return run;
}

// Negative, zero or positive as digit run `a` is worth less, as much or
// more than `b` ("007" as much as "7").
int compareValues(const std::wstring& a, const std::wstring& b) {
    size_t za = a.find_first_not_of(L'0'), zb = b.find_first_not_of(L'0');
    std::wstring_view va = za == std::wstring::npos ? L"" : std::wstring_view(a).substr(za);
    std::wstring_view vb = zb == std::wstring::npos ? L"" : std::wstring_view(b).substr(zb);
    if (va.size() != vb.size()) return va.size() < vb.size() ? -1 : 1;
    return va.compare(vb);
}

}  // namespace

bool VolumeNameOrder::less(std::string_view a, std::string_view b) {
    locale_t locale = collation();
    size_t ia = 0, ib = 0;
    while (ia < a.size() && ib < b.size()) {
        Run ra = nextRun(a, ia, locale), rb = nextRun(b, ib, locale);
        int order = ra.digits && rb.digits ? compareValues(ra.text, rb.text)
                    : locale             ? wcscoll_l(ra.text.c_str(), rb.text.c_str(), locale)
                                         : ra.text.compare(rb.text);
        if (order != 0) return order < 0;
    }
    return ia >= a.size() && ib < b.size();
}

}  // namespace orv
