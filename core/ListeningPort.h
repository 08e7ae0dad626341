#pragma once

#include <boost/describe/class.hpp>
#include <boost/describe/enum.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// One listening TCP socket and the process that owns it.
struct ListeningPort {
    // Written as the bare case name.
    enum class Transport { tcp4, tcp6 };
    BOOST_DESCRIBE_NESTED_ENUM(Transport, tcp4, tcp6)

    int32_t pid = 0;
    uint16_t port = 0;
    Transport transport = Transport::tcp4;
    std::string address;  // the local address it is bound to ("127.0.0.1", "::")
    // The owner's current directory; absent when it could not be read.
    std::optional<std::string> workingDirectory;

    friend bool operator==(const ListeningPort&, const ListeningPort&) = default;
};
BOOST_DESCRIBE_STRUCT(ListeningPort, (), (pid, port, transport, address, workingDirectory))

}  // namespace orv
