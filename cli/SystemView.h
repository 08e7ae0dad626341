#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "core/CPUStats.h"
#include "core/DiskStats.h"
#include "core/Duration.h"
#include "core/MemoryStats.h"
#include "core/NetworkStats.h"
#include "core/SystemSample.h"

namespace orv::cli {

class SamplingSession;

// One part of `orvantine system`: a reader read twice an interval apart,
// whose second read fills its field of the SystemSample, printed as text
// under its heading. A part whose reader fails is reported on the error
// stream and left out of the text; its field keeps the record's default
// (zero figures; an absent optional part), as in a snapshot.
struct SystemSection {
    std::string key;                                                  // names the part: "cpu", "memory", …
    std::function<void()> first;                                      // the first read (a baseline for rates)
    std::function<void(SystemSample&)> second;                        // the read that is reported
    std::function<void(const SystemSample&, std::ostream&)> print;    // the text form of that field
};

// What `orvantine system` reads: the sections in the order they are
// printed, and the uptime, which has no line of its own and cannot fail.
struct SystemReport {
    std::vector<SystemSection> sections;
    std::function<Duration()> uptime;
};

// The session's readers: CPU, memory, disk and network, then battery, GPU,
// thermal and sensors.
SystemReport makeSystemReport(SamplingSession& session);

struct SystemOptions {
    Duration interval = Duration::seconds(1);
    bool json = false;
};

// Runs the sections' reads on the sampling executor, `interval` apart, and
// prints them: as text, or as the SystemSample record's one JSON form.
// Returns the exit status: 1, with nothing printed, when every section
// failed.
int runSystem(SystemReport& report, const SystemOptions& options, std::ostream& out, std::ostream& errors);

// The text forms of the four records, one function per section.
void printCPU(const CPUStats& stats, std::ostream& out);
void printMemory(const MemoryStats& stats, std::ostream& out);
void printDisk(const DiskStats& stats, std::ostream& out);
void printNetwork(const NetworkStats& stats, std::ostream& out);

}  // namespace orv::cli
