#include <gtest/gtest.h>

#include "PrivateAPIs/ResponsiblePID.h"

namespace orv {
namespace {

TEST(ResponsiblePID, OnLinuxTheSymbolIsAbsentFromTheRunningProgram) {
    ResponsiblePIDResolver resolver;
    EXPECT_FALSE(resolver.isAvailable());
    EXPECT_EQ(resolver.lookup(1), std::nullopt);
}

}  // namespace
}  // namespace orv
