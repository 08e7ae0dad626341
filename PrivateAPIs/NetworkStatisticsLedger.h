#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>

#include "core/NetworkByteCounts.h"

namespace orv {

// What one counts or description callback of a socket source carries.
struct SourceUpdate {
    std::optional<int32_t> pid;
    std::optional<uint64_t> uniquePID;
    std::optional<uint64_t> rxBytes;
    std::optional<uint64_t> txBytes;
    std::optional<bool> loopback;
    bool isDescription = false;

    friend bool operator==(const SourceUpdate&, const SourceUpdate&) = default;
};

// The bytes of every socket source the accounting has seen, and of the
// closed ones by process. Kept under its owner's lock; every operation is
// one short step.
struct NetworkStatisticsLedger {
    struct Source {
        int32_t pid = 0;          // 0 until a description names it
        uint64_t uniquePID = 0;   // never reused, unlike the pid; 0 until known
        uint64_t rx = 0;
        uint64_t tx = 0;
        bool loopback = false;
        bool described = false;

        friend bool operator==(const Source&, const Source&) = default;
    };
    struct Closed {
        uint64_t uniquePID = 0;
        uint64_t rx = 0;
        uint64_t tx = 0;

        friend bool operator==(const Closed&, const Closed&) = default;
    };

    std::unordered_map<uintptr_t, Source> sources;
    std::unordered_map<int32_t, Closed> closed;

    // Merges a callback's values into the source: a pid only when positive,
    // counts never backwards. A description that shows a pid now held by
    // another process drops the bytes the earlier one left in `closed`.
    void merge(uintptr_t identity, const SourceUpdate& update);
    // Moves a removed source's bytes into `closed` (not loopback, not empty,
    // with a known pid).
    void remove(uintptr_t identity);
    // Whether a query should ask for descriptions too: some source has none
    // yet, or there are no sources at all.
    bool needsDescriptions() const;
    // Drops the `closed` entries of processes that are gone. `signalZero`
    // answers kill(pid, 0): 0 or the errno; only ESRCH means gone.
    void prune(const std::function<int(int32_t)>& signalZero);
    // Per-pid bytes of the live, described, non-loopback sources plus the
    // closed ones.
    NetworkBytesByPID totals() const;
};

}  // namespace orv
