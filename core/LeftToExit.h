#pragma once

namespace orv {

// Says that `object`, allocated and never freed, is left to the end of the
// process on purpose (freeing it would only cost time at exit), so that a
// leak checker does not report it. Does nothing in ordinary builds.
void leaveToExit(const void* object);

}  // namespace orv
