#include "cli/TopFrame.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "cli/Format.h"
#include "core/StrainDetector.h"

namespace orv::cli {

namespace {

double diskRate(double read, double write) { return read + write; }

// Received plus sent; a process without accounting sorts below any
// measured figure, a silent one included.
double networkKey(const std::optional<double>& in, const std::optional<double>& out) {
    if (!in && !out) return -1;
    return in.value_or(0) + out.value_or(0);
}

// The energy impact, which every platform estimates; a process without one
// (unreadable, or not measured yet) sorts below any measured figure.
double energyKey(const std::optional<double>& impact) { return impact ? *impact : -1; }

template <class T, class Figure, class Memory, class Tie>
void sortBy(std::vector<T>& items, Figure figure, Memory memory, Tie tie) {
    std::stable_sort(items.begin(), items.end(), [&](const T& a, const T& b) {
        double fa = figure(a), fb = figure(b);
        if (fa != fb) return fa > fb;
        if (memory(a) != memory(b)) return memory(a) > memory(b);
        return tie(a, b);
    });
}

double processFigure(const ProcessSample& p, TopSort sort) {
    switch (sort) {
        case TopSort::cpu: return p.cpuPercent;
        case TopSort::memory: return double(p.footprintBytes);
        case TopSort::disk: return diskRate(p.diskReadBPS, p.diskWriteBPS);
        case TopSort::network: return networkKey(p.netInBPS, p.netOutBPS);
        case TopSort::energy: return energyKey(p.energyImpact);
    }
    return 0;
}

double appFigure(const AppAggregate& a, TopSort sort) {
    switch (sort) {
        case TopSort::cpu: return a.cpuPercent;
        case TopSort::memory: return double(a.memoryBytes);
        case TopSort::disk: return diskRate(a.diskReadBPS, a.diskWriteBPS);
        case TopSort::network: return networkKey(a.netInBPS, a.netOutBPS);
        case TopSort::energy: return energyKey(a.energyImpact);
    }
    return 0;
}

bool processBefore(const ProcessSample& a, const ProcessSample& b, TopSort sort) {
    double fa = processFigure(a, sort), fb = processFigure(b, sort);
    if (fa != fb) return fa > fb;
    if (a.footprintBytes != b.footprintBytes) return a.footprintBytes > b.footprintBytes;
    if (a.name != b.name) return a.name < b.name;
    return a.pid < b.pid;
}

std::string lowered(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    }
    return out;
}

// SGR texts; empty without colour, so that a plain frame has no escapes.
struct Paint {
    bool on = false;
    std::string operator()(const std::string& text, const char* sgr) const {
        if (!on || text.empty()) return text;
        return fmt::format("\x1b[{}m{}\x1b[0m", sgr, text);
    }
};

// Green while there is room, yellow when it is getting full, red when
// it is nearly or wholly used.
const char* levelColour(double fraction) {
    if (fraction >= 0.8) return "31";
    if (fraction >= 0.5) return "33";
    return "32";
}

const char* pressureColour(MemoryPressure pressure) {
    switch (pressure) {
        case MemoryPressure::normal: return "32";
        case MemoryPressure::warning: return "33";
        case MemoryPressure::critical: return "1;31";
    }
    return "0";
}

const char* thermalColour(ThermalPressure thermal) {
    switch (thermal) {
        case ThermalPressure::nominal: return "32";
        case ThermalPressure::fair: return "33";
        case ThermalPressure::serious: return "31";
        case ThermalPressure::critical: return "1;31";
    }
    return "0";
}

std::string sortMark(TopSort shown, TopSort sort, const char* title) {
    return shown == sort ? fmt::format("[{}]", title) : std::string(title);
}

// The list's columns beyond CPU%, MEM and PID, in the order they are given
// up when the terminal narrows; the chosen order's own column goes last.
enum class Column { disk, netIn, netOut, energy };
constexpr size_t columnWidth = 12;  // a right-aligned 11 and its space
constexpr size_t energyWidth = 8;

std::vector<Column> columnsFor(size_t width, TopSort sort) {
    std::vector<Column> wanted{Column::disk, Column::netIn, Column::netOut, Column::energy};
    auto first = [&](Column c) {
        std::erase(wanted, c);
        wanted.insert(wanted.begin(), c);
    };
    if (sort == TopSort::energy) first(Column::energy);
    if (sort == TopSort::network) {
        first(Column::netOut);
        first(Column::netIn);
    }
    if (sort == TopSort::disk) first(Column::disk);
    // Marker, CPU%, MEM, PID and a name of at least 12 columns are kept.
    size_t used = 2 + 6 + 10 + 8 + 2 + 12;
    std::vector<Column> shown;
    for (Column c : wanted) {
        size_t w = c == Column::energy ? energyWidth : columnWidth;
        if (used + w > width) break;
        used += w;
        shown.push_back(c);
    }
    std::sort(shown.begin(), shown.end());
    return shown;
}

std::string columnHeadings(const std::vector<Column>& columns, TopSort sort) {
    std::string out = fmt::format("  {:>6} {:>9}", sortMark(sort, TopSort::cpu, "CPU%"),
                                  sortMark(sort, TopSort::memory, "MEM"));
    for (Column c : columns) {
        switch (c) {
            case Column::disk: out += fmt::format(" {:>11}", sortMark(sort, TopSort::disk, "DISK/s")); break;
            case Column::netIn: out += fmt::format(" {:>11}", sortMark(sort, TopSort::network, "NET IN/s")); break;
            case Column::netOut: out += fmt::format(" {:>11}", "NET OUT/s"); break;
            case Column::energy: out += fmt::format(" {:>7}", sortMark(sort, TopSort::energy, "ENERGY")); break;
        }
    }
    return out;
}

template <class Row>
std::string columnFigures(const std::vector<Column>& columns, const Row& row, double cpu, uint64_t memory) {
    std::string out = fmt::format("{:>6} {:>9}", formatPercent(cpu), formatBytes(memory));
    for (Column c : columns) {
        switch (c) {
            case Column::disk: out += fmt::format(" {:>11}", formatRate(diskRate(row.diskReadBPS, row.diskWriteBPS))); break;
            case Column::netIn: out += fmt::format(" {:>11}", formatRate(row.netInBPS)); break;
            case Column::netOut: out += fmt::format(" {:>11}", formatRate(row.netOutBPS)); break;
            case Column::energy: out += fmt::format(" {:>7}", formatFigure(row.energyImpact)); break;
        }
    }
    return out;
}

std::vector<double> series(const TopHistory& history, double TopHistory::Point::*field, size_t count) {
    const auto& points = history.points();
    size_t start = points.size() > count ? points.size() - count : 0;
    std::vector<double> values;
    values.reserve(points.size() - start);
    for (size_t i = start; i < points.size(); ++i) values.push_back(points[i].*field);
    return values;
}

// One core's meter: "  3 [██████▌   ]  65%".
std::string coreMeter(size_t index, size_t labelWidth, double percent, size_t barWidth, const Paint& paint) {
    double fraction = std::clamp(percent / 100, 0.0, 1.0);
    return fmt::format("{:>{}} [{}]{:>4}%", index, labelWidth, paint(meterBar(fraction, barWidth), levelColour(fraction)),
                       long(std::lround(percent)));
}

// Memory as one bar: used (full blocks), compressed (dark shade) and cached
// files (light shade) of the total, cached drawn only in what used leaves.
std::string memoryBar(const MemoryStats& m, size_t width, const Paint& paint) {
    if (m.totalBytes == 0 || width == 0) return std::string(width, ' ');
    auto cells = [&](uint64_t bytes) {
        return size_t(std::lround(std::clamp(double(bytes) / double(m.totalBytes), 0.0, 1.0) * double(width)));
    };
    size_t compressed = std::min(cells(m.compressedBytes), width);
    size_t used = std::clamp(cells(m.usedBytes), compressed, width);
    size_t cached = std::min(cells(m.cachedFilesBytes), width - used);
    std::string bar;
    for (size_t i = 0; i < used - compressed; ++i) bar += "█";
    std::string squeezed;
    for (size_t i = 0; i < compressed; ++i) squeezed += "▓";
    std::string files;
    for (size_t i = 0; i < cached; ++i) files += "░";
    double fraction = double(m.usedBytes) / double(m.totalBytes);
    return paint(bar, levelColour(fraction)) + paint(squeezed, "35") + paint(files, "34") +
           std::string(width - used - cached, ' ');
}

void addHeader(std::vector<std::string>& lines, const Snapshot& snapshot, const TopState& state,
               const TopLayout& layout, const TopContext& context, const Paint& paint) {
    const SystemSample& s = snapshot.system;
    bool measuring = snapshot.interval == Duration::zero();
    lines.push_back(fmt::format("orvantine top  {}  up {}  {}  sort {}{}{}  (? keys, q quits)",
                                formatLocalClock(snapshot.at), formatUptime(s.uptime),
                                measuring ? std::string("measuring…")
                                          : fmt::format("every {:.1f} s", snapshot.interval.toSeconds()),
                                sortName(state.sort), state.tree ? "  tree" : "",
                                state.showKernelThreads ? "  kernel threads" : ""));

    // A meter per core, as many to a line as fit; when they would take more
    // than a quarter of the screen, one block per core instead.
    const auto& cores = s.cpu.perCorePercent;
    size_t labelWidth = std::to_string(cores.empty() ? 0 : cores.size() - 1).size();
    size_t barWidth = 10;
    size_t cell = labelWidth + 3 + barWidth + 5 + 2;
    size_t perLine = std::max<size_t>(1, layout.width / cell);
    size_t coreLines = (cores.size() + perLine - 1) / perLine;
    if (coreLines > std::max<size_t>(1, layout.height / 4)) {
        std::string blocks;
        for (double percent : cores) {
            double fraction = std::clamp(percent / 100, 0.0, 1.0);
            blocks += paint(sparkline({percent}, 100), levelColour(fraction));
        }
        lines.push_back(fmt::format("Cores {}", blocks));
    } else {
        for (size_t line = 0; line < coreLines; ++line) {
            std::string text;
            for (size_t i = line * perLine; i < std::min(cores.size(), (line + 1) * perLine); ++i) {
                if (!text.empty()) text += "  ";
                text += coreMeter(i, labelWidth, cores[i], barWidth, paint);
            }
            lines.push_back(text);
        }
    }

    const MemoryStats& m = s.memory;
    lines.push_back(fmt::format("Mem  [{}] used {}  cached {}  compressed {}  of {}", memoryBar(m, 20, paint),
                                formatBytes(m.usedBytes), formatBytes(m.cachedFilesBytes),
                                formatBytes(m.compressedBytes), formatBytes(m.totalBytes)));
    double coresCount = double(std::max<size_t>(cores.size(), 1));
    double loadFraction = std::clamp(s.cpu.loadAverage.one / coresCount, 0.0, 1.0);
    std::string swapText = fmt::format("Swap [{}] {}", meterBar(0, 10), formatBytes(m.swapUsedBytes));
    if (m.totalBytes > 0 && m.swapUsedBytes > 0) {
        double swapFraction = std::clamp(double(m.swapUsedBytes) / double(m.totalBytes), 0.0, 1.0);
        swapText = fmt::format("Swap [{}] {}", paint(meterBar(swapFraction, 10), levelColour(swapFraction)),
                               formatBytes(m.swapUsedBytes));
    }
    lines.push_back(fmt::format("{}   Load [{}] {}", swapText, paint(meterBar(loadFraction, 10), levelColour(loadFraction)),
                                paint(fmt::format("{:.2f} {:.2f} {:.2f}", s.cpu.loadAverage.one, s.cpu.loadAverage.five,
                                                  s.cpu.loadAverage.fifteen),
                                      levelColour(loadFraction))));

    if (context.history) {
        // Two sparklines to a line, each as wide as half the screen allows,
        // up to the minute the history holds.
        size_t half = layout.width / 2;
        size_t sparkWidth = std::min(context.history->capacity(), half > 22 ? half - 22 : 1);
        const TopHistory& h = *context.history;
        auto pair = [&](const char* leftLabel, std::vector<double> left, double leftTop, std::string leftValue,
                        const char* rightLabel, std::vector<double> right, double rightTop, std::string rightValue) {
            std::string l = fmt::format("{:<6}{:<{}} {:>10}", leftLabel, sparkline(left, leftTop), sparkWidth, leftValue);
            // Padding counts bytes: pad by display columns instead.
            size_t shown = displayWidth(l);
            if (shown < half) l += std::string(half - shown, ' ');
            return l + fmt::format("{:<6}{} {:>10}", rightLabel, sparkline(right, rightTop), rightValue);
        };
        std::vector<double> cpu = series(h, &TopHistory::Point::cpuPercent, sparkWidth);
        std::vector<double> mem = series(h, &TopHistory::Point::memoryFraction, sparkWidth);
        lines.push_back(pair("CPU", cpu, 100, formatPercentSign(s.cpu.totalPercent), "Mem", mem, 1,
                             formatBytes(m.usedBytes)));
        lines.push_back(pair("Read", series(h, &TopHistory::Point::diskReadBPS, sparkWidth), 0,
                             formatRate(s.disk.readBPS), "Write", series(h, &TopHistory::Point::diskWriteBPS, sparkWidth),
                             0, formatRate(s.disk.writeBPS)));
        lines.push_back(pair("In", series(h, &TopHistory::Point::netInBPS, sparkWidth), 0, formatRate(s.network.inBPS),
                             "Out", series(h, &TopHistory::Point::netOutBPS, sparkWidth), 0,
                             formatRate(s.network.outBPS)));
    }

    std::string state_ = fmt::format(
        "Pressure {}  Thermal {}",
        paint(std::string(boost::describe::enum_to_string(m.pressure, "normal")), pressureColour(m.pressure)),
        paint(std::string(boost::describe::enum_to_string(s.thermal, "nominal")), thermalColour(s.thermal)));
    if (s.gpu) state_ += fmt::format("   GPU {}", formatPercentSign(s.gpu->utilizationPercent));
    if (s.battery) state_ += fmt::format("   Battery {:.0f} %", s.battery->percent);
    lines.push_back(state_);
    if (context.strain) {
        lines.push_back(paint(fmt::format("Strain: {}", StrainDetector::message(*context.strain)), "1;33"));
    }
}

const char* helpLines[] = {
    "Keys",
    "  c m d n e   order by CPU, memory, disk, network, energy",
    "  ↑ ↓ PgUp PgDn Home End   select a process",
    "  Enter       details of the selected process (again: close)",
    "  /           filter by name or app; Enter keeps it, Esc clears it",
    "  t           tree by parent",
    "  k           show or hide kernel threads",
    "  x           stop the selected process (asks: y quit, f force quit)",
    "  X           stop the selected process's app, every process of it",
    "  ?           this help (again or Esc: close)",
    "  q           quit",
};

void addDetail(std::vector<std::string>& lines, const Snapshot& snapshot, const ProcessSample* p,
               const TopContext& context) {
    if (!p) {
        lines.push_back("No process selected");
        return;
    }
    std::string appName = p->app;
    for (const auto& a : snapshot.apps) {
        if (a.app.id == p->app) appName = a.app.name;
    }
    lines.push_back(fmt::format("{} (pid {})  app {}", p->name, p->pid, appName));
    const ProcessFacts* facts = nullptr;
    if (context.facts) {
        auto found = context.facts->find(p->pid);
        if (found != context.facts->end()) facts = &found->second;
    }
    if (facts) {
        lines.push_back(fmt::format("  Path     {}", facts->executablePath ? *facts->executablePath : std::string("-")));
    }
    if (context.arguments) lines.push_back(fmt::format("  Command  {}", fmt::join(*context.arguments, " ")));
    if (facts) {
        lines.push_back(fmt::format("  User     {}   parent {}   started {}", userName(facts->uid), facts->parentPID,
                                    formatUTCDateTime(facts->startTime)));
    }
    lines.push_back(fmt::format("  CPU {}   memory {}   energy {}", formatPercentSign(p->cpuPercent),
                                formatBytes(p->footprintBytes), formatFigure(p->energyImpact)));
    lines.push_back(fmt::format("  Disk read {}  write {}   Net in {}  out {}", formatRate(p->diskReadBPS),
                                formatRate(p->diskWriteBPS), formatRate(p->netInBPS), formatRate(p->netOutBPS)));
}

}  // namespace

void sortApps(std::vector<AppAggregate>& apps, TopSort sort) {
    sortBy(
        apps, [sort](const AppAggregate& a) { return appFigure(a, sort); },
        [](const AppAggregate& a) { return a.memoryBytes; },
        [](const AppAggregate& a, const AppAggregate& b) {
            if (a.app.name != b.app.name) return a.app.name < b.app.name;
            return a.app.id < b.app.id;
        });
}

void sortProcesses(std::vector<ProcessSample>& processes, TopSort sort) {
    std::stable_sort(processes.begin(), processes.end(),
                     [sort](const ProcessSample& a, const ProcessSample& b) { return processBefore(a, b, sort); });
}

std::vector<TopRow> topRows(const Snapshot& snapshot, const ProcessFactsByPID& facts, const TopState& state) {
    std::unordered_map<std::string_view, std::string_view> appNames;
    if (!state.filter.empty()) {
        for (const auto& a : snapshot.apps) appNames.emplace(a.app.id, a.app.name);
    }
    std::string needle = lowered(state.filter);
    auto matches = [&](const ProcessSample& p) {
        if (needle.empty()) return true;
        if (lowered(p.name).find(needle) != std::string::npos) return true;
        if (lowered(p.app).find(needle) != std::string::npos) return true;
        auto name = appNames.find(p.app);
        return name != appNames.end() && lowered(name->second).find(needle) != std::string::npos;
    };
    std::vector<const ProcessSample*> listed;
    listed.reserve(snapshot.processes.size());
    for (const auto& p : snapshot.processes) {
        if (!state.showKernelThreads) {
            auto f = facts.find(p.pid);
            if (f != facts.end() && f->second.isKernelThread) continue;
        }
        if (matches(p)) listed.push_back(&p);
    }
    std::stable_sort(listed.begin(), listed.end(),
                     [&](const ProcessSample* a, const ProcessSample* b) { return processBefore(*a, *b, state.sort); });

    std::vector<TopRow> rows;
    rows.reserve(listed.size());
    if (!state.tree) {
        for (const auto* p : listed) rows.push_back({p, 0});
        return rows;
    }
    // Children under their parent, in the list's order; a process whose
    // parent is not listed is a root.
    std::unordered_map<int32_t, std::vector<const ProcessSample*>> children;
    std::unordered_map<int32_t, bool> isListed;
    for (const auto* p : listed) isListed[p->pid] = true;
    std::vector<const ProcessSample*> roots;
    for (const auto* p : listed) {
        auto f = facts.find(p->pid);
        int32_t parent = f == facts.end() ? 0 : f->second.parentPID;
        if (parent != p->pid && isListed.contains(parent)) children[parent].push_back(p);
        else roots.push_back(p);
    }
    // Depth first without recursion, so a deep chain cannot exhaust the stack.
    std::vector<std::pair<const ProcessSample*, size_t>> stack;
    for (auto it = roots.rbegin(); it != roots.rend(); ++it) stack.emplace_back(*it, 0);
    std::unordered_map<int32_t, bool> seen;
    auto walk = [&] {
    while (!stack.empty()) {
        auto [p, depth] = stack.back();
        stack.pop_back();
        if (seen[p->pid]) continue;  // a loop in a racing read of parents
        seen[p->pid] = true;
        rows.push_back({p, depth});
        auto kids = children.find(p->pid);
        if (kids == children.end()) continue;
        for (auto it = kids->second.rbegin(); it != kids->second.rend(); ++it) stack.emplace_back(*it, depth + 1);
    }
    };
    walk();
    // Parents read in a race can form a loop with no root in it; its
    // members are listed as roots rather than lost.
    for (const auto* p : listed) {
        if (seen[p->pid]) continue;
        stack.emplace_back(p, 0);
        walk();
    }
    return rows;
}

std::vector<int32_t> topRowPIDs(const std::vector<TopRow>& rows) {
    std::vector<int32_t> pids;
    pids.reserve(rows.size());
    for (const auto& row : rows) pids.push_back(row.process->pid);
    return pids;
}

std::string meterBar(double fraction, size_t width) {
    static const char* const partial[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    if (!(fraction > 0)) fraction = 0;  // NaN too
    fraction = std::min(fraction, 1.0);
    size_t eighths = size_t(std::lround(fraction * double(width) * 8));
    std::string bar;
    size_t full = eighths / 8;
    for (size_t i = 0; i < full; ++i) bar += "█";
    size_t cells = full;
    if (eighths % 8 != 0) {
        bar += partial[eighths % 8];
        ++cells;
    }
    bar.append(width - cells, ' ');
    return bar;
}

std::string sparkline(const std::vector<double>& values, double top) {
    static const char* const levels[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    if (!(top > 0)) {
        top = 0;
        for (double v : values) top = std::max(top, v);
    }
    std::string line;
    for (double v : values) {
        double fraction = top > 0 && v > 0 ? std::min(v / top, 1.0) : 0;
        line += levels[size_t(std::lround(fraction * 7))];
    }
    return line;
}

size_t displayWidth(const std::string& line) {
    size_t columns = 0;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\x1b') {
            while (i + 1 < line.size() && !(line[i + 1] >= 0x40 && line[i + 1] <= 0x7e && line[i + 1] != '[')) ++i;
            ++i;  // the final byte
            continue;
        }
        if ((static_cast<unsigned char>(line[i]) & 0xC0) != 0x80) ++columns;
    }
    return columns;
}

std::string fitColumns(const std::string& line, size_t width) {
    size_t columns = 0;
    bool styled = false;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\x1b') {
            size_t start = i;
            while (i + 1 < line.size() && !(line[i + 1] >= 0x40 && line[i + 1] <= 0x7e && line[i + 1] != '[')) ++i;
            ++i;
            styled = line.compare(start, i + 1 - start, "\x1b[0m") != 0;
            continue;
        }
        if ((static_cast<unsigned char>(line[i]) & 0xC0) == 0x80) continue;
        if (++columns > width) return line.substr(0, i) + (styled ? "\x1b[0m" : "");
    }
    return line;
}

std::vector<std::string> topFrame(const Snapshot& snapshot, const TopState& state, const TopLayout& layout,
                                  const TopContext& context) {
    std::vector<std::string> lines;
    if (layout.height == 0) return lines;
    Paint paint{layout.colour};
    addHeader(lines, snapshot, state, layout, context, paint);

    // The bottom line: the filter being typed, the filter in force, or the
    // last message.
    std::string bottom;
    if (state.editingFilter) bottom = fmt::format("/{}_", state.filter);
    else if (!state.message.empty()) bottom = state.message;
    else if (!state.filter.empty()) bottom = fmt::format("filter \"{}\"  (/ edits, Esc clears)", state.filter);

    lines.emplace_back();
    size_t reserved = bottom.empty() ? 0 : 1;
    size_t used = lines.size() + reserved;
    size_t rows = layout.height > used ? layout.height - used : 0;

    static const ProcessFactsByPID noFacts;
    const ProcessFactsByPID& facts = context.facts ? *context.facts : noFacts;

    if (state.help) {
        for (const char* line : helpLines) {
            if (rows == 0) break;
            lines.emplace_back(line);
            --rows;
        }
    } else {
        auto listed = topRows(snapshot, facts, state);
        auto pids = topRowPIDs(listed);
        size_t selected = state.selectedIndex(pids);
        auto columns = columnsFor(layout.width, state.sort);

        // The top: the selected process's detail, or the busiest apps in a
        // third of the room.
        if (state.detail) {
            std::vector<std::string> detail;
            addDetail(detail, snapshot, listed.empty() ? nullptr : listed[selected].process, context);
            for (auto& line : detail) {
                if (rows <= 2) break;
                lines.push_back(std::move(line));
                --rows;
            }
        } else if (rows > 0) {
            auto apps = snapshot.apps;
            sortApps(apps, state.sort);
            size_t appRows = std::min(apps.size(), std::max<size_t>((rows - 1) / 3, 1));
            lines.push_back(paint(fmt::format("{} {:>5}  APP ({} apps)", columnHeadings(columns, state.sort), "PROCS",
                                              snapshot.apps.size()),
                                  "7"));
            --rows;
            for (size_t i = 0; i < appRows && rows > 1; ++i, --rows) {
                const AppAggregate& a = apps[i];
                lines.push_back(fmt::format("  {} {:>5}  {}", columnFigures(columns, a, a.cpuPercent, a.memoryBytes),
                                            a.processCount, a.app.name));
            }
        }
        if (rows > 0) {
            lines.push_back(paint(fmt::format("{} {:>7}  NAME ({} of {} processes)", columnHeadings(columns, state.sort),
                                              "PID", listed.size(), snapshot.processes.size()),
                                  "7"));
            --rows;
            size_t first = selected >= rows && rows > 0 ? selected - rows + 1 : 0;
            for (size_t i = first; i < listed.size() && i < first + rows; ++i) {
                const ProcessSample& p = *listed[i].process;
                std::string indent;
                if (listed[i].depth > 0) indent = std::string(2 * (listed[i].depth - 1), ' ') + "└ ";
                std::string line = fmt::format("{} {} {:>7}  {}{}", i == selected ? '>' : ' ',
                                               columnFigures(columns, p, p.cpuPercent, p.footprintBytes), p.pid,
                                               indent, p.name);
                if (i == selected && layout.colour) {
                    line = fitColumns(line, layout.width);
                    line = "\x1b[7m" + line + std::string(layout.width - displayWidth(line), ' ') + "\x1b[0m";
                }
                lines.push_back(std::move(line));
            }
        }
    }

    lines.resize(layout.height - reserved);
    if (reserved) lines.push_back(paint(bottom, "7"));
    for (auto& line : lines) line = fitColumns(line, layout.width);
    return lines;
}

}  // namespace orv::cli
