// The helper's frames as either end reads them: requests (with the method
// they name) and replies.
#include "HelperProtocol/HelperFrame.h"
#include "HelperProtocol/Methods.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = orv::fuzz::text(data, size);
    auto parsed = orv::HelperFrame::parse(text, orv::HelperFrame::maxRequestBytes);
    if (parsed.status == orv::HelperFrame::Parsed::Status::complete) {
        (void)orv::HelperProtocol::method(parsed.payload);
    }
    (void)orv::HelperFrame::readReply(text);
    if (size >= orv::HelperFrame::headerSize) {
        (void)orv::HelperFrame::announcedLength(text.substr(0, orv::HelperFrame::headerSize));
    }
    return 0;
}
