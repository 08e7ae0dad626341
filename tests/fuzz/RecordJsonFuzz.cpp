// The JSON of the records the helper sends and the command reads back:
// whatever decodes must encode and decode again to the same value.
#include <cstdlib>
#include <vector>

#include "core/DecodingError.h"
#include "core/JsonCoding.h"
#include "core/NetworkByteCounts.h"
#include "core/ProcessReading.h"
#include "core/Snapshot.h"
#include "fuzz/FuzzInput.h"

namespace {

template <class T>
void roundTrip(std::string_view text) {
    T value;
    try {
        value = orv::json::decode<T>(text);
    } catch (const orv::json::DecodingError&) {
        return;
    }
    if (!(orv::json::decode<T>(orv::json::encode(value)) == value)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const auto text = orv::fuzz::text(data + 1, size - 1);
    switch (data[0] % 3) {
        case 0: roundTrip<std::vector<orv::ProcessReading>>(text); break;
        case 1: roundTrip<orv::NetworkBytesByPID>(text); break;
        default: roundTrip<orv::Snapshot>(text); break;
    }
    return 0;
}
