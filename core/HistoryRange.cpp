#include "core/HistoryRange.h"

namespace orv {

std::string_view historyRangeLabel(HistoryRange range) {
    switch (range) {
        case HistoryRange::h12: return "12 h";
        case HistoryRange::h24: return "24 h";
        case HistoryRange::d7: return "7 d";
        case HistoryRange::d30: return "30 d";
    }
    return {};
}

Duration historyRangeSpan(HistoryRange range) {
    switch (range) {
        case HistoryRange::h12: return Duration::seconds(43200);
        case HistoryRange::h24: return Duration::seconds(86400);
        case HistoryRange::d7: return Duration::seconds(604800);
        case HistoryRange::d30: return Duration::seconds(2592000);
    }
    return {};
}

Duration historyRangeBucket(HistoryRange range) {
    switch (range) {
        case HistoryRange::h12: return Duration::seconds(60);
        case HistoryRange::h24: return Duration::seconds(120);
        case HistoryRange::d7: return Duration::seconds(900);
        case HistoryRange::d30: return Duration::seconds(3600);
    }
    return {};
}

std::optional<HistoryRange> historyRangeFromArgument(std::string_view text) {
    if (text == "12h") return HistoryRange::h12;
    if (text == "24h") return HistoryRange::h24;
    if (text == "7d") return HistoryRange::d7;
    if (text == "30d") return HistoryRange::d30;
    return std::nullopt;
}

}  // namespace orv
