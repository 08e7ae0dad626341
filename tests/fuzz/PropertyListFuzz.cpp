// Property lists, XML and binary.
#include "core/PropertyList.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    (void)orv::PropertyList::parse(orv::fuzz::bytes(data, size));
    return 0;
}
