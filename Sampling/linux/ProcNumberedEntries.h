#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace orv {

// Appends the positive numbers among the names in the open `directory`
// (proc's pids, a task/ folder's tids) in the order listed, read with
// getdents64 into `buffer`, which must be aligned for dirent64. Other names
// (self, meminfo, …) are not tasks and are passed over.
void appendNumberedEntries(int directory, std::span<char> buffer, std::vector<int32_t>& out);

}  // namespace orv
