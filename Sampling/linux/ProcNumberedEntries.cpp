#include "Sampling/linux/ProcNumberedEntries.h"

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "core/TextDecoding.h"

namespace orv {

void appendNumberedEntries(int directory, std::span<char> buffer, std::vector<int32_t>& out) {
    for (;;) {
        long n = ::syscall(SYS_getdents64, directory, buffer.data(), buffer.size());
        if (n <= 0) break;
        for (long offset = 0; offset < n;) {
            auto* entry = reinterpret_cast<const dirent64*>(buffer.data() + offset);
            offset += entry->d_reclen;
            // Only the numbered entries are tasks ("self", "sys" … are not).
            auto number = TextDecoding::parseNumber<int32_t>(entry->d_name);
            if (number && *number > 0) out.push_back(*number);
        }
    }
}

}  // namespace orv
