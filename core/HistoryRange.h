#pragma once

#include <boost/describe/enum.hpp>
#include <optional>
#include <string_view>

#include "core/Duration.h"

namespace orv {

// The spans over which history is shown, written as the raw value ("h12").
enum class HistoryRange { h12, h24, d7, d30 };
BOOST_DESCRIBE_ENUM(HistoryRange, h12, h24, d7, d30)

inline constexpr HistoryRange allHistoryRanges[] = {HistoryRange::h12, HistoryRange::h24, HistoryRange::d7,
                                                    HistoryRange::d30};

// "12 h", "24 h", "7 d", "30 d".
std::string_view historyRangeLabel(HistoryRange range);
Duration historyRangeSpan(HistoryRange range);
// The width of one chart point: 1 min for 12 h, 2 min for 24 h, 15 min for
// 7 d, 1 h for 30 d — every range draws 360 to 720 points.
Duration historyRangeBucket(HistoryRange range);
// The range a user names on the command line: "12h", "24h", "7d", "30d".
std::optional<HistoryRange> historyRangeFromArgument(std::string_view text);

}  // namespace orv
