#include "Sampling/TcpSegmentCounters.h"

#include "core/TextDecoding.h"

namespace orv {

std::optional<TcpSegmentCounters> TcpSegmentCounters::decode(std::string_view snmp) {
    std::optional<std::string_view> names;
    for (auto line : TextDecoding::Lines(snmp)) {
        if (!line.starts_with("Tcp:")) continue;
        if (!names) {
            names = line;
            continue;
        }
        // The values, in the order of the names.
        std::string_view nameRest = names->substr(4), valueRest = line.substr(4);
        std::optional<uint64_t> received, sent, activeOpens, passiveOpens;
        for (;;) {
            nameRest = TextDecoding::trimStart(nameRest);
            valueRest = TextDecoding::trimStart(valueRest);
            if (nameRest.empty() || valueRest.empty()) break;
            const auto name = TextDecoding::takeUntil(nameRest, ' ');
            const auto value = TextDecoding::takeUntil(valueRest, ' ');
            // MaxConn is -1; only the wanted fields are read as numbers.
            auto number = [&] { return TextDecoding::parseNumber<uint64_t>(TextDecoding::trim(value)); };
            if (name == "InSegs") received = number();
            if (name == "OutSegs") sent = number();
            if (name == "ActiveOpens") activeOpens = number();
            if (name == "PassiveOpens") passiveOpens = number();
        }
        if (!received || !sent) return std::nullopt;
        TcpSegmentCounters counters{*received, *sent, std::nullopt};
        if (activeOpens && passiveOpens) counters.opened = *activeOpens + *passiveOpens;
        return counters;
    }
    return std::nullopt;
}

}  // namespace orv
