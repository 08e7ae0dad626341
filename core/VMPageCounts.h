#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>

#include "core/RecordHash.h"

namespace orv {

// The page counts the memory figures are made of.
struct VMPageCounts {
    uint64_t internalPages = 0;    // anonymous memory
    uint64_t wiredPages = 0;
    uint64_t compressorPages = 0;  // pages the compressor occupies
    uint64_t externalPages = 0;    // file-backed pages
    uint64_t purgeablePages = 0;

    friend bool operator==(const VMPageCounts&, const VMPageCounts&) = default;
};
BOOST_DESCRIBE_STRUCT(VMPageCounts, (), (internalPages, wiredPages, compressorPages, externalPages, purgeablePages))

}  // namespace orv
