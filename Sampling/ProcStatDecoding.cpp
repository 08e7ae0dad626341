#include "Sampling/ProcStatDecoding.h"

#include <array>
#include <charconv>

namespace orv {

namespace {

enum Column { user, nice, system, idle, iowait, irq, softirq, steal, guest, guestNice, columnCount };

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

std::optional<std::vector<ProcStatCore>> ProcStatDecoding::cores(std::string_view text) {
    std::vector<ProcStatCore> cores;
    while (!text.empty()) {
        auto newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view{} : text.substr(newline + 1);
        if (line.size() < 4 || line.substr(0, 3) != "cpu" || !isDigit(line[3])) continue;

        const char* p = line.data() + 3;
        const char* end = line.data() + line.size();
        ProcStatCore core;
        auto [afterNumber, numberError] = std::from_chars(p, end, core.number);
        if (numberError != std::errc()) return std::nullopt;
        p = afterNumber;

        std::array<uint64_t, columnCount> values{};
        size_t read = 0;
        while (read < columnCount) {
            while (p < end && *p == ' ') ++p;
            if (p == end) break;
            auto [next, error] = std::from_chars(p, end, values[read]);
            if (error != std::errc()) return std::nullopt;
            p = next;
            ++read;
        }
        if (read < 4) return std::nullopt;
        core.ticks.user = values[user];
        core.ticks.nice = values[nice];
        core.ticks.system = values[system] + values[irq] + values[softirq];
        core.ticks.idle = values[idle] + values[iowait];
        cores.push_back(core);
    }
    if (cores.empty()) return std::nullopt;
    return cores;
}

}  // namespace orv
