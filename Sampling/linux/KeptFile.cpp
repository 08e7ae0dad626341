#include "Sampling/linux/KeptFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace orv {

KeptFile::~KeptFile() { close(); }

void KeptFile::close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

std::optional<std::string_view> KeptFile::read() {
    if (fd_ < 0) {
        fd_ = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd_ < 0) return std::nullopt;
    }
    if (buffer_.size() < 4096) buffer_.resize(4096);
    size_t used = 0;
    for (;;) {
        if (used == buffer_.size()) buffer_.resize(buffer_.size() * 2);
        ssize_t got = ::pread(fd_, buffer_.data() + used, buffer_.size() - used, off_t(used));
        if (got < 0) {
            if (errno == EINTR) continue;
            int saved = errno;
            close();
            errno = saved;
            return std::nullopt;
        }
        if (got == 0) break;
        used += size_t(got);
    }
    return std::string_view(buffer_.data(), used);
}

std::optional<std::string> readSmallFile(const std::filesystem::path& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::string contents;
    char chunk[4096];
    for (;;) {
        ssize_t got = ::read(fd, chunk, sizeof chunk);
        if (got < 0) {
            if (errno == EINTR) continue;
            int saved = errno;
            ::close(fd);
            errno = saved;
            return std::nullopt;
        }
        if (got == 0) break;
        contents.append(chunk, size_t(got));
    }
    ::close(fd);
    return contents;
}

}  // namespace orv
