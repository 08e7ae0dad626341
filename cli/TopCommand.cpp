// `orvantine top`: a live view of the machine's apps and processes, redrawn
// every interval, in the terminal's alternate screen. The terminal is put
// back as it was on every way out: q, the end of input, an error, or a
// terminating signal.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>

#include <fmt/format.h>

#include "Sampling/ProcessTerminator.h"
#include "cli/CommandLogSink.h"
#include "cli/Format.h"
#include "cli/TerminationView.h"
#include "cli/CommandRegistry.h"
#include "cli/SamplingSession.h"
#include "cli/StrainTracker.h"
#include "cli/TopFrame.h"

namespace orv::cli {

namespace {

// The terminal state to restore; read by the signal handler, so it is a
// plain object set once before any handler is installed.
termios savedTerminal{};
std::atomic<bool> terminalChanged{false};
std::atomic<bool> resized{false};

constexpr char enterScreen[] = "\x1b[?1049h\x1b[?25l";  // alternate screen, hidden cursor
constexpr char leaveScreen[] = "\x1b[?25h\x1b[?1049l";  // shown cursor, main screen

void writeAll(const char* bytes, size_t length) {
    while (length > 0) {
        ssize_t written = ::write(STDOUT_FILENO, bytes, length);
        if (written <= 0) {
            if (written < 0 && errno == EINTR) continue;
            return;
        }
        bytes += written;
        length -= size_t(written);
    }
}

// Async-signal-safe: write(2) and tcsetattr(3) only.
void restoreTerminal() {
    if (!terminalChanged.exchange(false)) return;
    writeAll(leaveScreen, sizeof leaveScreen - 1);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &savedTerminal);
}

void onTerminatingSignal(int signal) {
    restoreTerminal();
    // Die of the same signal, so that the shell sees how the program ended.
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

void onResize(int) { resized = true; }

class TerminalSession {
public:
    TerminalSession() {
        tcgetattr(STDIN_FILENO, &savedTerminal);
        termios raw = savedTerminal;
        // Keys arrive one at a time and unechoed; Ctrl-C still signals.
        raw.c_lflag &= ~tcflag_t(ICANON | ECHO);
        raw.c_cc[VMIN] = 0;
        raw.c_cc[VTIME] = 0;
        struct sigaction action{};
        action.sa_handler = onTerminatingSignal;
        sigemptyset(&action.sa_mask);
        for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaction(signal, &action, nullptr);
        struct sigaction resize{};
        resize.sa_handler = onResize;
        sigemptyset(&resize.sa_mask);
        sigaction(SIGWINCH, &resize, nullptr);
        terminalChanged = true;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw);
        writeAll(enterScreen, sizeof enterScreen - 1);
    }
    ~TerminalSession() { restoreTerminal(); }
    TerminalSession(const TerminalSession&) = delete;
    TerminalSession& operator=(const TerminalSession&) = delete;
};

TopLayout currentLayout(TopSort sort) {
    TopLayout layout;
    layout.sort = sort;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
        layout.width = size.ws_col;
        layout.height = size.ws_row;
    }
    return layout;
}

void draw(const Snapshot& snapshot, const TopLayout& layout, std::optional<StrainReason> strain) {
    std::string screen = "\x1b[H";  // home; each line clears its own rest
    auto lines = topFrame(snapshot, layout, strain);
    for (size_t i = 0; i < lines.size(); ++i) {
        screen += lines[i];
        screen += "\x1b[K";
        if (i + 1 < lines.size()) screen += "\r\n";
    }
    writeAll(screen.data(), screen.size());
}

// Waits for a key until `deadline`; returns 0 when none came, -1 at the end
// of input.
int waitForKey(std::chrono::steady_clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd input{STDIN_FILENO, POLLIN, 0};
    int ready = ::poll(&input, 1, int(std::max<int64_t>(left.count(), 0)));
    if (ready <= 0) return 0;  // time is up, or a signal (a resize) came
    char key = 0;
    ssize_t got = ::read(STDIN_FILENO, &key, 1);
    if (got == 0 || (input.revents & (POLLHUP | POLLERR))) return -1;
    return got == 1 ? static_cast<unsigned char>(key) : 0;
}

// The line below the frame: a question, or what the last stop achieved.
void drawStatus(const std::string& text, const TopLayout& layout) {
    std::string line = "\x1b[" + std::to_string(layout.height) + ";1H\x1b[7m" + fitWidth(text, layout.width) + "\x1b[0m\x1b[K";
    writeAll(line.data(), line.size());
}

// The stop keys: `x` stops the first process of the current order, `X` the
// first app (every process of it), after asking: y quits it, f force quits
// it. Not q: a user leaving top by habit must not stop anything.
std::string stopFromTop(const Snapshot& snapshot, TopSort sort, bool wholeApp, const TopLayout& layout) {
    TerminationTarget target;
    std::string what;
    if (wholeApp) {
        auto apps = snapshot.apps;
        sortApps(apps, sort);
        if (apps.empty()) return "No app to stop";
        termination::App app{apps.front().app.id, {}};
        for (const auto& p : snapshot.processes) {
            if (p.app == app._0) app.pids.push_back(p.pid);
        }
        what = fmt::format("{} ({} processes)", apps.front().app.name, app.pids.size());
        target = std::move(app);
    } else {
        auto processes = snapshot.processes;
        sortProcesses(processes, sort);
        if (processes.empty()) return "No process to stop";
        what = fmt::format("{} (pid {})", processes.front().name, processes.front().pid);
        target = termination::Process{processes.front().pid};
    }
    drawStatus("Stop " + what + "? y quit, f force quit, any other key cancels", layout);
    int key = 0;
    while (key == 0) key = waitForKey(std::chrono::steady_clock::now() + std::chrono::hours(1));
    if (key != 'y' && key != 'f') return "Nothing was stopped";
    const auto mode = key == 'f' ? TerminationMode::forceQuit : TerminationMode::quit;
    drawStatus(std::string(key == 'f' ? "Force quitting " : "Quitting ") + what + "…", layout);
    ProcessTerminator terminator(makeTerminationPort(), int32_t(getpid()), int32_t(getppid()));
    auto instances = terminator.resolve(target);
    return summarizeTermination(terminator.carryOut(ConfirmedTermination{target, mode, Date::now()}, instances));
}

struct TopOptions {
    double intervalSeconds = 1.0;
    std::string sort = "cpu";
    bool helper = false;
};

void run(const TopOptions& options) {
    if (!isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO)) {
        throw std::runtime_error("top needs a terminal; `orvantine snapshot` prints to pipes and files");
    }
    TopSort sort = sortForKey(options.sort.empty() ? 'c' : options.sort[0]).value_or(TopSort::cpu);
    SamplingSession session({.helper = options.helper});
    auto builder = session.snapshotBuilder();
    auto interval = std::chrono::nanoseconds(std::llround(options.intervalSeconds * 1e9));

    // Log lines would land in the middle of the screen: they wait for the
    // terminal to be restored (the session ends before the log scope).
    CommandLogSink::Scope log;
    TerminalSession terminal;
    log.sink().hold(true);
    // The first pass is the baseline; until the second, the frame says so.
    Snapshot snapshot = builder->build();
    StrainTracker strainTracker;
    auto strain = strainTracker.observe(snapshot);
    std::string status;  // what the last stop achieved, kept on the bottom line
    auto redraw = [&] {
        draw(snapshot, currentLayout(sort), strain);
        if (!status.empty()) drawStatus(status, currentLayout(sort));
    };
    redraw();
    auto next = std::chrono::steady_clock::now() + interval;
    while (true) {
        int key = waitForKey(next);
        if (key == 'q' || key == 'Q' || key == -1) break;
        if (key == 'x' || key == 'X') {
            status = stopFromTop(snapshot, sort, key == 'X', currentLayout(sort));
            redraw();
        } else if (auto chosen = sortForKey(char(key))) {
            sort = *chosen;
            redraw();
        } else if (resized.exchange(false)) {
            writeAll("\x1b[2J", 4);
            redraw();
        }
        if (std::chrono::steady_clock::now() >= next) {
            snapshot = builder->build();
            strain = strainTracker.observe(snapshot);
            redraw();
            next += interval;
            if (std::chrono::steady_clock::now() > next) next = std::chrono::steady_clock::now() + interval;
        }
    }
    session.finish();
}

CommandRegistration registration(6, [](CLI::App& app) {
    auto options = std::make_shared<TopOptions>();
    auto* command = app.add_subcommand("top", "A live view of apps and processes; c m d n e sort, x/X stop the first process/app, q quits");
    command->add_option("--interval", options->intervalSeconds, "Seconds between refreshes")
        ->default_val(1.0)
        ->check(secondsBetween(0.2, 3600.0));
    command->add_option("--sort", options->sort, "Order at start: cpu, memory, disk, network or energy")
        ->default_val("cpu")
        ->check(CLI::IsMember({"cpu", "memory", "disk", "energy"}));
    command->add_flag("--helper", options->helper, "Read processes through the privileged helper when it answers");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
