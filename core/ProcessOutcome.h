#pragma once

#include <cstdint>

namespace orv {

// How a read of one process went. A failure for one process is one of three
// kinds, never an exception that ends a pass: the process is gone, the
// kernel refused, or what it gave could not be used.
enum class ProcessOutcome : uint8_t {
    complete,   // every figure read
    gone,       // the process exited between listing and reading: skip it
    refused,    // the kernel refused (EPERM, EACCES): never ask this instance again
    malformed,  // a read failed otherwise or its bytes did not decode: the
                // reading is incomplete, what was read is kept, ask again next time
};

}  // namespace orv
