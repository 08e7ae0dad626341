#include <gtest/gtest.h>

#include <string_view>

#include "Sampling/EnergyCoefficientsLoader.h"
#include "support/TempDir.h"

namespace orv {
namespace {

namespace Loader = EnergyCoefficientsLoader;

// Weights of the fixture files, as written in them.
const EnergyCoefficients defaultFile{2.0, 0.001, 1e-9, 2e-9, 3.0};
const EnergyCoefficients j316File{1.0, 0.0005, 5e-10, 6e-10, 0.75};

std::filesystem::path directory() { return test::fixture("pmenergy"); }

class FakeBoard final : public BoardIdentifierPort {
public:
    explicit FakeBoard(std::optional<std::vector<uint8_t>> bytes) : bytes_(std::move(bytes)) {}
    std::optional<std::vector<uint8_t>> readBoardIdentifier() override {
        ++reads;
        return bytes_;
    }
    int reads = 0;

private:
    std::optional<std::vector<uint8_t>> bytes_;
};

std::vector<uint8_t> bytes(std::string_view text) { return {text.begin(), text.end()}; }

TEST(EnergyCoefficientsLoader, CandidatesAreTheBoardFileThenTheDefault) {
    auto files = Loader::candidates(std::string("J316sAP"), "/usr/share/pmenergy");
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0], std::filesystem::path("/usr/share/pmenergy/J316sAP.plist"));
    EXPECT_EQ(files[1], std::filesystem::path("/usr/share/pmenergy/default.plist"));
}

TEST(EnergyCoefficientsLoader, WithoutABoardOnlyTheDefaultIsACandidate) {
    auto files = Loader::candidates(std::nullopt, "/usr/share/pmenergy");
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0], std::filesystem::path("/usr/share/pmenergy/default.plist"));
}

TEST(EnergyCoefficientsLoader, ABoardThatWouldLeaveTheDirectoryIsNoCandidate) {
    EXPECT_EQ(Loader::candidates(std::string("../etc/x"), "/d").size(), 1u);
    EXPECT_EQ(Loader::candidates(std::string(""), "/d").size(), 1u);
}

TEST(EnergyCoefficientsLoader, TheDefaultDirectoryIsTheSystemsPowerModelFolder) {
    EXPECT_EQ(Loader::defaultDirectory, std::filesystem::path("/usr/share/pmenergy"));
}

TEST(EnergyCoefficientsLoader, BinaryBoardFileWins) {
    EXPECT_EQ(Loader::load(std::string("J316sAP"), directory()), j316File);
}

TEST(EnergyCoefficientsLoader, XmlDefaultFileIsUsedWithoutABoard) {
    EXPECT_EQ(Loader::load(std::nullopt, directory()), defaultFile);
}

TEST(EnergyCoefficientsLoader, MissingBoardFileFallsToTheDefault) {
    EXPECT_EQ(Loader::load(std::string("Mac-Unknown"), directory()), defaultFile);
}

TEST(EnergyCoefficientsLoader, BoardFileWithoutEnergyConstantsFallsToTheDefault) {
    EXPECT_EQ(Loader::load(std::string("Mac-NoConstants"), directory()), defaultFile);
    EXPECT_EQ(Loader::load(std::string("Mac-NoConstantsBinary"), directory()), defaultFile);
}

TEST(EnergyCoefficientsLoader, BoardFileWithoutGpuTimeGivesZeroGpuWeight) {
    const EnergyCoefficients expected{1.5, 0.0004, 7e-10, 8e-10, 0.0};
    EXPECT_EQ(Loader::load(std::string("Mac-NoGPU"), directory()), expected);
    EXPECT_EQ(Loader::load(std::string("Mac-NoGPUXML"), directory()), expected);
}

TEST(EnergyCoefficientsLoader, NonNumericWeightsInTheFileGiveZero) {
    EXPECT_EQ(Loader::load(std::string("Mac-TextWeights"), directory()), (EnergyCoefficients{0, 0, 4e-10, 3e-10, 2.0}));
}

TEST(EnergyCoefficientsLoader, EnergyConstantsThatIsNotADictionaryFallsToTheDefault) {
    EXPECT_EQ(Loader::load(std::string("Mac-ConstantsNotDictionary"), directory()), defaultFile);
}

TEST(EnergyCoefficientsLoader, TopLevelArrayFallsToTheDefault) {
    EXPECT_EQ(Loader::load(std::string("Mac-TopLevelArray"), directory()), defaultFile);
}

TEST(EnergyCoefficientsLoader, GarbageAndTruncatedFilesFallToTheDefault) {
    EXPECT_EQ(Loader::load(std::string("Mac-Garbage"), directory()), defaultFile);
    EXPECT_EQ(Loader::load(std::string("Mac-Truncated"), directory()), defaultFile);
}

TEST(EnergyCoefficientsLoader, NoUsableFileGivesTheBuiltInSet) {
    auto without = directory() / "without-default";
    EXPECT_EQ(Loader::load(std::string("Mac-Unknown"), without), EnergyCoefficients::builtIn);
    EXPECT_EQ(Loader::load(std::nullopt, "/nonexistent/pmenergy"), EnergyCoefficients::builtIn);
}

TEST(EnergyCoefficientsLoader, BoardFileIsUsedEvenWhenTheDefaultIsUnusable) {
    EXPECT_EQ(Loader::load(std::string("Mac-OnlyCPU"), directory() / "without-default"),
              (EnergyCoefficients{4.0, 0, 0, 0, 0}));
}

TEST(EnergyCoefficientsLoader, ADirectoryNamedLikeACandidateIsSkipped) {
    test::TempDir dir;
    dir.mkdir("Mac-Folder.plist");
    dir.mkdir("default.plist");
    EXPECT_EQ(Loader::load(std::string("Mac-Folder"), dir.path()), EnergyCoefficients::builtIn);
}

TEST(EnergyCoefficientsLoader, EmptyFileIsSkipped) {
    test::TempDir dir;
    dir.write("Mac-Empty.plist", "");
    EXPECT_EQ(Loader::load(std::string("Mac-Empty"), dir.path()), EnergyCoefficients::builtIn);
}

TEST(EnergyCoefficientsLoader, BoardIdentifierWithTrailingZerosNamesItsFile) {
    FakeBoard board(bytes(std::string_view("J316sAP\0\0\0\0\0\0", 13)));
    EXPECT_EQ(Loader::load(board, directory()), j316File);
    EXPECT_EQ(board.reads, 1);
}

TEST(EnergyCoefficientsLoader, NoBoardIdentifierUsesTheDefault) {
    FakeBoard board(std::nullopt);
    EXPECT_EQ(Loader::load(board, directory()), defaultFile);
}

TEST(EnergyCoefficientsLoader, BoardIdentifierThatIsNotUtf8UsesTheDefault) {
    FakeBoard board(bytes("J316\xff"));
    EXPECT_EQ(Loader::load(board, directory()), defaultFile);
}

TEST(EnergyCoefficientsLoader, SharedValueIsComputedOnceAndKept) {
    const EnergyCoefficients& first = Loader::shared();
    const EnergyCoefficients& second = Loader::shared();
    EXPECT_EQ(&first, &second);
    auto port = makeBoardIdentifierPort();
    EXPECT_EQ(first, Loader::load(*port));
}

}  // namespace
}  // namespace orv
