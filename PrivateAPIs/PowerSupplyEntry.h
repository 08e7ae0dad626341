#pragma once

#include <string>

#include "PrivateAPIs/AttributeText.h"

namespace orv {

// One folder of the Linux kernel's power_supply class (a battery, an
// adapter, a peripheral's cell): its name and attributes. Read by the
// battery sampler and by the peripheral-battery reader.
struct PowerSupplyEntry {
    std::string name;
    AttributeText::Attributes attributes;
};

}  // namespace orv
