#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-journal.h>

namespace orv {

// libsystemd's journal and bus calls, opened with dlopen the first time a
// journal or a bus is there to talk to. Linked, the library and the six it
// brings (gcrypt, zstd, lzma, lz4, gpg-error, cap) cost every run of the
// command about 1.2 MB resident and a seventh of its start-up relocations,
// though a one-shot run or a live view on a machine without journald uses
// none of it. Call through the members, parenthesised where the header
// defines a macro of the same name: `(systemd->sd_journal_send)(…)`.
struct SystemdLibrary {
    decltype(&::sd_journal_send) sd_journal_send = nullptr;
    decltype(&::sd_bus_open_system) sd_bus_open_system = nullptr;
    decltype(&::sd_bus_open_user) sd_bus_open_user = nullptr;
    decltype(&::sd_bus_new) sd_bus_new = nullptr;
    decltype(&::sd_bus_set_address) sd_bus_set_address = nullptr;
    decltype(&::sd_bus_set_bus_client) sd_bus_set_bus_client = nullptr;
    decltype(&::sd_bus_start) sd_bus_start = nullptr;
    decltype(&::sd_bus_unref) sd_bus_unref = nullptr;
    decltype(&::sd_bus_flush_close_unref) sd_bus_flush_close_unref = nullptr;
    decltype(&::sd_bus_call) sd_bus_call = nullptr;
    decltype(&::sd_bus_call_method) sd_bus_call_method = nullptr;
    decltype(&::sd_bus_error_free) sd_bus_error_free = nullptr;
    decltype(&::sd_bus_message_new_method_call) sd_bus_message_new_method_call = nullptr;
    decltype(&::sd_bus_message_unref) sd_bus_message_unref = nullptr;
    decltype(&::sd_bus_message_read) sd_bus_message_read = nullptr;
    decltype(&::sd_bus_message_read_basic) sd_bus_message_read_basic = nullptr;
    decltype(&::sd_bus_message_peek_type) sd_bus_message_peek_type = nullptr;
    decltype(&::sd_bus_message_skip) sd_bus_message_skip = nullptr;
    decltype(&::sd_bus_message_enter_container) sd_bus_message_enter_container = nullptr;
    decltype(&::sd_bus_message_exit_container) sd_bus_message_exit_container = nullptr;

    // The library with every member set, loaded once (thread-safe); null
    // when libsystemd.so.0 or one of the calls is missing.
    static const SystemdLibrary* shared();
};

}  // namespace orv
