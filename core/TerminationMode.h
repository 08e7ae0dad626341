#pragma once

#include <boost/describe/enum.hpp>

namespace orv {

// How to stop something: ask politely (SIGTERM) or kill (SIGKILL).
enum class TerminationMode { quit, forceQuit };
BOOST_DESCRIBE_ENUM(TerminationMode, quit, forceQuit)

}  // namespace orv
