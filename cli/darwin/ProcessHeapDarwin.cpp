#include "cli/ProcessHeap.h"

namespace orv::cli {

// macOS's malloc returns freed regions to the system by itself.
void prepareProcessHeap() {}

void trimProcessHeap() {}

}  // namespace orv::cli
