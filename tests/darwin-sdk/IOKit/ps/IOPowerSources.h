// Declarations of the IOKit power-source interfaces this project calls
// (IOPowerSources.h in Apple's IOKit reference), for the macOS compile check.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

CFTypeRef IOPSCopyPowerSourcesInfo(void);
CFArrayRef IOPSCopyPowerSourcesList(CFTypeRef blob);
CFDictionaryRef IOPSGetPowerSourceDescription(CFTypeRef blob, CFTypeRef ps);

#ifdef __cplusplus
}
#endif
