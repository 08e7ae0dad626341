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
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>

#include <fmt/format.h>

#include "Sampling/DevServerPort.h"
#include "Sampling/ProcessTerminator.h"
#include "Sampling/SnapshotBuilder.h"
#include "cli/CommandLogSink.h"
#include "cli/Format.h"
#include "cli/ProcessHeap.h"
#include "cli/TerminationView.h"
#include "cli/CommandRegistry.h"
#include "cli/SamplingSession.h"
#include "cli/StrainTracker.h"
#include "cli/RecordingProcessSource.h"
#include "cli/TopFrame.h"
#include "cli/TopKey.h"
#include "cli/TopScreen.h"

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

TopLayout currentLayout(bool colour) {
    TopLayout layout;
    layout.colour = colour;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
        layout.width = size.ws_col;
        layout.height = size.ws_row;
    }
    return layout;
}

// What came from the keyboard until `deadline`: the keys, or the end of
// input. Nothing when the time is up or a signal (a resize) came first.
struct Input {
    std::vector<TopKey> keys;
    bool ended = false;
};

Input waitForKeys(std::chrono::steady_clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd input{STDIN_FILENO, POLLIN, 0};
    int ready = ::poll(&input, 1, int(std::max<int64_t>(left.count(), 0)));
    if (ready <= 0) return {};
    // An arrow's bytes arrive together; a whole paste is read at once.
    char bytes[64];
    ssize_t got = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN) || (input.revents & (POLLHUP | POLLERR))) {
        return {{}, true};
    }
    if (got < 0) return {};
    return {TopKey::decodeAll(std::string_view(bytes, size_t(got))), false};
}

// The line below the frame, for a question.
void drawStatus(const std::string& text, const TopLayout& layout) {
    std::string line = "\x1b[" + std::to_string(layout.height) + ";1H" + (layout.colour ? "\x1b[7m" : "") +
                       fitWidth(text, layout.width) + (layout.colour ? "\x1b[0m" : "") + "\x1b[K";
    writeAll(line.data(), line.size());
}

// The stop keys: `x` stops the selected process, `X` its app (every
// process of it), after asking: y quits it, f force quits it. Not q: a
// user leaving top by habit must not stop anything.
std::string stopFromTop(const Snapshot& snapshot, const ProcessSample* selected, bool wholeApp,
                        const TopLayout& layout) {
    if (!selected) return wholeApp ? "No app to stop" : "No process to stop";
    TerminationTarget target;
    std::string what;
    if (wholeApp) {
        termination::App app{selected->app, {}};
        std::string name = selected->app;
        for (const auto& a : snapshot.apps) {
            if (a.app.id == selected->app) name = a.app.name;
        }
        for (const auto& p : snapshot.processes) {
            if (p.app == app._0) app.pids.push_back(p.pid);
        }
        what = fmt::format("{} ({} processes)", name, app.pids.size());
        target = std::move(app);
    } else {
        what = fmt::format("{} (pid {})", selected->name, selected->pid);
        target = termination::Process{selected->pid};
    }
    drawStatus("Stop " + what + "? y quit, f force quit, any other key cancels", layout);
    Input answer;
    while (answer.keys.empty() && !answer.ended) {
        answer = waitForKeys(std::chrono::steady_clock::now() + std::chrono::hours(1));
    }
    if (answer.ended || answer.keys.front().kind != TopKey::Kind::character) return "Nothing was stopped";
    char key = answer.keys.front().character;
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
    TopState state;
    state.sort = sortForKey(options.sort.empty() ? 'c' : options.sort[0]).value_or(TopSort::cpu);
    const bool colour = TopScreen::usesColour(std::getenv("NO_COLOR"), std::getenv("TERM"), true);
    SamplingSession session({.helper = options.helper});
    // The readings pass through a recorder, which keeps each process's
    // parent, user and executable for the tree, the kernel threads and the
    // detail panel.
    auto recorder = std::make_shared<RecordingProcessSource>(session.processSource());
    auto parts = session.machineParts();
    parts.processes = recorder;
    SnapshotBuilder builder(std::move(parts));
    builder.setPeripherals(session.peripherals());
    auto interval = std::chrono::nanoseconds(std::llround(options.intervalSeconds * 1e9));

    // Log lines would land in the middle of the screen: they wait for the
    // terminal to be restored (the session ends before the log scope).
    CommandLogSink::Scope log;
    TerminalSession terminal;
    log.sink().hold(true);
    // The first pass is the baseline; until the second, the frame says so.
    Snapshot snapshot = builder.build();
    std::shared_ptr<const ProcessFactsByPID> facts = recorder->facts();
    TopHistory history;
    StrainTracker strainTracker;
    auto strain = strainTracker.observe(snapshot);
    TopScreen screen;
    TopLayout layout = currentLayout(colour);
    // The detail panel's command line, read when the panel opens on a
    // process (the arguments stay as they were at its start, mostly).
    std::unique_ptr<DevServerPort> detailsPort;
    std::optional<int32_t> argumentsPID;
    std::optional<std::vector<std::string>> arguments;
    auto redraw = [&] {
        if (state.detail) {
            auto rows = topRows(snapshot, *facts, state);
            auto pids = topRowPIDs(rows);
            std::optional<int32_t> pid;
            if (!pids.empty()) pid = pids[state.selectedIndex(pids)];
            if (pid != argumentsPID) {
                if (!detailsPort) detailsPort = session.devServerPort();
                arguments.reset();
                if (pid) {
                    if (auto details = detailsPort->details(*pid)) arguments = details->arguments;
                }
                argumentsPID = pid;
            }
        }
        auto bytes = screen.update(
            topFrame(snapshot, state, layout, {&history, facts.get(), strain, state.detail ? arguments : std::nullopt}),
            layout.width);
        writeAll(bytes.data(), bytes.size());
    };
    redraw();
    trimProcessHeap();
    auto next = std::chrono::steady_clock::now() + interval;
    bool quit = false;
    while (!quit) {
        Input input = waitForKeys(next);
        if (input.ended) break;
        if (resized.exchange(false)) {
            layout = currentLayout(colour);
            screen.invalidate();
            redraw();
        }
        bool changed = false;
        for (const TopKey& key : input.keys) {
            auto rows = topRows(snapshot, *facts, state);
            auto pids = topRowPIDs(rows);
            switch (state.press(key, pids, std::max<size_t>(layout.height / 2, 1))) {
                case TopAction::none: break;
                case TopAction::redraw: changed = true; break;
                case TopAction::quit: quit = true; break;
                case TopAction::stopProcess:
                case TopAction::stopApp: {
                    const ProcessSample* selected = rows.empty() ? nullptr : rows[state.selectedIndex(pids)].process;
                    state.message = stopFromTop(snapshot, selected, key.character == 'X', layout);
                    screen.invalidate();
                    changed = true;
                    break;
                }
            }
            if (quit) break;
        }
        if (quit) break;
        if (changed) redraw();
        if (std::chrono::steady_clock::now() >= next) {
            snapshot = builder.build();
            facts = recorder->facts();
            if (snapshot.interval != Duration::zero()) history.observe(snapshot.system);
            strain = strainTracker.observe(snapshot);
            redraw();
            trimProcessHeap();
            next += interval;
            if (std::chrono::steady_clock::now() > next) next = std::chrono::steady_clock::now() + interval;
        }
    }
    session.finish();
}

CommandRegistration registration(6, [](CLI::App& app) {
    auto options = std::make_shared<TopOptions>();
    auto* command = app.add_subcommand("top", "A live view of apps and processes with meters and sparklines; ? lists the keys, q quits");
    command->add_option("--interval", options->intervalSeconds, "Seconds between refreshes")
        ->default_val(1.0)
        ->check(secondsBetween(0.2, 3600.0));
    command->add_option("--sort", options->sort, "Order at start: cpu, memory, disk, network or energy")
        ->default_val("cpu")
        ->check(CLI::IsMember({"cpu", "memory", "disk", "network", "energy"}));
    command->add_flag("--helper", options->helper, "Read processes through the privileged helper when it answers");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
