#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace orv::test {

// A fresh directory removed with everything in it at the end of the scope;
// tests build fixture trees (a fake proc/ or sys/) inside it.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // Writes `contents` to `relative`, creating parent folders.
    std::filesystem::path write(std::string_view relative, std::string_view contents) const;
    std::filesystem::path mkdir(std::string_view relative) const;
    std::filesystem::path symlink(std::string_view relative, std::string_view target) const;

private:
    std::filesystem::path path_;
};

// The path of a file below tests/fixtures.
std::filesystem::path fixture(std::string_view relative);

}  // namespace orv::test
