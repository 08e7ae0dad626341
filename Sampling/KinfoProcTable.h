#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "Sampling/ProcessTablePort.h"

namespace orv {

// macOS's process table as sysctl {CTL_KERN, KERN_PROC, KERN_PROC_ALL, 0}
// returns it: an array of 648-byte `struct kinfo_proc` rows. The decoding is
// portable so that it is tested on every host with hand-built rows; the
// Darwin port checks these offsets against the real header at compile time.
struct KinfoProc {
    static constexpr size_t rowSize = 648;
    // kp_proc (struct extern_proc)
    static constexpr size_t startSeconds = 0;       // p_un.__p_starttime.tv_sec, int64
    static constexpr size_t startMicroseconds = 8;  // p_un.__p_starttime.tv_usec, int32
    static constexpr size_t state = 36;             // p_stat, char
    static constexpr size_t pid = 40;               // p_pid, int32
    static constexpr size_t command = 243;          // p_comm, char[MAXCOMLEN + 1]
    static constexpr size_t commandSize = 17;
    // kp_eproc (struct eproc)
    static constexpr size_t effectiveUID = 420;     // e_ucred.cr_uid, uint32
    static constexpr size_t parentPID = 560;        // e_ppid, int32

    static constexpr char zombieState = 5;          // SZOMB

    // One row; absent when `row` holds fewer than rowSize bytes.
    static std::optional<ProcessTableRow> decode(std::span<const uint8_t> row);
};

// The reusable buffer of table rows and its growth rule: on ENOMEM, ask for
// the size and grow to it plus 25 % and 16 spare rows, at most three times.
// It never shrinks, so a warm buffer needs one call per sample.
class KinfoProcTable {
public:
    // sysctl with the table's name: fills `buffer` (null asks for the size)
    // and updates `size`; returns 0 or the errno of the failure.
    using SysctlCall = std::function<int(void* buffer, size_t* size)>;

    // The number of valid rows now in `bytes()`, or 0 when the table could
    // not be read.
    size_t read(const SysctlCall& sysctl);

    std::span<const uint8_t> bytes() const { return buffer_; }
    size_t capacityRows() const { return buffer_.size() / KinfoProc::rowSize; }

private:
    std::vector<uint8_t> buffer_;
};

}  // namespace orv
