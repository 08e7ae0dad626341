// The live view's own cost at 1 Hz: `orvantine top --interval 1` in a
// detached tmux pane of 200 × 50, its CPU share (every thread, user +
// system) over the measured seconds read from its proc entry, beside btop at
// the same refresh in the same size of pane; and, in process, the cost of
// one frame alone (the rows, the frame and the changed lines) over a live
// snapshot. Beside the shares, each view's resident size over the measured
// seconds: the median and the largest of readings four times a second.
//
//   TopViewBench [--processes N]... [--seconds S] [--program PATH] [--no-btop]
//
// --processes N starts sleeping children until about N processes exist, and
// may be given more than once (default: 600 and 2000).
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Sampling/SnapshotBuilder.h"
#include "bench/BenchSupport.h"
#include "cli/TopFrame.h"
#include "cli/TopScreen.h"

using Clock = std::chrono::steady_clock;
using orv::bench::btopCost;
using orv::bench::liveProcessCount;
using orv::bench::median;
using orv::bench::processCPUSeconds;
using orv::bench::watchResident;
using orv::bench::run;
using orv::bench::startIdleChildren;
using orv::bench::stopChildren;
using orv::bench::ViewCost;

namespace {

// The share of one core `orvantine top` takes over `seconds`, after two
// seconds to start, and its resident size at the end.
ViewCost topCost(const std::string& program, int seconds) {
    std::string session = "orvtopbench" + std::to_string(getpid());
    run("tmux new-session -d -s " + session + " -x 200 -y 50 'exec env TERM=xterm-256color " + program +
        " top --interval 1' 2>/dev/null");
    std::this_thread::sleep_for(std::chrono::seconds(2));
    pid_t pid = pid_t(std::atoi(run("tmux list-panes -t " + session + " -F '#{pane_pid}' 2>/dev/null").c_str()));
    ViewCost cost;
    if (pid > 0) {
        double before = processCPUSeconds(pid);
        auto started = Clock::now();
        watchResident(pid, seconds, cost);
        double after = processCPUSeconds(pid);
        double wall = std::chrono::duration<double>(Clock::now() - started).count();
        if (before >= 0 && after >= 0) cost.share = (after - before) / wall * 100;
    }
    run("tmux kill-session -t " + session + " 2>/dev/null");
    return cost;
}

// Median microseconds of one frame over `snapshot`, drawn as the command
// draws it: every other frame in another order, so lines do change.
double frameMicroseconds(const orv::Snapshot& snapshot) {
    orv::cli::TopHistory history;
    for (int i = 0; i < 60; ++i) history.observe(snapshot.system);
    orv::cli::ProcessFactsByPID facts;
    orv::cli::TopScreen screen;
    orv::cli::TopState state;
    orv::cli::TopLayout layout{200, 50, true};
    std::vector<double> times;
    size_t bytes = 0;
    for (int i = 0; i < 40; ++i) {
        state.sort = i % 2 ? orv::cli::TopSort::memory : orv::cli::TopSort::cpu;
        auto t0 = Clock::now();
        auto lines = orv::cli::topFrame(snapshot, state, layout, {.history = &history, .facts = &facts});
        bytes += screen.update(lines, layout.width).size();
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
    }
    return median(times);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<size_t> sizes;
    int seconds = 15;
    bool btop = true;
    std::string program = (std::filesystem::path(argv[0]).parent_path().parent_path() / "cli" / "orvantine").string();
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--processes" && i + 1 < argc) sizes.push_back(size_t(std::atol(argv[++i])));
        else if (arg == "--seconds" && i + 1 < argc) seconds = std::atoi(argv[++i]);
        else if (arg == "--program" && i + 1 < argc) program = argv[++i];
        else if (arg == "--no-btop") btop = false;
        else {
            std::fprintf(stderr, "usage: %s [--processes N]... [--seconds S] [--program PATH] [--no-btop]\n", argv[0]);
            return 2;
        }
    }
    if (sizes.empty()) sizes = {600, 2000};
    if (run("command -v tmux").empty()) {
        std::fprintf(stderr, "tmux is needed to give the view a terminal\n");
        return 1;
    }

    std::printf("%-10s %10s %12s %10s %8s %10s %10s %10s %10s\n", "processes", "frame µs", "top %", "btop %", "ratio",
                "top MB", "btop MB", "top max", "btop max");
    for (size_t size : sizes) {
        size_t live = liveProcessCount();
        auto children = startIdleChildren(size > live ? size - live : 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        auto builder = std::make_unique<orv::SnapshotBuilder>(orv::SnapshotBuilder::machineParts());
        builder->build();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        auto snapshot = builder->build();
        builder.reset();
        double frame = frameMicroseconds(snapshot);
        ViewCost ours = topCost(program, seconds);
        ViewCost theirs = btop ? btopCost(seconds) : ViewCost{};
        double top = ours.share, other = theirs.share;
        auto megabytes = [](double bytes) { return bytes > 0 ? std::to_string(bytes / 1e6).substr(0, 4) : "-"; };
        std::printf("%-10zu %10.0f %12s %10s %8s %10s %10s %10s %10s\n", snapshot.processes.size(), frame,
                    top < 0 ? "failed" : std::to_string(top).substr(0, 5).c_str(),
                    other < 0 ? "-" : std::to_string(other).substr(0, 5).c_str(),
                    top > 0 && other > 0 ? std::to_string(top / other).substr(0, 4).c_str() : "-",
                    megabytes(ours.resident).c_str(), megabytes(theirs.resident).c_str(),
                    megabytes(ours.largestResident).c_str(), megabytes(theirs.largestResident).c_str());
        std::fflush(stdout);
        stopChildren(children);
    }
    std::printf("top %% and btop %%: CPU time over wall time as a share of one core, each at a one-second refresh in "
                "a 200 x 50 tmux pane, over %d s after a 2 s start; MB: median resident size (VmRSS, 10^6 bytes) read four "
                "times a second over the same seconds, max: the largest reading.\n",
                seconds);
    return 0;
}
