#include <malloc.h>

#include "cli/ProcessHeap.h"

namespace orv::cli {

void prepareProcessHeap() {
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
}

void trimProcessHeap() { malloc_trim(0); }

}  // namespace orv::cli
