#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "core/FileDescriptor.h"
#include "core/Result.h"

namespace orv {

// A kernel text file (proc/stat, proc/meminfo, …) kept open between
// samples and re-read from offset 0 with pread, which costs about half of
// an open/read/close. The descriptor is dropped when a read through it
// fails and opened again at the next read. The contents live in a buffer
// kept between reads, so steady-state reads do not allocate.
class KeptFile {
public:
    explicit KeptFile(std::filesystem::path path) : path_(std::move(path)) {}

    // The whole file, valid until the next read; or the error of the open
    // or the read, which errno also still holds for callers that read it.
    Result<std::string_view> read();

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
    FileDescriptor fd_;
    std::string buffer_;
};

}  // namespace orv
