#pragma once

#include <boost/describe/class.hpp>
#include <optional>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// The audio setting the user keeps for one app; a settings record, so its
// fields are changed in place.
struct AudioAppSetting {
    double volume = 1;
    bool isMuted = false;
    std::optional<std::string> outputDeviceUID;  // absent: the default device

    friend bool operator==(const AudioAppSetting&, const AudioAppSetting&) = default;
};
BOOST_DESCRIBE_STRUCT(AudioAppSetting, (), (volume, isMuted, outputDeviceUID))

}  // namespace orv
