#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// One process that produces sound, with the app's volume and routing.
struct AudioClient {
    int32_t pid = 0;
    std::string app;  // AppIdentity::id of the owning app
    double volume = 1;
    bool isMuted = false;
    // The output device it is routed to; absent means the default device.
    std::optional<std::string> outputDeviceUID;
    std::string settingsKey;  // where its AudioAppSetting is kept
    // Its audio cannot be controlled until the user grants a permission.
    bool needsPermission = false;

    friend bool operator==(const AudioClient&, const AudioClient&) = default;
};
BOOST_DESCRIBE_STRUCT(AudioClient, (), (pid, app, volume, isMuted, outputDeviceUID, settingsKey, needsPermission))

}  // namespace orv
