#include "PrivateAPIs/ResponsiblePID.h"

#include <dlfcn.h>

#include "core/Logger.h"

namespace orv {

ResponsiblePIDResolver::ResponsiblePIDResolver(SymbolLookup lookup) : symbolLookup_(std::move(lookup)) {}

void* ResponsiblePIDResolver::defaultSymbolLookup(const char* name) {
    void* handle = dlopen(nullptr, RTLD_NOW);
    return handle == nullptr ? nullptr : dlsym(handle, name);
}

ResponsiblePIDResolver::Function ResponsiblePIDResolver::resolve() {
    std::call_once(once_, [this] {
        function_ = reinterpret_cast<Function>(symbolLookup_(symbolName));
        if (function_ == nullptr) {
            static const Logger logger("app.orvantine.privateapis", "responsibility");
            logger.notice("responsibility_get_pid_responsible_for_pid unavailable; using the ppid walk");
        }
    });
    return function_;
}

std::optional<int32_t> ResponsiblePIDResolver::lookup(int32_t pid) {
    Function function = resolve();
    if (function == nullptr) return std::nullopt;
    int32_t responsible = function(pid);
    if (responsible < 1) return std::nullopt;  // 0 is no answer, negative an error
    return responsible;
}

bool ResponsiblePIDResolver::isAvailable() { return resolve() != nullptr; }

namespace ResponsiblePID {

static ResponsiblePIDResolver& shared() {
    static auto* resolver = new ResponsiblePIDResolver();
    return *resolver;
}

std::optional<int32_t> lookup(int32_t pid) { return shared().lookup(pid); }
bool isAvailable() { return shared().isAvailable(); }

}  // namespace ResponsiblePID

}  // namespace orv
