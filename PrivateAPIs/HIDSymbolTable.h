#pragma once

#include <array>
#include <functional>
#include <mutex>

namespace orv {

// The IOHIDEventSystemClient functions, which no public header declares,
// found by name in the running program: all six or none. Resolved once;
// when any is missing the reader is off, with one log line.
class HIDSymbolTable {
public:
    using SymbolLookup = std::function<void*(const char*)>;
    using Symbols = std::array<void*, 6>;

    // In lookup order; a table's slots follow it.
    static constexpr std::array<const char*, 6> names{
        "IOHIDEventSystemClientCreate",   "IOHIDEventSystemClientSetMatching", "IOHIDEventSystemClientCopyServices",
        "IOHIDServiceClientCopyProperty", "IOHIDServiceClientCopyEvent",       "IOHIDEventGetFloatValue"};
    static constexpr const char* unavailableMessage = "HID temperature symbols unavailable";

    explicit HIDSymbolTable(SymbolLookup lookup = defaultSymbolLookup);

    // The six addresses, or null when any is missing.
    const Symbols* symbols();

    // dlopen(NULL, RTLD_NOW) then dlsym; the handle is never closed.
    static void* defaultSymbolLookup(const char* name);

    // The process-wide table.
    static HIDSymbolTable& shared();

private:
    SymbolLookup lookup_;
    std::once_flag once_;
    Symbols symbols_{};
    bool complete_ = false;
};

}  // namespace orv
