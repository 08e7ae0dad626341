#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "Sampling/MachTimebase.h"
#include "Sampling/ProcessTablePort.h"

namespace orv {

// The fields we take from macOS's `struct rusage_info_v6` (464 bytes), as
// proc_pid_rusage(pid, RUSAGE_INFO_V6, …) fills it. Checked against the real
// header by the Darwin port at compile time.
struct RusageInfoV6 {
    static constexpr size_t size = 464;
    static constexpr size_t userTime = 16;            // ri_user_time, Mach ticks
    static constexpr size_t systemTime = 24;          // ri_system_time, Mach ticks
    static constexpr size_t idleWakeups = 32;         // ri_pkg_idle_wkups
    static constexpr size_t interruptWakeups = 40;    // ri_interrupt_wkups
    static constexpr size_t physFootprint = 72;       // ri_phys_footprint, bytes
    static constexpr size_t diskBytesRead = 144;      // ri_diskio_bytesread
    static constexpr size_t diskBytesWritten = 152;   // ri_diskio_byteswritten
    // The billed energy, not the newer ri_energy_nj: billed energy charges a
    // process for work done on its behalf, which is what the monitor shows.
    static constexpr size_t billedEnergy = 264;       // ri_billed_energy, nJ

    // The usage figures of one record; nothing when it is shorter than 464
    // bytes or its CPU time does not fit 64 bits of nanoseconds.
    static std::optional<ProcessUsage> decode(std::span<const uint8_t> record, const MachTimebase& timebase);
};

}  // namespace orv
