#pragma once

namespace orv::cli {

// Sets up the process's heap for the command's threads, before any thread
// starts: on Linux one malloc arena, and blocks of 64 KiB and more mapped on
// their own, so that what a pass frees goes back to the system (a live view
// builds each snapshot on the sampling thread and frees the last one on the
// main thread; with glibc's defaults the freed per-process vectors stayed
// resident in a second arena, under a trim threshold that rises to the
// largest block ever freed). Nothing to set on macOS.
void prepareProcessHeap();

// Gives the whole free pages inside the heap back to the system, for a
// long-running view once a pass and its frame are done: what a pass frees
// in the middle of the heap (the last snapshot's strings and maps) would
// otherwise stay resident until the same sizes are asked for again. Costs a
// walk of the free lists, well under a millisecond. Nothing on macOS,
// whose allocator returns such pages by itself.
void trimProcessHeap();

}  // namespace orv::cli
