#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::cli {

// One key press of the live view, decoded from the terminal's bytes.
struct TopKey {
    enum class Kind { character, up, down, pageUp, pageDown, home, end, enter, escape, backspace };
    Kind kind = Kind::character;
    char character = 0;  // for `character` only

    friend bool operator==(const TopKey&, const TopKey&) = default;

    static TopKey of(char c) { return {Kind::character, c}; }

    // Every key in `bytes`, as a terminal in its usual cursor mode sends
    // them: ESC [ A or ESC O A for the arrows, ESC [ 5 ~ and ESC [ 6 ~ for
    // the pages, CR or LF for Enter, DEL or BS for backspace. A sequence that
    // is not known is dropped whole; an ESC alone (or before another ESC) is
    // the Escape key.
    static std::vector<TopKey> decodeAll(std::string_view bytes);
};

}  // namespace orv::cli
