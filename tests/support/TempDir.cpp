#include "support/TempDir.h"

#include <stdlib.h>

#include <fstream>
#include <stdexcept>

namespace orv::test {

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvantine-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempDir::write(std::string_view relative, std::string_view contents) const {
    auto file = path_ / relative;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(contents.data(), std::streamsize(contents.size()));
    return file;
}

std::filesystem::path TempDir::mkdir(std::string_view relative) const {
    auto dir = path_ / relative;
    std::filesystem::create_directories(dir);
    return dir;
}

std::filesystem::path TempDir::symlink(std::string_view relative, std::string_view target) const {
    auto link = path_ / relative;
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::create_symlink(target, link);
    return link;
}

std::filesystem::path fixture(std::string_view relative) {
    return std::filesystem::path(ORVANTINE_FIXTURES) / relative;
}

}  // namespace orv::test
