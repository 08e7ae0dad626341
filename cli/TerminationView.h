#pragma once

#include <string>

#include "Sampling/ProcessTerminator.h"

namespace orv::cli {

// One line saying what an attempt achieved: "Terminated: 12, 13",
// "still running: 14", and the first refusal's reason.
std::string summarizeTermination(const TerminationReport& report);

}  // namespace orv::cli
