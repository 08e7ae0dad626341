#pragma once

#include <optional>
#include <string_view>

namespace orv {

// The two Unicode facts the helper's team identifier is checked against,
// answered from the platform's own character data (ICU on Linux,
// CoreFoundation on macOS) so that both sides agree with the signing
// system's notion of a character.
namespace UnicodeText {

// The number of user-perceived characters (extended grapheme clusters) in
// UTF-8 `text`; nothing when the bytes are not valid UTF-8.
std::optional<size_t> characterCount(std::string_view text);

// True when every user-perceived character of UTF-8 `text` is made only of
// code points that are letters, marks or numbers, as CharacterSet's
// alphanumerics define them; false for invalid UTF-8. An empty text passes.
bool isLettersAndNumbers(std::string_view text);

}  // namespace UnicodeText

}  // namespace orv
