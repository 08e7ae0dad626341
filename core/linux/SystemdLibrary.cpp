#include "core/linux/SystemdLibrary.h"

#include <dlfcn.h>

namespace orv {

namespace {

template <typename Function>
bool bind(void* library, Function& slot, const char* name) {
    slot = reinterpret_cast<Function>(dlsym(library, name));
    return slot != nullptr;
}

}  // namespace

const SystemdLibrary* SystemdLibrary::shared() {
    static const SystemdLibrary* const loaded = []() -> const SystemdLibrary* {
        // Never closed: the calls stay valid for the life of the process.
        void* library = dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
        if (!library) return nullptr;
        static SystemdLibrary calls;
        bool complete = bind(library, calls.sd_journal_send, "sd_journal_send") &&
                        bind(library, calls.sd_bus_open_system, "sd_bus_open_system") &&
                        bind(library, calls.sd_bus_open_user, "sd_bus_open_user") &&
                        bind(library, calls.sd_bus_new, "sd_bus_new") &&
                        bind(library, calls.sd_bus_set_address, "sd_bus_set_address") &&
                        bind(library, calls.sd_bus_set_bus_client, "sd_bus_set_bus_client") &&
                        bind(library, calls.sd_bus_start, "sd_bus_start") &&
                        bind(library, calls.sd_bus_unref, "sd_bus_unref") &&
                        bind(library, calls.sd_bus_flush_close_unref, "sd_bus_flush_close_unref") &&
                        bind(library, calls.sd_bus_call, "sd_bus_call") &&
                        bind(library, calls.sd_bus_call_method, "sd_bus_call_method") &&
                        bind(library, calls.sd_bus_error_free, "sd_bus_error_free") &&
                        bind(library, calls.sd_bus_message_new_method_call, "sd_bus_message_new_method_call") &&
                        bind(library, calls.sd_bus_message_unref, "sd_bus_message_unref") &&
                        bind(library, calls.sd_bus_message_read, "sd_bus_message_read") &&
                        bind(library, calls.sd_bus_message_read_basic, "sd_bus_message_read_basic") &&
                        bind(library, calls.sd_bus_message_peek_type, "sd_bus_message_peek_type") &&
                        bind(library, calls.sd_bus_message_skip, "sd_bus_message_skip") &&
                        bind(library, calls.sd_bus_message_enter_container, "sd_bus_message_enter_container") &&
                        bind(library, calls.sd_bus_message_exit_container, "sd_bus_message_exit_container");
        return complete ? &calls : nullptr;
    }();
    return loaded;
}

}  // namespace orv
