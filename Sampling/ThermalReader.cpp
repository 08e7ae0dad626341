#include "Sampling/ThermalReader.h"

namespace orv::ThermalReader {

ThermalPressure pressureFromState(int64_t state) {
    switch (state) {
        case 1: return ThermalPressure::fair;
        case 2: return ThermalPressure::serious;
        case 3: return ThermalPressure::critical;
        default: return ThermalPressure::nominal;
    }
}

}  // namespace orv::ThermalReader
