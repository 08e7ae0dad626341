// The decoder that reuses unchanged elements of the previous reply must say
// exactly what the plain decoder says of every reply, whatever came before:
// libFuzzer's bytes are split into successive replies at each 0xff byte.
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "core/ProcessReading.h"
#include "core/RecordArrayDecoder.h"
#include "fuzz/FuzzInput.h"

namespace {

template <class F>
std::optional<std::vector<orv::ProcessReading>> outcome(F decode, std::string& error) {
    try {
        return decode();
    } catch (const orv::json::DecodingError& e) {
        error = e.what();
        return std::nullopt;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto all = orv::fuzz::text(data, size);
    orv::json::RecordArrayDecoder<orv::ProcessReading> decoder;
    size_t start = 0;
    while (start <= all.size()) {
        size_t end = all.find('\xff', start);
        if (end == std::string_view::npos) end = all.size();
        std::string reply(all.substr(start, end - start));
        std::string ourError, plainError;
        auto ours = outcome([&] { return decoder.decode(reply); }, ourError);
        auto plain = outcome([&] { return orv::json::decode<std::vector<orv::ProcessReading>>(reply); }, plainError);
        if (ours != plain || ourError != plainError) std::abort();
        start = end + 1;
    }
    return 0;
}
