#pragma once

#include <boost/describe/class.hpp>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// One audio output device.
struct AudioOutputDevice {
    std::string uid;  // the device's persistent unique identifier
    std::string name;
    bool isDefault = false;  // the system's default output

    friend bool operator==(const AudioOutputDevice&, const AudioOutputDevice&) = default;
};
BOOST_DESCRIBE_STRUCT(AudioOutputDevice, (), (uid, name, isDefault))

}  // namespace orv
