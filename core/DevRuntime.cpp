#include "core/DevRuntime.h"

#include <boost/describe/enumerators.hpp>
#include <boost/mp11/algorithm.hpp>

namespace orv {

std::optional<DevRuntime> devRuntimeFromRawValue(std::string_view raw) {
    std::optional<DevRuntime> found;
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<DevRuntime>>([&](auto e) {
        if (!found && raw == e.name) found = e.value;
    });
    return found;
}

std::string_view rawValue(DevRuntime runtime) {
    std::string_view name = "other";
    boost::mp11::mp_for_each<boost::describe::describe_enumerators<DevRuntime>>([&](auto e) {
        if (runtime == e.value) name = e.name;
    });
    return name;
}

}  // namespace orv
