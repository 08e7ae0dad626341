#include "core/LeftToExit.h"

// Sanitizer builds define ORVANTINE_LEAK_CHECKED; the interface header
// comes with the compiler's sanitizer runtime.
#if defined(ORVANTINE_LEAK_CHECKED)
#include <sanitizer/lsan_interface.h>
#endif

namespace orv {

void leaveToExit([[maybe_unused]] const void* object) {
#if defined(ORVANTINE_LEAK_CHECKED)
    __lsan_ignore_object(object);
#endif
}

}  // namespace orv
