// proc/<pid>/stat, statm, io, schedstat and /proc/loadavg.
#include "Sampling/ProcFiles.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = orv::fuzz::text(data, size);
    (void)orv::ProcStat::decode(text);
    (void)orv::ProcStatm::decode(text);
    (void)orv::ProcIO::decode(text);
    (void)orv::ProcSchedstat::decode(text);
    (void)orv::ProcLoadavg::decode(text);
    return 0;
}
