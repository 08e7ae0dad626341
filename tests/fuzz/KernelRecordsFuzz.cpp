// macOS's fixed-layout records read on every host: process-table rows,
// rusage_info_v6, sysctl answers and the process arguments; the first
// byte picks which.
#include "Sampling/KinfoProcTable.h"
#include "Sampling/ProcArgs2.h"
#include "Sampling/RusageInfo.h"
#include "Sampling/SysctlDecoding.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const auto record = orv::fuzz::bytes(data + 1, size - 1);
    switch (data[0] % 6) {
        case 0: (void)orv::KinfoProc::decode(record); break;
        // Intel's timebase or Apple silicon's, by the first byte's top bit.
        case 1: {
            const auto timebase = data[0] & 0x80 ? orv::MachTimebase::fromRaw(125, 3) : orv::MachTimebase::fromRaw(1, 1);
            (void)orv::RusageInfoV6::decode(record, timebase);
            break;
        }
        case 2: (void)orv::SysctlUInt64::decode(record); break;
        case 3: (void)orv::SysctlString::decode(record); break;
        case 4: (void)orv::SwapUsage::decode(record); break;
        default: (void)orv::ProcArgs2::decode(record); break;
    }
    return 0;
}
