#pragma once

#include "core/SamplingExecutor.h"

namespace orv::test {

// A sampling executor of the tests' own, apart from the shared one. Its
// thread never ends, so it is never destroyed.
inline SamplingExecutor& testExecutor() {
    static auto* executor = new SamplingExecutor();
    return *executor;
}

}  // namespace orv::test
