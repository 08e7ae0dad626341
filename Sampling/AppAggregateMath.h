#pragma once

#include <vector>

#include "Sampling/ProcessMath.h"
#include "core/AppAggregate.h"
#include "core/ProcessSample.h"

namespace orv::AppAggregateMath {

// One aggregate per app id among `samples`, each the sum of its members.
// A member's identity is `identities[pid]`, else the "other" identity of
// its name, as ProcessMath assigned it. An optional figure of an aggregate
// is absent when every member lacks it and otherwise the sum over those
// that have it. Aggregates come in the order their first member appears.
std::vector<AppAggregate> aggregate(const std::vector<ProcessSample>& samples,
                                    const ProcessMath::IdentitiesByPID& identities);

// Busiest first; equal shares by larger memory, then by id (pid), so that
// a listing does not shuffle between frames.
void sortByCPUShare(std::vector<AppAggregate>& apps);
void sortByCPUShare(std::vector<ProcessSample>& processes);

}  // namespace orv::AppAggregateMath
