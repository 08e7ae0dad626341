// The streaming JSON writer against the Boost.JSON document writer it
// replaced: for any record libFuzzer's bytes make, both texts must be the
// same document, doubles equal to the bit, and the streamed one must read
// back as the record; a double JSON cannot state is refused, not written.
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/JsonCoding.h"
#include "core/NetworkByteCounts.h"
#include "core/PeriodChange.h"
#include "core/ProcessReading.h"
#include "core/Snapshot.h"
#include "fuzz/FuzzInput.h"
#include "support/ArbitraryRecords.h"

namespace {

template <class T>
void compare(orv::testing::ByteSource& in) {
    const T value = orv::testing::arbitrary<T>(in);
    const std::string reference = orv::json::encodeThroughValue(value);
    std::string streamed;
    try {
        streamed = orv::json::encode(value);
    } catch (const std::invalid_argument&) {
        if (reference.find("NaN") == std::string::npos && reference.find("Infinity") == std::string::npos) std::abort();
        return;
    }
    if (!orv::testing::sameJsonDocument(streamed, reference)) std::abort();
    if (!(orv::json::decode<T>(streamed) == orv::json::decode<T>(reference))) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    orv::testing::ByteSource in(orv::fuzz::bytes(data + 1, size - 1));
    switch (data[0] % 4) {
        case 0: compare<std::vector<orv::ProcessReading>>(in); break;
        case 1: compare<orv::NetworkBytesByPID>(in); break;
        case 2: compare<orv::PeriodChange>(in); break;
        default: compare<orv::Snapshot>(in); break;
    }
    return 0;
}
