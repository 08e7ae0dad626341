#pragma once

#include <boost/describe/class.hpp>
#include <vector>

#include "core/AppActivityPoint.h"
#include "core/AppIdentity.h"
#include "core/RecordHash.h"

namespace orv {

// The recent samples of one app, oldest first.
struct AppActivityHistory {
    AppIdentity app;
    std::vector<AppActivityPoint> points;

    friend bool operator==(const AppActivityHistory&, const AppActivityHistory&) = default;
};
BOOST_DESCRIBE_STRUCT(AppActivityHistory, (), (app, points))

}  // namespace orv
