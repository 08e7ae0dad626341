#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "Sampling/TimerQueue.h"
#include "core/Duration.h"
#include "core/Logger.h"
#include "helper/HelperService.h"

namespace orv {

// Counts the helper's client connections and decides when it exits: 30 s
// after start if no client ever came, 10 s after the last client left if
// nothing connected or disconnected since. One instance lives as long as
// the process; the platform's listener reports every accepted and every
// ended connection to it. Timers hold it weakly and compare generations:
// a stale timer is void, nothing is ever cancelled.
class ListenerDelegate : public std::enable_shared_from_this<ListenerDelegate> {
public:
    struct Lifetime {
        Duration startupLimit = Duration::seconds(30);
        Duration idleLimit = Duration::seconds(10);
        // Ends the process at once with the status; tests record it instead.
        std::function<void(int)> exit;
    };

    ListenerDelegate(std::shared_ptr<HelperService> service, std::string clientRequirement, TimerQueue& timers,
                     Lifetime lifetime);

    const std::shared_ptr<HelperService>& service() const { return service_; }
    const std::string& clientRequirement() const { return clientRequirement_; }

    // Arms the start-up rule; called once the listener is resumed.
    void armStartupRule();
    // A connection was accepted (every one is, refused peers too: they are
    // ended right after).
    void connectionAccepted();
    // A connection ended; the last one arms the idle rule.
    void connectionEnded();

    int64_t connections() const;
    int64_t generation() const;

private:
    void startupCheck();
    void idleCheck(int64_t generation);

    std::shared_ptr<HelperService> service_;
    std::string clientRequirement_;
    mutable std::mutex lock_;
    int64_t connections_ = 0;
    int64_t generation_ = 0;
    TimerQueue& timers_;
    Lifetime lifetime_;
    Logger log_{"app.orvantine.helper", "helper"};
};

}  // namespace orv
