#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/Date.h"
#include "core/DevRuntime.h"
#include "core/Duration.h"
#include "core/Project.h"
#include "core/ProjectActivity.h"
#include "core/TerminationTarget.h"

namespace orv {

// The rules that turn a listening process into a developer server: which
// runtime it runs on, what stops it, how busy it is, and which processes
// are developer servers at all. Pure functions; the scanner feeds them.
struct DevServerMath {
    // What is known of a process's program.
    struct RuntimeEvidence {
        std::optional<std::string> executablePath;
        std::vector<std::string> arguments;  // argv as the process holds it
        bool hasGoBuildID = false;            // its ELF carries the Go linker's note
        bool builtByCargo = false;            // it runs from target/ of a folder with Cargo.toml
    };

    // The runtime, from the executable's name (node, python, python3,
    // python3.12, ruby, java, bun, deno, with versions and ".exe" left off)
    // and, for an interpreter started through a wrapper, argv[0]'s name;
    // then a Go binary by its build-id note, a Rust one by its Cargo folder;
    // anything else `other`.
    static DevRuntime recogniseRuntime(const RuntimeEvidence& evidence);

    // The folder holding the `target` folder an executable runs from
    // (".../shop/target/debug/shop" gives ".../shop"); absent when no
    // component of its path is "target".
    static std::optional<std::string> cargoProjectOf(std::string_view executablePath);

    // What to stop to stop a server: its process group when the group is a
    // job of its own — the server leads it, or an ancestor that is not a
    // session leader does (`npm run dev` leads the group of its node child)
    // — and it is not the group the monitor itself runs in; else the
    // process alone. `ancestors` are the server's parent, grandparent, … .
    static TerminationTarget stopTarget(int32_t pid, int32_t processGroup, int32_t session,
                                        std::span<const int32_t> ancestors, int32_t ownProcessGroup);

    // A listening process is a developer server when the user who asks owns
    // it and it runs inside a project folder. System daemons and services
    // (a database, a print server) run as their own users, or from "/" or
    // a state folder holding no repository and no manifest, so they fail
    // one test or both; root's own listeners count only when root asks.
    static bool isDeveloperServer(uint32_t ownerUid, uint32_t viewerUid, bool hasProject);

    // CPU time that counts as work within one minute: 1 % of one core.
    static constexpr Duration workingCPUPerMinute = Duration::milliseconds(600);
    // Total CPU time since start below which a server has barely been used.
    static constexpr Duration barelyUsedCPUTime = Duration::milliseconds(1000);

    // One observation of a server's cumulative CPU time.
    struct CPUObservation {
        Date at;
        Duration cpuTime;
    };

    // Whether a server worked within the last minute, from its
    // observations oldest first (the last is now): the CPU time grew since
    // the newest observation at least a minute old by 1 % of a core or
    // more; when every observation is younger, the growth over the span
    // they cover is scaled to a minute. One observation proves nothing.
    static bool workedInLastMinute(std::span<const CPUObservation> observations);

    // The activity of a server: working when it worked in the last minute;
    // else barely used when its CPU time since start is below one second;
    // else idle for the whole minutes since `idleSince` (the last time it
    // was seen working, or first seen at all).
    static ProjectActivity activity(bool working, Duration totalCPUTime, Date now, Date idleSince);

    // Busiest first: working, then idle by fewest minutes, then barely used;
    // ties by more CPU time of the project's servers, then by name.
    static void sortBusiestFirst(std::vector<Project>& projects);
};

}  // namespace orv
