#include "support/TestLocales.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace orv::test {

std::string compiledLocale(std::string_view language) {
    namespace fs = std::filesystem;
    std::string name = std::string(language) + ".UTF-8";
    fs::path directory = fs::temp_directory_path() / ("orvantine-test-locales-" + std::to_string(getuid()));
    std::error_code error;
    fs::create_directories(directory, error);
    if (!fs::exists(directory / name / "LC_NUMERIC")) {
        // Compiled aside and renamed, so that a run that stops half-way or a
        // second test binary never sees half a locale.
        fs::path partial = directory / (".partial-" + name + "-" + std::to_string(getpid()));
        std::string command = "localedef -c -i " + std::string(language) + " -f UTF-8 " + partial.string() +
                              " >/dev/null 2>&1";
        int status = std::system(command.c_str());
        if (!fs::exists(partial / "LC_NUMERIC")) {
            ADD_FAILURE() << "localedef could not compile " << name << " (status " << status
                          << "); Debian's locales package holds its sources";
            fs::remove_all(partial, error);
            return name;
        }
        fs::rename(partial, directory / name, error);
        fs::remove_all(partial, error);
    }
    std::string path = directory.string() + ":/usr/lib/locale";
    const char* current = std::getenv("LOCPATH");
    if (!current || path != current) setenv("LOCPATH", path.c_str(), 1);
    return name;
}

}  // namespace orv::test
