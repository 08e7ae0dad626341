#include "Sampling/VolumeNameOrder.h"

#include <unicode/ucol.h>

#include <memory>

namespace orv {

namespace {

struct CollatorCloser {
    void operator()(UCollator* collator) const { ucol_close(collator); }
};

// The root locale's collator, made once; comparing through a shared
// collator is thread-safe in ICU.
UCollator* collator() {
    static const std::unique_ptr<UCollator, CollatorCloser> shared = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<UCollator, CollatorCloser> made(ucol_open("", &status));
        if (U_FAILURE(status)) return std::unique_ptr<UCollator, CollatorCloser>();
        // Secondary strength tells accents apart but not case.
        ucol_setAttribute(made.get(), UCOL_STRENGTH, UCOL_SECONDARY, &status);
        ucol_setAttribute(made.get(), UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
        return made;
    }();
    return shared.get();
}

}  // namespace

bool VolumeNameOrder::less(std::string_view a, std::string_view b) {
    if (UCollator* c = collator()) {
        UErrorCode status = U_ZERO_ERROR;
        auto result = ucol_strcollUTF8(c, a.data(), int32_t(a.size()), b.data(), int32_t(b.size()), &status);
        if (U_SUCCESS(status)) return result == UCOL_LESS;
    }
    return a < b;
}

}  // namespace orv
