#include "Sampling/linux/ProcNumberedEntries.h"

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <charconv>
#include <cstring>

namespace orv {

void appendNumberedEntries(int directory, std::span<char> buffer, std::vector<int32_t>& out) {
    for (;;) {
        long n = ::syscall(SYS_getdents64, directory, buffer.data(), buffer.size());
        if (n <= 0) break;
        for (long offset = 0; offset < n;) {
            auto* entry = reinterpret_cast<const dirent64*>(buffer.data() + offset);
            offset += entry->d_reclen;
            const char* name = entry->d_name;
            int32_t number = 0;
            auto [end, error] = std::from_chars(name, name + std::strlen(name), number);
            if (error == std::errc() && *end == '\0' && number > 0) out.push_back(number);
        }
    }
}

}  // namespace orv
