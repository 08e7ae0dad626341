#pragma once

#include <string>
#include <vector>

#include "core/Date.h"
#include "core/Project.h"
#include "core/TerminationTarget.h"

namespace orv::cli {

// The text of `orvantine devservers`: one block per project, its servers
// below it, each with what `orvantine stop` takes to stop it.
std::string formatDevServers(const std::vector<Project>& projects, Date now);

// "working", "idle 12 min", "idle", "barely used".
std::string formatActivity(const ProjectActivity& activity);

// What `orvantine stop` takes: "4242", "group:4240", the app's id, or a
// container's id.
std::string stopArgument(const TerminationTarget& target);

// "3000, 5173".
std::string formatPorts(const std::vector<uint16_t>& ports);

}  // namespace orv::cli
