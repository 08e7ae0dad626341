#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "PrivateAPIs/BluetoothBatteries.h"
#include "core/ContinuousClock.h"
#include "core/Duration.h"

namespace orv {

// The peripherals' battery readings for a command that samples for a long
// time (`top`, `record`): read on first use and again once a minute, since
// a level moves by a percent in tens of minutes and asking the devices is
// slow (a bus round trip on Linux, the Bluetooth framework on macOS). Read
// on the thread that asks, which on macOS must be the main thread.
class PeripheralBatteries {
public:
    using Reader = std::function<std::vector<BluetoothBatteries::Reading>()>;
    using Clock = std::function<ContinuousClock::Instant()>;

    static constexpr Duration refreshInterval = Duration::seconds(60);

    explicit PeripheralBatteries(Reader reader = &BluetoothBatteries::readings, Clock clock = ContinuousClock::now);

    // The readings, read afresh when none were read yet or the last read is
    // a minute old.
    std::vector<BluetoothBatteries::Reading> current();

private:
    std::mutex mutex_;
    Reader reader_;
    Clock clock_;
    std::optional<ContinuousClock::Instant> readAt_;
    std::vector<BluetoothBatteries::Reading> readings_;
};

}  // namespace orv
