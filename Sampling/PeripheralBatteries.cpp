#include "Sampling/PeripheralBatteries.h"

namespace orv {

PeripheralBatteries::PeripheralBatteries(Reader reader, Clock clock)
    : reader_(std::move(reader)), clock_(std::move(clock)) {}

std::vector<BluetoothBatteries::Reading> PeripheralBatteries::current() {
    std::lock_guard lock(mutex_);
    auto now = clock_();
    if (!readAt_ || now - *readAt_ >= refreshInterval) {
        readings_ = reader_();
        readAt_ = now;
    }
    return readings_;
}

}  // namespace orv
