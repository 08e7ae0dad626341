// ICU's grapheme breaking and character properties, the same Unicode data
// CoreFoundation answers from on macOS.
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <memory>
#include <vector>

#include "Sampling/UnicodeText.h"

namespace orv::UnicodeText {

namespace {

// UTF-16 for ICU's break iterator; nothing for invalid UTF-8.
std::optional<std::vector<UChar>> utf16(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF8(nullptr, 0, &length, text.data(), int32_t(text.size()), &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::nullopt;
    std::vector<UChar> out(size_t(length) + 1);
    status = U_ZERO_ERROR;
    u_strFromUTF8(out.data(), int32_t(out.size()), &length, text.data(), int32_t(text.size()), &status);
    if (U_FAILURE(status)) return std::nullopt;
    out.resize(size_t(length));
    return out;
}

struct BreakIteratorClose {
    void operator()(UBreakIterator* it) const { ubrk_close(it); }
};

// Letters (L*), marks (M*) and numbers (N*): what Foundation's
// CharacterSet.alphanumerics holds, so accented and non-Latin letters pass.
bool isAlphanumeric(UChar32 c) {
    return (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

}  // namespace

std::optional<size_t> characterCount(std::string_view text) {
    auto units = utf16(text);
    if (!units) return std::nullopt;
    if (units->empty()) return 0;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UBreakIterator, BreakIteratorClose> it(
        ubrk_open(UBRK_CHARACTER, "", units->data(), int32_t(units->size()), &status));
    if (U_FAILURE(status)) return std::nullopt;
    size_t count = 0;
    for (int32_t at = ubrk_next(it.get()); at != UBRK_DONE; at = ubrk_next(it.get())) ++count;
    return count;
}

bool isLettersAndNumbers(std::string_view text) {
    int32_t i = 0;
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    const auto length = int32_t(text.size());
    while (i < length) {
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c < 0 || !isAlphanumeric(c)) return false;
    }
    return true;
}

}  // namespace orv::UnicodeText
