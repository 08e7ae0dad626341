// Equal strings held once, and let go when no one else holds them.
#include <gtest/gtest.h>

#include <string>

#include "core/SharedStrings.h"

namespace orv {
namespace {

TEST(SharedStrings, EqualTextsGetTheOneString) {
    SharedStrings strings;
    std::string made = "/usr/bin/" + std::string("bash");
    auto first = strings.share("/usr/bin/bash");
    auto second = strings.share(made);
    auto other = strings.share("/usr/bin/zsh");
    EXPECT_EQ(first.get(), second.get());
    EXPECT_NE(first.get(), other.get());
    EXPECT_EQ(*first, "/usr/bin/bash");
    EXPECT_EQ(*other, "/usr/bin/zsh");
    EXPECT_EQ(strings.size(), 2u);
}

TEST(SharedStrings, PruningLetsGoOfWhatOnlyTheTableHolds) {
    SharedStrings strings;
    auto kept = strings.share("/usr/bin/kept");
    (void)strings.share("/usr/bin/dropped");
    strings.prune();
    EXPECT_EQ(strings.size(), 1u);
    EXPECT_EQ(strings.share("/usr/bin/kept").get(), kept.get());
    // A text let go of is made afresh when asked for again.
    EXPECT_EQ(*strings.share("/usr/bin/dropped"), "/usr/bin/dropped");
    EXPECT_EQ(strings.size(), 2u);
}

}  // namespace
}  // namespace orv
