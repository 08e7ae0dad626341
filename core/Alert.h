#pragma once

#include <boost/describe/class.hpp>
#include <string>

#include "core/AlertRule.h"
#include "core/AppIdentity.h"
#include "core/Date.h"
#include "core/RecordHash.h"
#include "core/UUID.h"

namespace orv {

// One raised alert, with the text of its notification.
struct Alert {
    UUID id;  // random, one per alert
    AlertRule rule = AlertRule::highCPU;
    AppIdentity app;
    Date firedAt;
    std::string title;
    std::string body;

    friend bool operator==(const Alert&, const Alert&) = default;
};
BOOST_DESCRIBE_STRUCT(Alert, (), (id, rule, app, firedAt, title, body))

}  // namespace orv
