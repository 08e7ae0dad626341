#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"
#include "core/StrainReason.h"

namespace orv::cli {

// What `orvantine top` orders its lists by.
enum class TopSort { cpu, memory, disk, network, energy };

struct TopLayout {
    size_t width = 80;   // terminal columns
    size_t height = 24;  // terminal rows
    TopSort sort = TopSort::cpu;
};

// The key that picks each order: c, m, d, n, e (either case).
std::optional<TopSort> sortForKey(char key);
const char* sortName(TopSort sort);

// Largest first by the chosen figure; ties by CPU share, then by id, so
// that rows do not swap places between frames. Disk is read plus written;
// energy is the energy impact, absent figures last.
void sortApps(std::vector<AppAggregate>& apps, TopSort sort);
void sortProcesses(std::vector<ProcessSample>& processes, TopSort sort);

// One screen: a header, the system figures, the busiest apps and the
// busiest processes. Exactly `height` lines (the lists fill what the
// header leaves; an empty line pads a short list), none wider than
// `width` columns. A snapshot without a baseline says it is measuring; a
// strain reason is told after the thermal state.
std::vector<std::string> topFrame(const Snapshot& snapshot, const TopLayout& layout,
                                  std::optional<StrainReason> strain = std::nullopt);

}  // namespace orv::cli
