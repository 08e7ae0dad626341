#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "core/RecordHash.h"

namespace orv {

// The cases of TerminationTarget. An unlabelled payload is keyed "_0", as a
// Swift peer writes it.
namespace termination {

// An app by its AppIdentity id, with the processes that belong to it.
struct App {
    static constexpr const char* caseName = "app";
    std::string _0;
    std::vector<int32_t> pids;
    friend bool operator==(const App&, const App&) = default;
};
BOOST_DESCRIBE_STRUCT(App, (), (_0, pids))

// One process by its pid.
struct Process {
    static constexpr const char* caseName = "process";
    int32_t _0 = 0;
    friend bool operator==(const Process&, const Process&) = default;
};
BOOST_DESCRIBE_STRUCT(Process, (), (_0))

// A process group by its group id.
struct ProcessGroup {
    static constexpr const char* caseName = "processGroup";
    int32_t _0 = 0;
    friend bool operator==(const ProcessGroup&, const ProcessGroup&) = default;
};
BOOST_DESCRIBE_STRUCT(ProcessGroup, (), (_0))

// A container by its engine's id, with its display name.
struct Container {
    static constexpr const char* caseName = "container";
    std::string id;
    std::string name;
    friend bool operator==(const Container&, const Container&) = default;
};
BOOST_DESCRIBE_STRUCT(Container, (), (id, name))

}  // namespace termination

// What the user asked to stop.
using TerminationTarget =
    std::variant<termination::App, termination::Process, termination::ProcessGroup, termination::Container>;

}  // namespace orv
