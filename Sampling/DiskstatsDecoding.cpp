#include "Sampling/DiskstatsDecoding.h"

#include <array>
#include <charconv>

namespace orv {

namespace {

enum Column { major, minor, name, readsCompleted, readsMerged, sectorsRead, timeReading,
              writesCompleted, writesMerged, sectorsWritten, wantedColumns };

}  // namespace

void DiskstatsDecoding::entries(std::string_view text, std::vector<DiskstatsEntry>& out) {
    out.clear();
    while (!text.empty()) {
        auto newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view{} : text.substr(newline + 1);

        std::array<std::string_view, wantedColumns> columns;
        size_t count = 0;
        size_t i = 0;
        while (count < wantedColumns) {
            while (i < line.size() && line[i] == ' ') ++i;
            if (i == line.size()) break;
            size_t start = i;
            while (i < line.size() && line[i] != ' ') ++i;
            columns[count++] = line.substr(start, i - start);
        }
        if (count < wantedColumns) continue;

        auto number = [](std::string_view column, auto& value) {
            auto [end, error] = std::from_chars(column.data(), column.data() + column.size(), value);
            return error == std::errc() && end == column.data() + column.size();
        };
        DiskstatsEntry entry;
        entry.name = columns[name];
        if (!number(columns[major], entry.major) || !number(columns[minor], entry.minor) ||
            !number(columns[sectorsRead], entry.sectorsRead) ||
            !number(columns[sectorsWritten], entry.sectorsWritten)) {
            continue;
        }
        out.push_back(entry);
    }
}

}  // namespace orv
