#pragma once

#include <boost/describe/class.hpp>
#include <boost/describe/enum.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "core/RecordHash.h"

namespace orv {

// Who owns a group of processes. `id` is the stable key under which muting,
// alert state and history are kept, so it must not change between runs.
struct AppIdentity {
    // Encoded as the bare case name; any other string fails to decode.
    enum class Kind { app, terminal, system, other };
    BOOST_DESCRIBE_NESTED_ENUM(Kind, app, terminal, system, other)

    std::string id;
    std::string name;
    std::optional<std::string> bundleID;
    std::string iconKey;
    Kind kind = Kind::other;

    // The identity of a process no app claims. Keyed by the executable name
    // alone, so every process of one program shares it.
    static AppIdentity other(std::string_view executableName) {
        std::string name(executableName);
        return AppIdentity{"other:" + name, name, std::nullopt, "other", Kind::other};
    }

    friend bool operator==(const AppIdentity&, const AppIdentity&) = default;
};
BOOST_DESCRIBE_STRUCT(AppIdentity, (), (id, name, bundleID, iconKey, kind))

}  // namespace orv
