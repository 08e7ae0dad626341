#include "Sampling/linux/KeptFile.h"

#include <fcntl.h>

#include <cerrno>

#include "core/FileReading.h"

namespace orv {

Result<std::string_view> KeptFile::read() {
    if (!fd_) {
        fd_.reset(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
        if (!fd_) return lastError();
    }
    auto text = FileReading::preadWhole(fd_.get(), buffer_);
    if (!text) {
        const int saved = errno;
        fd_.reset();
        errno = saved;
    }
    return text;
}

}  // namespace orv
