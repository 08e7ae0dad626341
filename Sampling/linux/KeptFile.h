#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

// A kernel text file (proc/stat, proc/meminfo, …) kept open between
// samples and re-read from offset 0 with pread, which costs about half of
// an open/read/close. The descriptor is dropped when a read through it
// fails and opened again at the next read. The contents live in a buffer
// kept between reads, so steady-state reads do not allocate.
class KeptFile {
public:
    explicit KeptFile(std::filesystem::path path) : path_(std::move(path)) {}
    KeptFile(const KeptFile&) = delete;
    KeptFile& operator=(const KeptFile&) = delete;
    ~KeptFile();

    // The whole file, valid until the next read; absent when it cannot be
    // opened or read, with errno set.
    std::optional<std::string_view> read();

    const std::filesystem::path& path() const { return path_; }

private:
    void close();

    std::filesystem::path path_;
    int fd_ = -1;
    std::string buffer_;
};

// The whole of a small file (sysfs attributes), opened and closed each time.
std::optional<std::string> readSmallFile(const std::filesystem::path& path);

}  // namespace orv
