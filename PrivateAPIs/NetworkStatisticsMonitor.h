#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "PrivateAPIs/NetworkStatisticsLedger.h"
#include "PrivateAPIs/SerialQueue.h"
#include "core/NetworkByteCounts.h"

namespace orv {

// Cumulative per-process network bytes, received and sent, from the
// moment the monitor starts watching, closed sockets included and loopback
// left out. On macOS the private NetworkStatistics framework reports every
// TCP and UDP socket as a "source" with counts and a description (its pid);
// elsewhere a table of the same operations stands in for it. A monitor
// without its framework is unavailable and answers every query with
// absence, never with an empty map.
class NetworkStatisticsMonitor {
public:
    using ManagerRef = uintptr_t;
    using SourceRef = uintptr_t;
    using Dictionary = const void*;  // a CFDictionaryRef on macOS

    // The dictionary keys of a source's callbacks (CFStrings on macOS).
    struct Keys {
        const void* pid = nullptr;
        const void* uniquePID = nullptr;
        const void* rxBytes = nullptr;
        const void* txBytes = nullptr;
        const void* loopback = nullptr;
    };

    // The framework's entry points, resolved once per process. Each takes
    // and calls plain functions where the framework takes blocks; every
    // callback arrives on the queue given to `create`.
    struct Functions {
        std::function<ManagerRef(SerialQueue& queue, std::function<void(SourceRef)> sourceAdded)> create;
        std::function<void(ManagerRef)> destroy;
        std::function<void(ManagerRef)> addAllTCP;
        std::function<void(ManagerRef)> addAllUDP;
        std::function<void(ManagerRef, std::function<void()> completion)> queryCounts;
        std::function<void(ManagerRef, std::function<void()> completion)> queryUpdate;
        std::function<void(SourceRef, std::function<void(Dictionary)>)> setCountsBlock;
        std::function<void(SourceRef, std::function<void(Dictionary)>)> setDescriptionBlock;
        std::function<void(SourceRef, std::function<void()>)> setRemovedBlock;
        Keys keys;
        // A dictionary's value under a key as a signed 64-bit integer: a
        // boolean reads 1 or 0, a number its value; absent when missing,
        // of another type, or not convertible.
        std::function<std::optional<int64_t>(Dictionary, const void* key)> readValue;
    };

    // The ledger behind a lock, shared with every callback the monitor
    // installs, so a callback that runs after the monitor is gone still
    // has it.
    struct Storage {
        std::mutex lock;
        NetworkStatisticsLedger ledger;
    };

    // The pending answer of one `cumulativeBytes` call, resumed by whichever
    // of completion and time-out comes first; the later does nothing.
    struct Once {
        std::mutex lock;
        std::function<void()> continuation;
        void resume();
    };

    using Completion = std::function<void(std::optional<NetworkBytesByPID>)>;

    static constexpr std::chrono::milliseconds queryTimeout{250};

    static constexpr const char* frameworkPath =
        "/System/Library/PrivateFrameworks/NetworkStatistics.framework/NetworkStatistics";
    // The framework's symbols, in the order they are looked up: nine
    // functions, then five CFString variables.
    static constexpr std::array<const char*, 14> symbolNames = {
        "NStatManagerCreate",         "NStatManagerDestroy",
        "NStatManagerAddAllTCP",      "NStatManagerAddAllUDP",
        "NStatManagerQueryAllSources", "NStatManagerQueryAllSourcesUpdate",
        "NStatSourceSetCountsBlock",  "NStatSourceSetDescriptionBlock",
        "NStatSourceSetRemovedBlock", "kNStatSrcKeyPID",
        "kNStatSrcKeyUPID",           "kNStatSrcKeyRxBytes",
        "kNStatSrcKeyTxBytes",        "kNStatSrcKeyInterfaceTypeLoopback"};
    using Symbols = std::array<void*, symbolNames.size()>;
    struct SymbolLookup {
        std::function<void*(const char* path)> open;            // dlopen, RTLD_LAZY | RTLD_LOCAL
        std::function<void*(void* handle, const char* name)> symbol;  // dlsym
    };

    // Opens the framework and looks its symbols up in order, stopping at
    // the first missing one; absent, with one log line, when either fails.
    // The handle is never closed.
    static std::optional<Symbols> resolveSymbols(const SymbolLookup& lookup);
    // The functions behind resolved symbols (the key strings retained).
    static std::optional<Functions> functionsFrom(const Symbols& symbols);
    // The framework's functions, resolved once per process.
    static const std::optional<Functions>& sharedFunctions();

    // A monitor of the framework.
    NetworkStatisticsMonitor();
    // A monitor of `functions` (absent: unavailable). `signalZero` answers
    // kill(pid, 0) with 0 or the errno, for pruning.
    explicit NetworkStatisticsMonitor(std::optional<Functions> functions,
                                      std::function<int(int32_t)> signalZero = nullptr);
    ~NetworkStatisticsMonitor();
    NetworkStatisticsMonitor(const NetworkStatisticsMonitor&) = delete;
    NetworkStatisticsMonitor& operator=(const NetworkStatisticsMonitor&) = delete;

    bool isAvailable() const { return functions_.has_value(); }

    // Asks for fresh counts and calls `completion` with the per-pid totals
    // once the framework answered or 250 ms passed, whichever is first (a
    // late answer still updates the ledger); at once with absence when
    // unavailable. The completion runs on the monitor's queue.
    void cumulativeBytes(Completion completion);
    // The same for a caller that may block its thread.
    std::optional<NetworkBytesByPID> cumulativeBytesBlocking();

    // The ledger as it stands (for tests and diagnostics).
    NetworkStatisticsLedger ledger() const;
    SerialQueue& queue() { return *queue_; }

private:
    void sourceAdded(SourceRef source);
    bool chooseUpdateQuery();
    NetworkBytesByPID pruneAndTotal();

    std::optional<Functions> functions_;
    ManagerRef manager_ = 0;
    std::unique_ptr<SerialQueue> queue_;
    std::shared_ptr<Storage> storage_;
    std::function<int(int32_t)> signalZero_;
};

}  // namespace orv
