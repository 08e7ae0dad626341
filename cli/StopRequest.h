#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orv::cli {

// What `orvantine stop TARGET` names: a pid ("4242"), a process group
// ("group:4240"), a project by its folder as `devservers` shows it (a path),
// a container ("container:<id>"), or else an app by its identity id.
struct StopRequest {
    enum class Kind { process, processGroup, project, container, app };
    Kind kind = Kind::process;
    int32_t number = 0;  // the pid or group id
    std::string text;    // the project's folder, the container's id or the app's id

    // Absent for an empty argument or a number that is not a positive pid.
    static std::optional<StopRequest> parse(std::string_view argument);
    friend bool operator==(const StopRequest&, const StopRequest&) = default;
};

}  // namespace orv::cli
