#pragma once

#include <memory>
#include <string>

namespace orv::cli {

// Desktop notifications: on Linux through the session bus's
// org.freedesktop.Notifications service when one is there; elsewhere
// (macOS, where the monitor app notifies) nothing. A notifier that cannot
// reach a service says so once and then stays quiet.
class DesktopNotifier {
public:
    virtual ~DesktopNotifier() = default;
    // Shows one notification; false when none could be shown.
    virtual bool notify(const std::string& title, const std::string& body) = 0;
};

// The notifier of this platform. `busAddress` chooses a bus (a test's
// private one); empty means the user's session bus.
std::unique_ptr<DesktopNotifier> makeDesktopNotifier(const std::string& busAddress = {});

}  // namespace orv::cli
