// The live view's keys: how bytes become keys and keys change the view.
#include <gtest/gtest.h>

#include "cli/RecordingProcessSource.h"
#include "cli/TopKey.h"
#include "cli/TopScreen.h"
#include "cli/TopState.h"

namespace orv::cli {
namespace {

using K = TopKey::Kind;

TEST(TopKey, TerminalBytesBecomeKeys) {
    auto keys = TopKey::decodeAll("a\x1b[A\x1b[B\x1bOA\x1b[5~\x1b[6~\x1b[H\x1b[F\r\x7f/");
    std::vector<TopKey> expected{TopKey::of('a'), {K::up, 0},     {K::down, 0}, {K::up, 0},        {K::pageUp, 0},
                                 {K::pageDown, 0}, {K::home, 0}, {K::end, 0},  {K::enter, 0},     {K::backspace, 0},
                                 TopKey::of('/')};
    EXPECT_EQ(keys, expected);
}

TEST(TopKey, ALoneEscapeIsEscapeAndUnknownSequencesAreDropped) {
    EXPECT_EQ(TopKey::decodeAll("\x1b"), (std::vector<TopKey>{{K::escape, 0}}));
    EXPECT_EQ(TopKey::decodeAll("\x1b\x1b[A"), (std::vector<TopKey>{{K::escape, 0}, {K::up, 0}}));
    EXPECT_EQ(TopKey::decodeAll("\x1b[15~q"), (std::vector<TopKey>{TopKey::of('q')}));  // F5, then q
    EXPECT_TRUE(TopKey::decodeAll("\x1b[1;5").empty());  // cut short
    EXPECT_TRUE(TopKey::decodeAll("").empty());
}

const std::vector<int32_t> rows{10, 20, 30, 40, 50};

TEST(TopState, ArrowsMoveTheSelectionWithinTheList) {
    TopState state;
    EXPECT_EQ(state.selectedIndex(rows), 0u);
    EXPECT_EQ(state.press({K::down, 0}, rows, 2), TopAction::redraw);
    EXPECT_EQ(state.selectedPID, 20);
    state.press({K::pageDown, 0}, rows, 2);
    EXPECT_EQ(state.selectedPID, 40);
    state.press({K::pageDown, 0}, rows, 2);
    EXPECT_EQ(state.selectedPID, 50);  // stops at the end
    state.press({K::down, 0}, rows, 2);
    EXPECT_EQ(state.selectedPID, 50);
    state.press({K::home, 0}, rows, 2);
    EXPECT_EQ(state.selectedPID, 10);
    state.press({K::up, 0}, rows, 2);
    EXPECT_EQ(state.selectedPID, 10);
    state.press({K::end, 0}, rows, 2);
    EXPECT_EQ(state.selectedPID, 50);
    EXPECT_EQ(state.press({K::down, 0}, {}, 2), TopAction::none);  // an empty list
}

TEST(TopState, TheSelectionFollowsItsProcessThroughANewOrder) {
    TopState state;
    state.selectedPID = 30;
    EXPECT_EQ(state.press(TopKey::of('m'), rows, 2), TopAction::redraw);
    EXPECT_EQ(state.sort, TopSort::memory);
    std::vector<int32_t> reordered{30, 50, 10};
    EXPECT_EQ(state.selectedIndex(reordered), 0u);
    state.press({K::down, 0}, reordered, 2);
    EXPECT_EQ(state.selectedPID, 50);
    // A selected process that is gone falls back to the first row.
    EXPECT_EQ(state.selectedIndex({10, 20}), 0u);
}

TEST(TopState, StopKeysAskForTheSelectedProcessOrItsApp) {
    TopState state;
    EXPECT_EQ(state.press(TopKey::of('x'), rows, 2), TopAction::stopProcess);
    EXPECT_EQ(state.press(TopKey::of('X'), rows, 2), TopAction::stopApp);
    EXPECT_EQ(state.press(TopKey::of('q'), rows, 2), TopAction::quit);
    EXPECT_EQ(state.press(TopKey::of('Z'), rows, 2), TopAction::none);
}

TEST(TopState, DetailAndStopPinTheRowOnScreen) {
    TopState state;
    EXPECT_EQ(state.press(TopKey::of('x'), rows, 2), TopAction::stopProcess);
    EXPECT_EQ(state.selectedPID, 10);  // the first row, kept through new orders
    state = TopState{};
    state.press({K::enter, 0}, rows, 2);
    EXPECT_EQ(state.selectedPID, 10);
    EXPECT_EQ(state.selectedIndex({30, 10}), 1u);
    state = TopState{};
    state.selectedPID = 40;
    state.press(TopKey::of('X'), rows, 2);
    EXPECT_EQ(state.selectedPID, 40);
    state = TopState{};
    state.press(TopKey::of('x'), {}, 2);
    EXPECT_FALSE(state.selectedPID);
}

TEST(TopState, ASlashTypesAFilterThatEnterKeepsAndEscapeClears) {
    TopState state;
    state.selectedPID = 30;
    state.press(TopKey::of('/'), rows, 2);
    EXPECT_TRUE(state.editingFilter);
    for (char c : std::string("bqx")) EXPECT_EQ(state.press(TopKey::of(c), rows, 2), TopAction::redraw);
    EXPECT_EQ(state.filter, "bqx");  // q and x are text while typing
    state.press({K::backspace, 0}, rows, 2);
    EXPECT_EQ(state.filter, "bq");
    EXPECT_FALSE(state.selectedPID);  // a new list starts at its top
    state.press({K::enter, 0}, rows, 2);
    EXPECT_FALSE(state.editingFilter);
    EXPECT_EQ(state.filter, "bq");
    EXPECT_FALSE(state.detail);  // Enter ended the typing, nothing more
    state.press(TopKey::of('/'), rows, 2);
    state.press({K::escape, 0}, rows, 2);
    EXPECT_FALSE(state.editingFilter);
    EXPECT_EQ(state.filter, "");
}

TEST(TopState, BackspaceRemovesAWholeCharacter) {
    TopState state;
    state.editingFilter = true;
    state.filter = "caf\xc3\xa9";  // café
    state.press({K::backspace, 0}, rows, 2);
    EXPECT_EQ(state.filter, "caf");
    state.filter.clear();
    EXPECT_EQ(state.press({K::backspace, 0}, rows, 2), TopAction::redraw);
    EXPECT_EQ(state.filter, "");
}

TEST(TopState, KeysToggleTreeKernelThreadsHelpAndDetail) {
    TopState state;
    state.press(TopKey::of('t'), rows, 2);
    EXPECT_TRUE(state.tree);
    state.press(TopKey::of('k'), rows, 2);
    EXPECT_TRUE(state.showKernelThreads);
    state.press(TopKey::of('?'), rows, 2);
    EXPECT_TRUE(state.help);
    state.press({K::enter, 0}, rows, 2);
    EXPECT_TRUE(state.detail);
    EXPECT_FALSE(state.help);
    state.press({K::escape, 0}, rows, 2);
    EXPECT_FALSE(state.detail);
    state.press(TopKey::of('t'), rows, 2);
    state.press(TopKey::of('k'), rows, 2);
    EXPECT_FALSE(state.tree);
    EXPECT_FALSE(state.showKernelThreads);
    EXPECT_EQ(state.press({K::escape, 0}, rows, 2), TopAction::none);
}

TEST(TopScreen, OnlyChangedLinesAreWritten) {
    TopScreen screen;
    auto first = screen.update({"one", "two", "three"}, 80);
    EXPECT_TRUE(first.starts_with("\x1b[2J"));
    EXPECT_NE(first.find("\x1b[1;1Hone\x1b[K"), std::string::npos);
    EXPECT_NE(first.find("\x1b[3;1Hthree\x1b[K"), std::string::npos);

    EXPECT_EQ(screen.update({"one", "two", "three"}, 80), "");
    EXPECT_EQ(screen.update({"one", "TWO", "three"}, 80), "\x1b[2;1HTWO\x1b[K");

    // A new width or height, or something else drawn on the screen: all again.
    EXPECT_TRUE(screen.update({"one", "TWO", "three"}, 60).starts_with("\x1b[2J"));
    EXPECT_TRUE(screen.update({"one", "TWO"}, 60).starts_with("\x1b[2J"));
    screen.invalidate();
    auto again = screen.update({"one", "TWO"}, 60);
    EXPECT_NE(again.find("one"), std::string::npos);
    EXPECT_NE(again.find("TWO"), std::string::npos);
}

TEST(TopScreen, ColourFollowsNoColorAndTheTerminal) {
    EXPECT_TRUE(TopScreen::usesColour(nullptr, "xterm-256color", true));
    EXPECT_TRUE(TopScreen::usesColour("", "xterm", true));  // set but empty: no effect
    EXPECT_FALSE(TopScreen::usesColour("1", "xterm-256color", true));
    EXPECT_FALSE(TopScreen::usesColour(nullptr, "dumb", true));
    EXPECT_FALSE(TopScreen::usesColour(nullptr, nullptr, true));
    EXPECT_FALSE(TopScreen::usesColour(nullptr, "xterm", false));
}

class FixedSource final : public ProcessSource {
public:
    std::vector<ProcessReading> readings;
    std::future<std::vector<ProcessReading>> sample() override {
        std::promise<std::vector<ProcessReading>> promise;
        promise.set_value(readings);
        return promise.get_future();
    }
};

TEST(RecordingProcessSource, ProcessesOfOneExecutableShareOnePathAcrossPasses) {
    auto inner = std::make_shared<FixedSource>();
    for (int32_t pid : {10, 11, 12}) {
        ProcessReading reading;
        reading.pid = pid;
        reading.executablePath = pid == 12 ? "/usr/lib/firefox/firefox-bin" : "/usr/lib/firefox/firefox";
        inner->readings.push_back(reading);
    }
    RecordingProcessSource recorder(inner);
    (void)recorder.sample().get();
    auto first = recorder.facts();
    ASSERT_TRUE(first->at(10).executablePath && first->at(12).executablePath);
    EXPECT_EQ(*first->at(10).executablePath, "/usr/lib/firefox/firefox");
    EXPECT_EQ(first->at(10).executablePath.get(), first->at(11).executablePath.get());
    EXPECT_EQ(*first->at(12).executablePath, "/usr/lib/firefox/firefox-bin");
    (void)recorder.sample().get();
    EXPECT_EQ(recorder.facts()->at(11).executablePath.get(), first->at(10).executablePath.get());
}

TEST(RecordingProcessSource, PassesReadingsOnAndKeepsTheirFacts) {
    auto inner = std::make_shared<FixedSource>();
    ProcessReading reading;
    reading.pid = 42;
    reading.parentPID = 7;
    reading.uid = 1000;
    reading.name = "worker";
    reading.executablePath = "/usr/bin/worker";
    inner->readings = {reading};
    RecordingProcessSource recorder(inner);
    EXPECT_TRUE(recorder.facts()->empty());
    auto readings = recorder.sample().get();
    EXPECT_EQ(readings, inner->readings);
    auto shared = recorder.facts();
    auto facts = *shared;
    ASSERT_TRUE(facts.contains(42));
    EXPECT_EQ(facts[42].parentPID, 7);
    EXPECT_EQ(facts[42].uid, 1000u);
    ASSERT_TRUE(facts[42].executablePath);
    EXPECT_EQ(*facts[42].executablePath, "/usr/bin/worker");
    // The next pass replaces the facts: a gone process is forgotten.
    inner->readings.clear();
    (void)recorder.sample(PidSet{42}).get();
    EXPECT_TRUE(recorder.facts()->empty());
    // What a view still holds is the table it was given.
    EXPECT_TRUE(shared->contains(42));
}

}  // namespace
}  // namespace orv::cli
