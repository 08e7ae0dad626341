#include <gtest/gtest.h>

#include "Sampling/BoardIdentifier.h"
#include "Sampling/EnergyCoefficientsLoader.h"
#include "support/TempDir.h"

namespace orv {
namespace {

TEST(BoardIdentifierPortLinux, HasNoBoardIdentifier) {
    EXPECT_EQ(makeBoardIdentifierPort()->readBoardIdentifier(), std::nullopt);
}

TEST(BoardIdentifierPortLinux, LoaderUsesOnlyTheDefaultFile) {
    test::TempDir dir;
    dir.write("default.plist",
              "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>energy_constants</key><dict>"
              "<key>kcpu_time</key><real>0.5</real></dict></dict></plist>");
    auto port = makeBoardIdentifierPort();
    EXPECT_EQ(EnergyCoefficientsLoader::load(*port, dir.path()), (EnergyCoefficients{0.5, 0, 0, 0, 0}));
}

TEST(BoardIdentifierPortLinux, WithoutPowerModelFilesTheBuiltInSetIsShared) {
    if (std::filesystem::exists(EnergyCoefficientsLoader::defaultDirectory / "default.plist")) {
        GTEST_SKIP() << "this machine has a power-model default.plist";
    }
    EXPECT_EQ(EnergyCoefficientsLoader::shared(), EnergyCoefficients::builtIn);
}

}  // namespace
}  // namespace orv
