#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "core/Date.h"
#include "core/DevRuntime.h"
#include "core/DevServer.h"
#include "core/ProjectActivity.h"
#include "core/RecordHash.h"

namespace orv {

// Developer servers grouped by the project they were started from. `id` is
// the stable key (and identity in lists); what the project is as a whole is
// derived afresh from `servers` each time it is asked.
struct Project {
    std::string id;
    std::string name;
    std::vector<DevServer> servers;

    // The runtime most servers run on; among equal counts the one met first
    // in `servers`. `other` without servers.
    DevRuntime runtime() const;
    // Every port of every server, once each, ascending.
    std::vector<uint16_t> ports() const;
    // The servers' memory together. A sum past 2^64 - 1 is a fatal error:
    // the figures come from a kernel that cannot hold that much.
    uint64_t memoryBytes() const;
    // The earliest start of its servers; the distant past without servers.
    Date startedAt() const;
    // Working when any server works; else idle for the fewest minutes of its
    // idle servers; else barely used. A project without servers counts as
    // working.
    ProjectActivity activity() const;

    friend bool operator==(const Project&, const Project&) = default;
};
BOOST_DESCRIBE_STRUCT(Project, (), (id, name, servers))

// The earliest date a Swift peer can represent (0001-01-01T00:00:00Z).
inline constexpr Date distantPast{-63'114'076'800.0};

// a + b, or a fatal error naming `what` when the sum does not fit.
uint64_t checkedAdd(uint64_t a, uint64_t b, const char* what);

}  // namespace orv
