#include "core/FileReading.h"

#include "core/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace orv::FileReading {

namespace {

Result<std::string> readAll(FileDescriptor fd) {
    std::string contents;
    char chunk[4096];
    for (;;) {
        const ssize_t got = ::read(fd.get(), chunk, sizeof chunk);
        if (got < 0) {
            if (errno == EINTR) continue;
            return lastError();
        }
        if (got == 0) return contents;
        contents.append(chunk, size_t(got));
    }
}

}  // namespace

Result<std::string> readSmallFile(const std::filesystem::path& path) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) return lastError();
    return readAll(std::move(fd));
}

Result<std::string> readSmallFileAt(int directory, const char* relative) {
    FileDescriptor fd(::openat(directory, relative, O_RDONLY | O_CLOEXEC));
    if (!fd) return lastError();
    return readAll(std::move(fd));
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
