#include "Sampling/FanReader.h"

namespace orv {

// No fan source on macOS yet (the SMC keys are undocumented); the sensor
// record carries an empty list.
std::vector<FanReading> FanReader::readings() { return {}; }

}  // namespace orv
