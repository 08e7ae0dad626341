#include "cli/TopScreen.h"

#include <fmt/format.h>

#include <string_view>

namespace orv::cli {

std::string TopScreen::update(const std::vector<std::string>& lines, size_t width) {
    std::string bytes;
    bool whole = !valid_ || width != width_ || lines.size() != shown_.size();
    if (whole) bytes = "\x1b[2J";
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!whole && lines[i] == shown_[i]) continue;
        bytes += fmt::format("\x1b[{};1H", i + 1);
        bytes += lines[i];
        bytes += "\x1b[K";
    }
    shown_ = lines;
    width_ = width;
    valid_ = true;
    return bytes;
}

bool TopScreen::usesColour(const char* noColor, const char* term, bool outputIsTerminal) {
    if (!outputIsTerminal) return false;
    if (noColor && *noColor) return false;
    if (!term || !*term) return false;
    return std::string_view(term) != "dumb";
}

}  // namespace orv::cli
