#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace orv::cli {

// The live view's screen as last drawn: each frame becomes the bytes that
// change only the lines that differ, for one write.
class TopScreen {
public:
    // The bytes that bring the screen from the last frame to `lines` (a
    // frame `width` columns wide): a cursor move and the line, its rest
    // cleared, for each changed line; the whole screen, cleared first, after
    // a resize or `invalidate`. Empty when nothing changed.
    std::string update(const std::vector<std::string>& lines, size_t width);

    // Something else wrote on the screen (a question on the bottom line, a
    // resize): the next update draws every line.
    void invalidate() { valid_ = false; }

    // Whether to colour: not when NO_COLOR is set to anything but the empty
    // string, not on a dumb or unnamed terminal, not when the output is not
    // a terminal.
    static bool usesColour(const char* noColor, const char* term, bool outputIsTerminal);

private:
    std::vector<std::string> shown_;
    size_t width_ = 0;
    bool valid_ = false;
};

}  // namespace orv::cli
