#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/ProcessFacts.h"
#include "cli/TopHistory.h"
#include "cli/TopState.h"
#include "core/Snapshot.h"
#include "core/StrainReason.h"

namespace orv::cli {

struct TopLayout {
    size_t width = 80;    // terminal columns
    size_t height = 24;   // terminal rows
    bool colour = false;  // SGR colours and reverse video; plain text without
};

// Largest first by the chosen figure; ties by memory, then by name, then by
// id, so that rows do not swap places between frames. Disk is read plus
// written; energy is the energy impact, absent figures last.
void sortApps(std::vector<AppAggregate>& apps, TopSort sort);
void sortProcesses(std::vector<ProcessSample>& processes, TopSort sort);

// One row of the process list: the process (pointing into the snapshot the
// rows were made from, which must outlive them) and, in the tree, its depth.
struct TopRow {
    const ProcessSample* process = nullptr;
    size_t depth = 0;
};

// The processes listed, in order: kernel threads left out unless asked for,
// the filter applied to the name and the app's id and name, sorted; in the
// tree, each process under its parent (a parent the filter leaves out or
// that is gone makes its children roots), siblings in the chosen order.
std::vector<TopRow> topRows(const Snapshot& snapshot, const ProcessFactsByPID& facts, const TopState& state);
std::vector<int32_t> topRowPIDs(const std::vector<TopRow>& rows);

// A bar `width` columns wide, `fraction` (0…1) of it filled with full
// blocks and an eighth block for the rest.
std::string meterBar(double fraction, size_t width);
// One block character (▁…█) per value, scaled to `top` (values above it
// are full; a top of 0 or less scales to the largest value).
std::string sparkline(const std::vector<double>& values, double top);

// What is drawn with the frame besides the snapshot.
struct TopContext {
    const TopHistory* history = nullptr;      // none: no sparklines
    const ProcessFactsByPID* facts = nullptr;  // none: no tree, no kernel threads known
    std::optional<StrainReason> strain = std::nullopt;
    // The selected process's arguments, for the detail panel: read only
    // while the panel shows, by the command.
    std::optional<std::vector<std::string>> arguments = std::nullopt;
};

// One screen: a title, a meter per core, memory, swap and load meters, the
// minute's sparklines, the pressure and thermal state, then the busiest apps
// and the listed processes with the selected one marked (or the help panel,
// or the selected process's detail). Exactly `height` lines, none wider than
// `width` columns (escapes for colour take none). A snapshot without a
// baseline says it is measuring; a strain reason has its own line; the
// bottom line is the filter being typed or the state's message.
std::vector<std::string> topFrame(const Snapshot& snapshot, const TopState& state, const TopLayout& layout,
                                  const TopContext& context = {});

// The number of display columns of `line`, escape sequences not counted.
size_t displayWidth(const std::string& line);
// `line` cut to `width` display columns; escape sequences are kept, and a
// line cut while coloured ends with a reset.
std::string fitColumns(const std::string& line, size_t width);

}  // namespace orv::cli
