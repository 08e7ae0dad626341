#include "PrivateAPIs/NetworkStatisticsMonitor.h"

#include <dlfcn.h>
#include <signal.h>

#include <cerrno>
#include <semaphore>

#include "core/Logger.h"

namespace orv {

namespace {

const Logger& log() {
    static const Logger logger("app.orvantine.privateapis", "nstat");
    return logger;
}

// A counts or description dictionary, read whichever callback brought it.
SourceUpdate readUpdate(const NetworkStatisticsMonitor::Functions& functions,
                        NetworkStatisticsMonitor::Dictionary dictionary, bool isDescription) {
    SourceUpdate update;
    update.isDescription = isDescription;
    const auto& keys = functions.keys;
    if (auto value = functions.readValue(dictionary, keys.pid)) update.pid = int32_t(uint32_t(uint64_t(*value)));
    if (auto value = functions.readValue(dictionary, keys.uniquePID)) update.uniquePID = uint64_t(*value);
    if (auto value = functions.readValue(dictionary, keys.rxBytes)) update.rxBytes = uint64_t(*value);
    if (auto value = functions.readValue(dictionary, keys.txBytes)) update.txBytes = uint64_t(*value);
    if (auto value = functions.readValue(dictionary, keys.loopback)) update.loopback = *value != 0;
    return update;
}

// Installs a new source's three callbacks. They hold the functions, the
// storage and the source's identity, never the monitor.
void installSourceCallbacks(const NetworkStatisticsMonitor::Functions& functions,
                            const std::shared_ptr<NetworkStatisticsMonitor::Storage>& storage,
                            NetworkStatisticsMonitor::SourceRef source) {
    if (source == 0) return;
    auto shared = std::make_shared<const NetworkStatisticsMonitor::Functions>(functions);
    auto onDictionary = [shared, storage, source](bool isDescription) {
        return [shared, storage, source, isDescription](NetworkStatisticsMonitor::Dictionary dictionary) {
            if (!dictionary) return;
            const SourceUpdate update = readUpdate(*shared, dictionary, isDescription);
            std::lock_guard lock(storage->lock);
            storage->ledger.merge(source, update);
        };
    };
    functions.setCountsBlock(source, onDictionary(false));
    functions.setDescriptionBlock(source, onDictionary(true));
    functions.setRemovedBlock(source, [storage, source] {
        std::lock_guard lock(storage->lock);
        storage->ledger.remove(source);
    });
}

int killZero(int32_t pid) { return ::kill(pid, 0) == 0 ? 0 : errno; }

}  // namespace

std::optional<NetworkStatisticsMonitor::Symbols> NetworkStatisticsMonitor::resolveSymbols(const SymbolLookup& lookup) {
    void* handle = lookup.open(frameworkPath);
    if (!handle) {
        log().notice("NetworkStatistics.framework unavailable; per-app network rates off");
        return std::nullopt;
    }
    Symbols symbols{};
    for (size_t i = 0; i < symbolNames.size(); ++i) {
        symbols[i] = lookup.symbol(handle, symbolNames[i]);
        if (!symbols[i]) {
            log().notice("NetworkStatistics symbols missing; per-app network rates off");
            return std::nullopt;
        }
    }
    return symbols;
}

const std::optional<NetworkStatisticsMonitor::Functions>& NetworkStatisticsMonitor::sharedFunctions() {
    // Resolved under the process's one-time initialisation, read-only after.
    static const std::optional<Functions> shared = [] {
        SymbolLookup lookup{[](const char* path) { return dlopen(path, RTLD_LAZY | RTLD_LOCAL); },
                            [](void* handle, const char* name) { return dlsym(handle, name); }};
        auto symbols = resolveSymbols(lookup);
        return symbols ? functionsFrom(*symbols) : std::nullopt;
    }();
    return shared;
}

void NetworkStatisticsMonitor::Once::resume() {
    std::function<void()> taken;
    {
        std::lock_guard guard(lock);
        taken.swap(continuation);
    }
    if (taken) taken();
}

NetworkStatisticsMonitor::NetworkStatisticsMonitor() : NetworkStatisticsMonitor(sharedFunctions()) {}

NetworkStatisticsMonitor::NetworkStatisticsMonitor(std::optional<Functions> functions,
                                                   std::function<int(int32_t)> signalZero)
    : queue_(std::make_unique<SerialQueue>("app.orvantine.privateapis.nstat")),
      storage_(std::make_shared<Storage>()),
      signalZero_(signalZero ? std::move(signalZero) : killZero) {
    if (!functions) return;
    ManagerRef manager = functions->create(*queue_, [functions = *functions, storage = storage_](SourceRef source) {
        installSourceCallbacks(functions, storage, source);
    });
    if (manager == 0) {
        log().notice("NStatManagerCreate returned nil; per-app network rates off");
        return;
    }
    manager_ = manager;
    functions_ = std::move(functions);
    functions_->addAllTCP(manager_);
    functions_->addAllUDP(manager_);
}

NetworkStatisticsMonitor::~NetworkStatisticsMonitor() {
    if (functions_ && manager_ != 0) functions_->destroy(manager_);
    queue_.reset();
}

bool NetworkStatisticsMonitor::chooseUpdateQuery() {
    std::lock_guard lock(storage_->lock);
    return storage_->ledger.needsDescriptions();
}

NetworkBytesByPID NetworkStatisticsMonitor::pruneAndTotal() {
    std::lock_guard lock(storage_->lock);
    storage_->ledger.prune(signalZero_);
    return storage_->ledger.totals();
}

void NetworkStatisticsMonitor::cumulativeBytes(Completion completion) {
    if (!functions_ || manager_ == 0) {
        completion(std::nullopt);
        return;
    }
    auto once = std::make_shared<Once>();
    once->continuation = [storage = storage_, signalZero = signalZero_, completion = std::move(completion)] {
        NetworkBytesByPID totals;
        {
            std::lock_guard lock(storage->lock);
            storage->ledger.prune(signalZero);
            totals = storage->ledger.totals();
        }
        completion(std::move(totals));
    };
    auto timer = queue_->after(queryTimeout, [once] { once->resume(); });
    const auto& query = chooseUpdateQuery() ? functions_->queryUpdate : functions_->queryCounts;
    query(manager_, [timer, once] {
        timer->cancel();
        once->resume();
    });
}

std::optional<NetworkBytesByPID> NetworkStatisticsMonitor::cumulativeBytesBlocking() {
    if (!functions_ || manager_ == 0) return std::nullopt;
    auto answered = std::make_shared<std::binary_semaphore>(0);
    const auto& query = chooseUpdateQuery() ? functions_->queryUpdate : functions_->queryCounts;
    query(manager_, [answered] { answered->release(); });
    if (!answered->try_acquire_for(queryTimeout)) {
        log().notice("NetworkStatistics query timed out; using the last counts");
    }
    return pruneAndTotal();
}

NetworkStatisticsLedger NetworkStatisticsMonitor::ledger() const {
    std::lock_guard lock(storage_->lock);
    return storage_->ledger;
}

}  // namespace orv
