#include <gtest/gtest.h>

#include "core/PropertyList.h"
#include "support/TempDir.h"

namespace orv {
namespace {

void expectSample(const PropertyValue& v) {
    ASSERT_NE(v.dictionary(), nullptr);
    EXPECT_EQ(*v.find("OrvantineTeamID")->string(), "ABCDE12345");
    EXPECT_EQ(*v.find("CFBundleVersion")->string(), "1");
    EXPECT_EQ(v.find("Count")->integer(), 7);
    EXPECT_EQ(v.find("Big")->unsignedInteger(), (uint64_t(1) << 63) + 5);
    EXPECT_EQ(v.find("Ratio")->number(), 0.5);
    EXPECT_EQ(v.find("Ratio")->integer(), std::nullopt);
    EXPECT_EQ(v.find("Flag")->boolean(), true);
    EXPECT_EQ(*v.find("Blob")->data(), (PropertyValue::Data{'b', 'o', 'a', 'r', 'd', 0, 0}));
    ASSERT_NE(v.find("List")->array(), nullptr);
    EXPECT_EQ(v.find("List")->array()->size(), 2u);
    EXPECT_EQ(*v.find("Nested")->find("k")->string(), "v");
    EXPECT_EQ(v.find("Missing"), nullptr);
}

TEST(PropertyList, ReadsXml) {
    auto v = PropertyList::read(test::fixture("plist/sample.xml.plist"));
    ASSERT_TRUE(v);
    expectSample(*v);
}

TEST(PropertyList, ReadsBinaryIntoTheSameTree) {
    auto binary = PropertyList::read(test::fixture("plist/sample.binary.plist"));
    auto xml = PropertyList::read(test::fixture("plist/sample.xml.plist"));
    ASSERT_TRUE(binary);
    expectSample(*binary);
    EXPECT_EQ(*binary, *xml);
}

TEST(PropertyList, MalformedBytesAreAbsent) {
    std::string garbage = "<?xml version=\"1.0\"?><plist><dict><key>a</key>";
    EXPECT_FALSE(PropertyList::parse({reinterpret_cast<const uint8_t*>(garbage.data()), garbage.size()}));
    std::string binaryHeaderOnly = "bplist00";
    EXPECT_FALSE(PropertyList::parse({reinterpret_cast<const uint8_t*>(binaryHeaderOnly.data()), 8}));
    EXPECT_FALSE(PropertyList::parse({}));
}

TEST(PropertyList, MissingFilesAndDirectoriesAreAbsent) {
    test::TempDir dir;
    EXPECT_FALSE(PropertyList::read(dir.path() / "none.plist"));
    EXPECT_FALSE(PropertyList::read(dir.path()));
}

TEST(PropertyValue, AccessorsAnswerOnlyForTheirKind) {
    PropertyValue s("text");
    EXPECT_EQ(s.integer(), std::nullopt);
    EXPECT_EQ(s.dictionary(), nullptr);
    EXPECT_EQ(s.find("x"), nullptr);
    PropertyValue n(int64_t(-3));
    EXPECT_EQ(n.number(), -3.0);
    EXPECT_EQ(n.string(), nullptr);
}

}  // namespace
}  // namespace orv

namespace orv {
namespace {

TEST(PropertyList, BinaryListWithANulInAStringIsAbsentNotAnAbort) {
    EXPECT_FALSE(PropertyList::read(test::fixture("plist/nul-in-key.binary.plist")));
}

}  // namespace
}  // namespace orv
