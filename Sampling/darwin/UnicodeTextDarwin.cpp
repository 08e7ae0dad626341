// CoreFoundation's composed-character ranges and its alphanumeric set, the
// character data the signing system itself uses.
#include <CoreFoundation/CoreFoundation.h>

#include "Sampling/UnicodeText.h"
#include "core/darwin/CFRef.h"

namespace orv::UnicodeText {

namespace {

CFRef<CFStringRef> makeString(std::string_view text) {
    // Returns null for bytes that are not valid UTF-8.
    return CFRef<CFStringRef>(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                                      CFIndex(text.size()), kCFStringEncodingUTF8, false));
}

}  // namespace

std::optional<size_t> characterCount(std::string_view text) {
    auto string = makeString(text);
    if (!string) return std::nullopt;
    const CFIndex length = CFStringGetLength(string.get());
    size_t count = 0;
    for (CFIndex at = 0; at < length;) {
        CFRange range = CFStringGetRangeOfComposedCharactersAtIndex(string.get(), at);
        at = range.location + (range.length > 0 ? range.length : 1);
        ++count;
    }
    return count;
}

bool isLettersAndNumbers(std::string_view text) {
    auto string = makeString(text);
    if (!string) return false;
    CFRef<CFCharacterSetRef> others(
        CFCharacterSetCreateInvertedSet(kCFAllocatorDefault, CFCharacterSetGetPredefined(kCFCharacterSetAlphaNumeric)));
    if (!others) return false;
    CFRange found;
    const CFRange all{0, CFStringGetLength(string.get())};
    return !CFStringFindCharacterFromSet(string.get(), others.get(), all, 0, &found);
}

}  // namespace orv::UnicodeText
