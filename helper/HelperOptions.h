#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/Duration.h"
#include "core/Result.h"

namespace orv {

// The helper's run-time settings. launchd and systemd start it without
// arguments, which gives the built-in values; tests point it at a
// temporary socket and shorten its time limits.
struct HelperOptions {
    std::string socketPath;       // Linux: where to listen when not socket-activated
    std::string admittedGroup;    // Linux: besides root, members of this group are served
    unsigned socketMode = 0660;   // Linux: file mode of a socket the helper binds itself
    Duration startupLimit = Duration::seconds(30);
    Duration idleLimit = Duration::seconds(10);

    // Linux: what one client may hold. Connections beyond either cap are
    // closed at once; one process may not take every place.
    size_t maxSessionsPerClient = 32;
    size_t maxSessions = 512;
    // Linux: a reply not drained by the client within `writeLimit`, or a
    // request frame begun and not completed within `frameLimit`, ends the
    // connection. A connected client that sends nothing is never timed out.
    Duration writeLimit = Duration::seconds(10);
    Duration frameLimit = Duration::seconds(5);
    // Linux: out of descriptors, accepting waits this long before trying again.
    Duration acceptRetryDelay = Duration::milliseconds(100);

    // The built-in values of this build (the socket settings are Linux's;
    // macOS leaves them empty).
    static HelperOptions defaults();

    // --socket PATH, --group NAME, --socket-mode OCTAL, --startup-seconds S,
    // --idle-seconds S (S may have a fraction). Anything else is refused
    // with a description of what was wrong, for the helper to print.
    static Result<HelperOptions, std::string> parse(const std::vector<std::string_view>& arguments);

    // The options of the process's command line: `parse` on Linux; on macOS
    // launchd's arguments are not read at all, only the built-in values.
    static Result<HelperOptions, std::string> forLaunch(const std::vector<std::string_view>& arguments);
};

}  // namespace orv
