#include "PrivateAPIs/darwin/ObjCRuntime.h"
#include "Sampling/ThermalReader.h"

namespace orv {

ThermalPressure ThermalReader::currentPressure() {
    // NSProcessInfo.processInfo.thermalState (NSProcessInfoThermalState, an
    // NSInteger 0 to 3), through the runtime so that no Objective-C is compiled.
    static const bool loaded = objc::loadFramework("/System/Library/Frameworks/Foundation.framework/Foundation");
    if (!loaded) return ThermalPressure::nominal;
    objc::AutoreleasePool pool;
    id processInfoClass = objc::classNamed("NSProcessInfo");
    if (processInfoClass == nullptr) return ThermalPressure::nominal;
    id processInfo = objc::send<id>(processInfoClass, "processInfo");
    if (!objc::respondsTo(processInfo, "thermalState")) return ThermalPressure::nominal;
    return pressureFromState(objc::send<long>(processInfo, "thermalState"));
}

}  // namespace orv
