#include <malloc.h>

#include "cli/ProcessHeap.h"

namespace orv::cli {

void prepareProcessHeap() {
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
}

}  // namespace orv::cli
