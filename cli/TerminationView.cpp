#include "cli/TerminationView.h"

namespace orv::cli {

namespace {

std::string pidList(const std::vector<int32_t>& pids) {
    std::string text;
    for (auto pid : pids) text += (text.empty() ? "" : ", ") + std::to_string(pid);
    return text;
}

}  // namespace

std::string summarizeTermination(const TerminationReport& report) {
    std::string line;
    auto add = [&](const std::string& part) { line += (line.empty() ? "" : "; ") + part; };
    if (!report.result.terminated.empty()) add("Terminated: " + pidList(report.result.terminated));
    if (!report.result.survivors.empty()) add("still running: " + pidList(report.result.survivors));
    if (!report.refusals.empty()) add(report.refusals.front().message);
    if (report.containerMessage) add(*report.containerMessage);
    return line.empty() ? "Nothing was stopped" : line;
}

}  // namespace orv::cli
