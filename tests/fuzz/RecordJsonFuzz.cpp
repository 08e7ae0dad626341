// The JSON of the records read from outside: what the helper sends, what
// the command keeps in its settings and history files. Whatever decodes
// must encode and decode again to the same value.
#include <cstdlib>
#include <vector>

#include "core/AlertSettings.h"
#include "core/AlertState.h"
#include "core/AppIdentity.h"
#include "core/DecodingError.h"
#include "core/JsonCoding.h"
#include "core/ListeningPort.h"
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
    switch (data[0] % 7) {
        case 0: roundTrip<std::vector<orv::ProcessReading>>(text); break;
        case 1: roundTrip<orv::NetworkBytesByPID>(text); break;
        case 2: roundTrip<orv::Snapshot>(text); break;
        case 3: roundTrip<std::vector<orv::ListeningPort>>(text); break;
        case 4: roundTrip<orv::AppIdentity>(text); break;
        case 5: roundTrip<orv::AlertSettings>(text); break;
        default: roundTrip<orv::AlertState>(text); break;
    }
    return 0;
}
