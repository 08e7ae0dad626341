#include "core/FileReading.h"

#include "core/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace orv::FileReading {

namespace {

Result<std::string> readAll(FileDescriptor fd, size_t limit) {
    std::string contents;
    char chunk[4096];
    while (contents.size() < limit) {
        const ssize_t got = ::read(fd.get(), chunk, std::min(sizeof chunk, limit - contents.size()));
        if (got < 0) {
            if (errno == EINTR) continue;
            return lastError();
        }
        if (got == 0) return contents;
        contents.append(chunk, size_t(got));
    }
    return contents;
}

}  // namespace

Result<std::string> readSmallFile(const std::filesystem::path& path, size_t limit) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) return lastError();
    return readAll(std::move(fd), limit);
}

Result<std::string> readSmallFileAt(int directory, const char* relative, size_t limit) {
    FileDescriptor fd(::openat(directory, relative, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) return lastError();
    return readAll(std::move(fd), limit);
}

Result<std::string_view> preadWhole(int fd, std::string& buffer) {
    if (buffer.size() < 4096) buffer.resize(4096);
    size_t used = 0;
    for (;;) {
        if (used == buffer.size()) buffer.resize(buffer.size() * 2);
        const ssize_t got = ::pread(fd, buffer.data() + used, buffer.size() - used, off_t(used));
        if (got < 0) {
            if (errno == EINTR) continue;
            return lastError();
        }
        if (got == 0) return std::string_view(buffer.data(), used);
        used += size_t(got);
    }
}

}  // namespace orv::FileReading
