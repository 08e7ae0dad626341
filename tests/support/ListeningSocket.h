#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace orv::test {

// A server's socket file exists from bind on, a moment before it listens,
// and a connect in between is refused. Connecting to find out would count
// as a client of the server under test, so these ask the kernel's table of
// Unix sockets instead.

// Whether `table` (the text of /proc/net/unix) holds a listening socket
// bound to exactly `path`.
bool listensAt(std::string_view table, std::string_view path);

// Waits up to `limit` until a socket listens at `path`.
bool waitUntilListening(const std::string& path, std::chrono::milliseconds limit = std::chrono::seconds(5));

}  // namespace orv::test
