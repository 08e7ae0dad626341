#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Sampling/ProcessTablePort.h"

namespace orv::test {

// A process table held in memory; tests set rows, paths and usage answers
// and then inspect which calls the sampler made.
class FakeProcessTablePort : public ProcessTablePort {
public:
    struct Process {
        ProcessTableRow row;
        std::optional<std::string> path;
        ProcessOutcome answer = ProcessOutcome::complete;
        ProcessUsage usage;
    };

    std::vector<Process> processes;
    size_t nameLimit = 16;
    // What the sampler asked.
    std::vector<int32_t> pathLookups;
    std::vector<std::pair<int32_t, bool>> usageCalls;  // pid, refusedBefore
    size_t passesFinished = 0;
    size_t usageCallsWhenFinished = 0;

    static Process process(int32_t pid, uint64_t start, std::string_view command) {
        Process p;
        p.row.pid = pid;
        p.row.parentPID = 1;
        p.row.uid = 501;
        p.row.startStamp = start;
        p.row.start = Date{double(start)};
        p.row.setCommandName(command);
        p.usage.cpuTime = Duration::milliseconds(int64_t(pid));
        p.usage.footprintBytes = 4096;
        p.usage.diskReadBytes = 1;
        p.usage.diskWriteBytes = 2;
        p.usage.energyNJ = 3;
        p.usage.wakeups = 4;
        return p;
    }

    std::span<const ProcessTableRow> readTable() override {
        rows_.clear();
        for (size_t i = 0; i < processes.size(); ++i) {
            rows_.push_back(processes[i].row);
            rows_.back().slot = uint32_t(i);
        }
        return rows_;
    }

    std::optional<std::string> executablePath(const ProcessTableRow& row) override {
        pathLookups.push_back(row.pid);
        return processes[row.slot].path;
    }

    UsageResult readUsage(const ProcessTableRow& row, bool refusedBefore) override {
        usageCalls.emplace_back(row.pid, refusedBefore);
        const auto& p = processes[row.slot];
        if (refusedBefore) return {.usage = {}, .outcome = ProcessOutcome::refused};
        if (p.answer == ProcessOutcome::complete) return {.usage = p.usage, .outcome = p.answer};
        return {.usage = {}, .outcome = p.answer};
    }

    size_t truncatedNameLength() const override { return nameLimit; }

    void finishPass() override {
        ++passesFinished;
        usageCallsWhenFinished = usageCalls.size();
        rows_.clear();
    }

private:
    std::vector<ProcessTableRow> rows_;
};

}  // namespace orv::test
