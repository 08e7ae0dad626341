#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "core/FileDescriptor.h"
#include "core/PropertyList.h"

namespace orv {

std::optional<PropertyValue> PropertyList::read(const std::filesystem::path& file) {
    // Plain reads: a directory, a vanished file or an unreadable one is
    // simply no property list, never an exception.
    FileDescriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) return std::nullopt;
    struct stat info{};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    constexpr off_t limit = 64 << 20;  // property lists we read are kilobytes; refuse anything absurd
    if (info.st_size > limit) return std::nullopt;
    std::vector<uint8_t> bytes(static_cast<size_t>(info.st_size));
    size_t filled = 0;
    while (filled < bytes.size()) {
        ssize_t n = ::read(fd.get(), bytes.data() + filled, bytes.size() - filled);
        if (n < 0) return std::nullopt;
        if (n == 0) break;
        filled += static_cast<size_t>(n);
    }
    bytes.resize(filled);
    return parse(bytes);
}

}  // namespace orv
