#pragma once

#include <boost/json/object.hpp>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/CPUStats.h"
#include "core/DiskStats.h"
#include "core/Duration.h"
#include "core/MemoryStats.h"
#include "core/NetworkStats.h"

namespace orv::cli {

// One part of `orvantine system`: a sampler read twice an interval apart,
// printed as text under its heading and written to JSON under its key.
// A part whose sampler fails is reported on the error stream and left out.
struct SystemSection {
    std::string key;                                   // the JSON key: "cpu", "memory", …
    std::function<void()> first;                       // the first read (a baseline for rates)
    std::function<void()> second;                      // the read that is reported
    std::function<void(std::ostream&)> print;          // the text form of the second read
    std::function<void(boost::json::object&)> json;    // adds the record under `key`
};

// The sections in the order they are printed; further sections (battery,
// GPU, sensors) append theirs here.
std::vector<SystemSection> makeSystemSections();

struct SystemOptions {
    Duration interval = Duration::seconds(1);
    bool json = false;
};

// Runs the sections' reads on the sampling executor, `interval` apart, and
// prints them; returns the exit status (1 when every section failed).
int runSystem(std::vector<SystemSection>& sections, const SystemOptions& options, std::ostream& out,
              std::ostream& errors);

// The text forms of the four records, one function per section.
void printCPU(const CPUStats& stats, std::ostream& out);
void printMemory(const MemoryStats& stats, std::ostream& out);
void printDisk(const DiskStats& stats, std::ostream& out);
void printNetwork(const NetworkStats& stats, std::ostream& out);

}  // namespace orv::cli
