// rtnetlink dumps (links, statistics, routes) and socket-diagnostics
// messages (dumps, notifications and lookup answers); the first byte
// picks which.
#include <vector>

#include "Sampling/NetlinkDecoding.h"
#include "Sampling/SocketDiagDecoding.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const auto datagram = orv::fuzz::bytes(data + 1, size - 1);
    switch (data[0] % 4) {
        case 0: {
            std::vector<orv::NetlinkLink> out;
            (void)orv::NetlinkDecoding::links(datagram, 1, out);
            break;
        }
        case 1: {
            std::vector<orv::NetlinkStats> out;
            (void)orv::NetlinkDecoding::stats(datagram, 1, out);
            break;
        }
        case 2: {
            std::vector<orv::NetlinkRoute> out;
            (void)orv::NetlinkDecoding::routes(datagram, 1, out);
            (void)orv::NetlinkDecoding::primaryInterface(out);
            break;
        }
        default: {
            std::vector<orv::InetSocket> out;
            size_t skipped = 0;
            (void)orv::SocketDiagDecoding::sockets(datagram, std::nullopt, out, &skipped);
            (void)orv::SocketDiagDecoding::socket(datagram);
            std::vector<orv::SocketDiagDecoding::LookupAnswer> answers;
            if (orv::SocketDiagDecoding::lookupAnswers(datagram, answers)) {
                // What was read asks again as it was answered.
                for (const auto& answer : answers) {
                    if (answer.socket) (void)orv::SocketDiagDecoding::lookupRequest(*answer.socket, true);
                }
            }
            break;
        }
    }
    return 0;
}
