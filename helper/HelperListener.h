#pragma once

#include <memory>

#include "helper/HelperOptions.h"
#include "helper/ListenerDelegate.h"

namespace orv {

// The helper's listening end: the XPC Mach service on macOS, the Unix
// socket on Linux. It admits clients, reports each connection's start and
// end to the delegate, and hands requests to the delegate's service.
class HelperListener {
public:
    virtual ~HelperListener() = default;

    // Starts accepting; false (with a log line) when it cannot listen.
    virtual bool resume() = 0;
    // Parks the calling (main) thread for the rest of the process's life,
    // serving requests where the platform needs a thread for it.
    [[noreturn]] virtual void park() = 0;
};

// The platform's listener.
std::unique_ptr<HelperListener> makeHelperListener(std::shared_ptr<ListenerDelegate> delegate,
                                                   const HelperOptions& options);

}  // namespace orv
