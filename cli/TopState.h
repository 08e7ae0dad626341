#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/TopKey.h"

namespace orv::cli {

// What `orvantine top` orders its lists by.
enum class TopSort { cpu, memory, disk, network, energy };

// The key that picks each order: c, m, d, n, e (either case).
std::optional<TopSort> sortForKey(char key);
const char* sortName(TopSort sort);

// What a key asks of the command beyond a new frame.
enum class TopAction { none, redraw, quit, stopProcess, stopApp };

// Everything the person at the terminal has chosen: the order, the row
// selected, what is shown. The frame is a function of this and the figures.
struct TopState {
    TopSort sort = TopSort::cpu;
    // The selected process, followed by pid so that it stays selected when
    // the order changes; none: the first row.
    std::optional<int32_t> selectedPID;
    std::string filter;          // name or app, case-insensitive; empty: all
    bool editingFilter = false;  // keys go into the filter until Enter or Escape
    bool showKernelThreads = false;
    bool tree = false;
    bool help = false;
    bool detail = false;
    std::string message;  // what the last stop achieved, on the bottom line

    // Applies one key. `rows` are the pids listed, in their order, and
    // `pageRows` how many of them a page shows (for Page Up and Page Down).
    TopAction press(const TopKey& key, const std::vector<int32_t>& rows, size_t pageRows);

    // Where the selection is in `rows`: the selected pid's index, or 0 when
    // it is not listed (any more).
    size_t selectedIndex(const std::vector<int32_t>& rows) const;
};

}  // namespace orv::cli
