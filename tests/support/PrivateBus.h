#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

#include "support/TempDir.h"

namespace orv::test {

// A private bus: Debian's dbus-daemon with a configuration of our own that
// listens on a socket inside the test's folder and lets anyone own names.
// Stopped and reaped at the end of the scope.
class PrivateBus {
public:
    explicit PrivateBus(const TempDir& dir);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    bool isRunning() const;
    std::string address() const { return "unix:path=" + socket_.string(); }

private:
    pid_t pid_ = 0;
    bool ready_ = false;
    std::filesystem::path socket_;
};

}  // namespace orv::test
