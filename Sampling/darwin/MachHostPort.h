#pragma once

#include <mach/mach.h>

namespace orv {

// Owns this task's send right to the host port, taken with mach_host_self()
// and given back with mach_port_deallocate when the owner goes.
class MachHostPort {
public:
    MachHostPort() : port_(mach_host_self()) {}
    MachHostPort(const MachHostPort&) = delete;
    MachHostPort& operator=(const MachHostPort&) = delete;
    ~MachHostPort() {
        if (port_ != MACH_PORT_NULL) mach_port_deallocate(mach_task_self(), port_);
    }

    host_t get() const { return port_; }

private:
    host_t port_;
};

}  // namespace orv
