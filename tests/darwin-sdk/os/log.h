// Declarations of the unified-log API we call, for the macOS compile check
// only (see ../README.md). The SDK's os_log_with_type is a macro built on
// compiler support for os_log format strings; here it is a plain call.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct os_log_s* os_log_t;
typedef uint8_t os_log_type_t;
enum {
    OS_LOG_TYPE_DEFAULT = 0x00,
    OS_LOG_TYPE_INFO = 0x01,
    OS_LOG_TYPE_DEBUG = 0x02,
    OS_LOG_TYPE_ERROR = 0x10,
    OS_LOG_TYPE_FAULT = 0x11,
};

os_log_t os_log_create(const char* subsystem, const char* category);
// What the SDK's macro calls, in libSystem, so that the link check links it.
void _os_log_impl(void* dso, os_log_t log, os_log_type_t type, const char* format, uint8_t* buf, uint32_t size);
static inline void orvantine_check_os_log(os_log_t log, os_log_type_t type, const char* format, ...) {
    _os_log_impl(0, log, type, format, 0, 0);
}

#define os_log_with_type(log, type, format, ...) orvantine_check_os_log((log), (type), (format), __VA_ARGS__)

#ifdef __cplusplus
}
#endif
