// ICU's grapheme breaking and character properties, the same Unicode data
// CoreFoundation answers from on macOS. ASCII text, which is what these
// checks nearly always see, is answered here without ICU; libicuuc is
// opened with dlopen the first time other text comes, so that the command
// does not map it (half a megabyte resident, and its start-up relocations)
// on every run.
#include <dlfcn.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/uvernum.h>

#include <memory>
#include <vector>

#include "Sampling/UnicodeText.h"
#include "core/Utf8.h"

// ICU's entry points carry its major version ("ubrk_open_72"): the headers'
// renaming macros give the names the library exports.
#define ORV_ICU_NAME_TEXT(name) #name
#define ORV_ICU_NAME(name) ORV_ICU_NAME_TEXT(name)

namespace orv::UnicodeText {

namespace {

// The ICU calls the checks use, from the library of the headers' version.
struct ICUCalls {
    decltype(&::u_strFromUTF8) strFromUTF8 = nullptr;
    decltype(&::ubrk_open) breakOpen = nullptr;
    decltype(&::ubrk_next) breakNext = nullptr;
    decltype(&::ubrk_close) breakClose = nullptr;
    decltype(&::u_charType) charType = nullptr;
};

template <typename Function>
bool bind(void* library, Function& slot, const char* name) {
    slot = reinterpret_cast<Function>(dlsym(library, name));
    return slot != nullptr;
}

// Loaded once, never closed; null when libicuuc of this version is missing.
const ICUCalls* icu() {
    static const ICUCalls* const loaded = []() -> const ICUCalls* {
        void* library = dlopen("libicuuc.so." ORV_ICU_NAME(U_ICU_VERSION_MAJOR_NUM), RTLD_NOW | RTLD_LOCAL);
        if (!library) return nullptr;
        static ICUCalls calls;
        bool complete = bind(library, calls.strFromUTF8, ORV_ICU_NAME(u_strFromUTF8)) &&
                        bind(library, calls.breakOpen, ORV_ICU_NAME(ubrk_open)) &&
                        bind(library, calls.breakNext, ORV_ICU_NAME(ubrk_next)) &&
                        bind(library, calls.breakClose, ORV_ICU_NAME(ubrk_close)) &&
                        bind(library, calls.charType, ORV_ICU_NAME(u_charType));
        return complete ? &calls : nullptr;
    }();
    return loaded;
}

bool isASCII(std::string_view text) {
    for (unsigned char c : text) {
        if (c >= 0x80) return false;
    }
    return true;
}

bool isASCIIAlphanumeric(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// UTF-16 for ICU's break iterator; nothing for invalid UTF-8.
std::optional<std::vector<UChar>> utf16(const ICUCalls& calls, std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    calls.strFromUTF8(nullptr, 0, &length, text.data(), int32_t(text.size()), &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::nullopt;
    std::vector<UChar> out(size_t(length) + 1);
    status = U_ZERO_ERROR;
    calls.strFromUTF8(out.data(), int32_t(out.size()), &length, text.data(), int32_t(text.size()), &status);
    if (U_FAILURE(status)) return std::nullopt;
    out.resize(size_t(length));
    return out;
}

// The code points of valid UTF-8 `text`.
std::vector<UChar32> codePoints(std::string_view text) {
    std::vector<UChar32> out;
    for (size_t i = 0; i < text.size();) {
        auto lead = static_cast<unsigned char>(text[i]);
        size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        UChar32 c = length == 1 ? lead : lead & (0x7F >> length);
        for (size_t k = 1; k < length; ++k) c = (c << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        out.push_back(c);
        i += length;
    }
    return out;
}

}  // namespace

std::optional<size_t> characterCount(std::string_view text) {
    if (isASCII(text)) {
        // Every ASCII character is a cluster of its own, but for CR LF.
        size_t count = text.size();
        for (size_t i = 1; i < text.size(); ++i) count -= text[i - 1] == '\r' && text[i] == '\n';
        return count;
    }
    const ICUCalls* calls = icu();
    if (!calls) return std::nullopt;
    auto units = utf16(*calls, text);
    if (!units) return std::nullopt;
    if (units->empty()) return 0;
    UErrorCode status = U_ZERO_ERROR;
    UBreakIterator* it = calls->breakOpen(UBRK_CHARACTER, "", units->data(), int32_t(units->size()), &status);
    if (U_FAILURE(status) || !it) return std::nullopt;
    size_t count = 0;
    for (int32_t at = calls->breakNext(it); at != UBRK_DONE; at = calls->breakNext(it)) ++count;
    calls->breakClose(it);
    return count;
}

bool isLettersAndNumbers(std::string_view text) {
    if (isASCII(text)) {
        for (unsigned char c : text) {
            if (!isASCIIAlphanumeric(c)) return false;
        }
        return true;
    }
    if (!isValidUtf8(text)) return false;
    const ICUCalls* calls = icu();
    if (!calls) return false;
    // Letters (L*), marks (M*) and numbers (N*): what Foundation's
    // CharacterSet.alphanumerics holds, so accented and non-Latin letters pass.
    for (UChar32 c : codePoints(text)) {
        if ((U_MASK(calls->charType(c)) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) == 0) return false;
    }
    return true;
}

}  // namespace orv::UnicodeText
