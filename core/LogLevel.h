#pragma once

namespace orv {

// The levels of the unified log; journald priorities are mapped from them.
enum class LogLevel { debug, info, notice, error, fault };

}  // namespace orv
