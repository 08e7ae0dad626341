#pragma once

#include <string>
#include <string_view>

namespace orv::test {

// The name of a UTF-8 locale ("de_DE.UTF-8") that the C library can open in
// this test run: compiled with localedef from Debian's `locales` sources
// into a directory of its own (kept for later runs) that LOCPATH names
// beside the system's, so that tests need no locale generated system-wide.
// Fails the calling test when it cannot be compiled.
std::string compiledLocale(std::string_view language);  // "de_DE"

}  // namespace orv::test
