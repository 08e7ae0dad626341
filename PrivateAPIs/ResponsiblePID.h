#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>

namespace orv {

// The process the system holds accountable for another (an app for its
// renderers and XPC services), through an undocumented libsystem function
// looked up at run time. Linux has no such function: lookups answer nothing
// and callers walk parent pids instead.
class ResponsiblePIDResolver {
public:
    using Function = int32_t (*)(int32_t);
    // Finds a symbol by name in the running program, or returns null.
    using SymbolLookup = std::function<void*(const char*)>;

    static constexpr const char* symbolName = "responsibility_get_pid_responsible_for_pid";

    explicit ResponsiblePIDResolver(SymbolLookup lookup = defaultSymbolLookup);

    std::optional<int32_t> lookup(int32_t pid);
    bool isAvailable();

    // dlopen(NULL, RTLD_NOW) then dlsym; the handle is never closed.
    static void* defaultSymbolLookup(const char* name);

private:
    Function resolve();

    SymbolLookup symbolLookup_;
    std::once_flag once_;
    Function function_ = nullptr;
};

// The process-wide resolver, resolved once on first use.
namespace ResponsiblePID {
std::optional<int32_t> lookup(int32_t pid);
bool isAvailable();
}  // namespace ResponsiblePID

}  // namespace orv
