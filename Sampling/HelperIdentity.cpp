#include "Sampling/HelperIdentity.h"

#include "Sampling/UnicodeText.h"

namespace orv::HelperIdentity {

std::optional<std::string> requirement(std::string_view identifier, const std::optional<std::string>& teamID) {
    if (!teamID) return std::nullopt;
    // Characters as a reader sees them, not bytes: "É" is one character
    // whether it is stored composed or as E and a combining accent.
    if (UnicodeText::characterCount(*teamID) != 10) return std::nullopt;
    if (!UnicodeText::isLettersAndNumbers(*teamID)) return std::nullopt;

    std::string out;
    out.reserve(80);
    out += "identifier \"";
    out += identifier;
    out += "\" and anchor apple generic and certificate leaf[subject.OU] = \"";
    out += *teamID;
    out += '"';
    return out;
}

}  // namespace orv::HelperIdentity
