#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "core/CPUTicks.h"

namespace orv {

// One `cpuN` line of Linux's proc/stat, folded into the four counters the
// CPU figures use.
struct ProcStatCore {
    int64_t number = 0;  // the N of cpuN
    CPUTicks ticks;

    // The `cpuN` lines in file order (the kernel lists only online cores).
    // Columns, per proc(5): user nice system idle iowait irq softirq steal
    // guest guest_nice. user → user, nice → nice, system + irq + softirq →
    // system, idle + iowait + steal → idle: steal is time the hypervisor gave
    // to another guest, not busy for this machine but part of the interval,
    // as top and mpstat count it. guest is already inside user and is left
    // out. Kernels before
    // 2.6 print only the first four. Absent when a cpuN line has fewer than
    // four numbers or no cpuN line exists.
    static std::optional<std::vector<ProcStatCore>> decodeAll(std::string_view text);

    friend bool operator==(const ProcStatCore&, const ProcStatCore&) = default;
};

}  // namespace orv
