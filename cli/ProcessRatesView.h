#pragma once

#include <iosfwd>
#include <vector>

#include "core/Duration.h"
#include "core/ProcessSample.h"
#include "core/ProcessSource.h"

namespace orv::cli {

struct ProcessRatesOptions {
    Duration interval = Duration::seconds(1);
    bool json = false;
};

// Two passes of `source`, `interval` apart, turned into one sample per
// process of the second pass and sorted by CPU share, busiest first.
std::vector<ProcessSample> measureProcessRates(ProcessSource& source, Duration interval);

// Busiest first; equal shares by pid so that the listing is stable.
void sortByCPUShare(std::vector<ProcessSample>& samples);

// The table (or, with `json`, the records' wire JSON on one line).
void printProcessRates(const std::vector<ProcessSample>& samples, bool json, std::ostream& out);

// What `orvantine processes --rates` does; returns the exit status.
int runProcessRates(ProcessSource& source, const ProcessRatesOptions& options, std::ostream& out);

}  // namespace orv::cli
