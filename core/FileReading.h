#pragma once

#include "core/Result.h"

#include <cstddef>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>

// The one way this code reads a whole file: small kernel and sysfs files,
// configuration files and property lists. Descriptors are owned by
// FileDescriptor, so nothing here closes by hand.
namespace orv::FileReading {

inline constexpr std::size_t noLimit = std::numeric_limits<std::size_t>::max();

// The whole file at `path`, opened and closed here, or its first `limit`
// bytes for a reader that accepts no more. Opened non-blocking, so a FIFO
// where a file was expected reads as empty instead of hanging; a directory
// fails with EISDIR.
Result<std::string> readSmallFile(const std::filesystem::path& path, std::size_t limit = noLimit);

// The whole file at `relative` below the open directory `directory`
// (openat), so a reader confined to a root never builds absolute paths.
Result<std::string> readSmallFileAt(int directory, const char* relative, std::size_t limit = noLimit);

// Reads an open file from offset 0 into `buffer` (grown as needed, never
// shrunk, so steady reads do not allocate) and returns the bytes read. This
// is how descriptors kept open between samples are re-read: a kernel text
// file regenerates its contents on every read from offset 0.
Result<std::string_view> preadWhole(int fd, std::string& buffer);

}  // namespace orv::FileReading
