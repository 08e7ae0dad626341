// `orvantine top` driven in a real terminal: tmux runs it in a pane of a
// known size, the test sends keys and reads the pane back.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/CommandRunner.h"

namespace orv::test {
namespace {

// The output of a shell command; pclose reaps it.
std::string shell(const std::string& command) {
    std::string out;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return out;
    std::array<char, 4096> buffer{};
    size_t got = 0;
    while ((got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) out.append(buffer.data(), got);
    ::pclose(pipe);
    return out;
}

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

size_t columns(const std::string& line) {
    size_t count = 0;
    for (unsigned char c : line) count += (c & 0xC0) != 0x80;
    return count;
}

// Whether `text` holds an SGR sequence that sets a colour (30–38, 40–48,
// 90–97, 100–107); attributes such as reverse video are not colour.
bool hasColourEscape(const std::string& text) {
    for (size_t i = text.find("\x1b["); i != std::string::npos; i = text.find("\x1b[", i + 1)) {
        size_t end = i + 2;
        while (end < text.size() && (isdigit(static_cast<unsigned char>(text[end])) || text[end] == ';')) ++end;
        if (end >= text.size() || text[end] != 'm') continue;
        std::istringstream params(text.substr(i + 2, end - i - 2));
        for (std::string p; std::getline(params, p, ';');) {
            if (p.empty()) continue;
            int code = std::stoi(p);
            if ((code >= 30 && code <= 38) || (code >= 40 && code <= 48) || (code >= 90 && code <= 97) ||
                (code >= 100 && code <= 107))
                return true;
        }
    }
    return false;
}

class TopLive : public OrvantineCommandTest {
protected:
    void SetUp() override {
        OrvantineCommandTest::SetUp();
        if (IsSkipped()) return;
        if (shell("command -v tmux").empty()) GTEST_SKIP() << "tmux is not installed";
        // A server of its own per test: a server still shutting down from
        // the test before would refuse the next one on the same socket.
        static int tests = 0;
        socket_ = "orvantine-top-test-" + std::to_string(::getpid()) + "-" + std::to_string(++tests);
    }
    void TearDown() override {
        if (!socket_.empty()) shell(tmux("kill-server") + " 2>/dev/null");
    }

    std::string tmux(const std::string& arguments) const { return "tmux -L " + socket_ + " " + arguments; }

    void start(size_t width, size_t height, const std::string& environment = "") {
        shell(tmux("new-session -d -s top -x " + std::to_string(width) + " -y " + std::to_string(height) + " \"" +
                   environment + " " + orvantineProgram().string() + " top --interval 0.5\""));
        ASSERT_TRUE(waitFor("every 0.5 s")) << capture();
    }

    std::string capture(bool escapes = false) const {
        return shell(tmux(std::string("capture-pane -p ") + (escapes ? "-e " : "") + "-t top"));
    }

    void keys(const std::string& keys) const { shell(tmux("send-keys -t top " + keys)); }

    // Polls the pane until it shows `text` (the view redraws every half second).
    bool waitFor(const std::string& text, bool present = true) const {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            if ((capture().find(text) != std::string::npos) == present) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }

    std::string socket_;
};

TEST_F(TopLive, KeysDriveSortFilterTreeAndDetail) {
    ASSERT_NO_FATAL_FAILURE(start(132, 45));
    keys("m");
    ASSERT_TRUE(waitFor("sort memory")) << capture();
    EXPECT_NE(capture().find("[MEM]"), std::string::npos);

    // A filter typed after / narrows the list to the matching processes.
    keys("/ o r v a n t i n e Enter");
    ASSERT_TRUE(waitFor("filter \"orvantine\"")) << capture();
    auto lines = splitLines(capture());
    size_t heading = 0;
    while (heading < lines.size() && lines[heading].find("NAME (") == std::string::npos) ++heading;
    ASSERT_LT(heading, lines.size()) << capture();
    size_t rows = 0;
    for (size_t i = heading + 1; i < lines.size(); ++i) {
        if (lines[i].empty() || lines[i].starts_with("filter")) continue;
        std::string row = lines[i];
        for (char& c : row) c = char(std::tolower(static_cast<unsigned char>(c)));
        EXPECT_NE(row.find("orvantine"), std::string::npos) << lines[i];  // the filter ignores case
        ++rows;
    }
    EXPECT_GE(rows, 1u);  // this test's own top at least

    // Escape clears it; t shows the tree, every process under pid 1.
    keys("Escape");
    ASSERT_TRUE(waitFor("filter \"", false)) << capture();
    keys("t");
    ASSERT_TRUE(waitFor("tree")) << capture();
    EXPECT_NE(capture().find("└ "), std::string::npos) << capture();

    // Enter opens the selected process's detail, with its path.
    keys("Enter");
    ASSERT_TRUE(waitFor("Path ")) << capture();
    EXPECT_NE(capture().find("(pid "), std::string::npos);
    EXPECT_NE(capture().find("Command  "), std::string::npos) << capture();
    keys("?");
    ASSERT_TRUE(waitFor("Keys")) << capture();
    keys("q");
}

TEST_F(TopLive, AResizeRedrawsAtTheNewWidth) {
    ASSERT_NO_FATAL_FAILURE(start(132, 40));
    ASSERT_TRUE(waitFor("ENERGY")) << capture();
    shell(tmux("resize-window -t top -x 70 -y 30"));
    ASSERT_TRUE(waitFor("ENERGY", false)) << capture();
    auto lines = splitLines(capture());
    EXPECT_EQ(lines.size(), 30u);
    for (const auto& line : lines) EXPECT_LE(columns(line), 70u) << line;
    EXPECT_NE(capture().find("PID"), std::string::npos);
    shell(tmux("resize-window -t top -x 132 -y 40"));
    ASSERT_TRUE(waitFor("ENERGY")) << capture();
}

TEST_F(TopLive, NoColorGivesNoColourEscapes) {
    ASSERT_NO_FATAL_FAILURE(start(132, 40, "NO_COLOR=1 TERM=xterm-256color"));
    ASSERT_TRUE(waitFor("Pressure")) << capture();
    std::string screen = capture(true);
    EXPECT_FALSE(hasColourEscape(screen)) << screen;
}

TEST_F(TopLive, AColourTerminalGetsColour) {
    ASSERT_NO_FATAL_FAILURE(start(132, 40, "TERM=xterm-256color"));
    ASSERT_TRUE(waitFor("Pressure")) << capture();
    EXPECT_TRUE(hasColourEscape(capture(true)));
}

}  // namespace
}  // namespace orv::test
