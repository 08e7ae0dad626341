#include <gtest/gtest.h>

#include <string>

#include "Sampling/HelperIdentity.h"
#include "helper/HelperInfo.h"

namespace orv {
namespace {

std::optional<PropertyValue> parseText(const std::string& body) {
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\"><dict>" + body + "</dict></plist>\n";
    return HelperInfo::parse({reinterpret_cast<const uint8_t*>(xml.data()), xml.size()});
}

// What the helper's start-up decides from its Info.plist.
std::optional<std::string> startupRequirement(const std::optional<PropertyValue>& info) {
    return HelperIdentity::requirement(HelperIdentity::appBundleID,
                                       HelperInfo::stringValue(info, HelperInfo::teamIDKey));
}

TEST(HelperInfo, ReadsTheTeamAndVersionStrings) {
    auto info = parseText(
        "<key>OrvantineTeamID</key><string>ABCDE12345</string>"
        "<key>CFBundleVersion</key><string>1</string>"
        "<key>CFBundleShortVersionString</key><string>0.9.0</string>");
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(HelperInfo::stringValue(info, "OrvantineTeamID"), std::optional<std::string>("ABCDE12345"));
    EXPECT_EQ(HelperInfo::stringValue(info, "CFBundleVersion"), std::optional<std::string>("1"));
    EXPECT_EQ(startupRequirement(info),
              std::optional<std::string>("identifier \"app.orvantine.Orvantine\" and anchor apple generic and "
                                         "certificate leaf[subject.OU] = \"ABCDE12345\""));
}

TEST(HelperInfo, NumericTeamCountsAsAbsent) {
    auto info = parseText("<key>OrvantineTeamID</key><integer>1234567890</integer>");
    ASSERT_TRUE(info.has_value());
    EXPECT_FALSE(HelperInfo::stringValue(info, "OrvantineTeamID").has_value());
    EXPECT_FALSE(startupRequirement(info).has_value());
}

TEST(HelperInfo, MissingTeamGivesNoRequirement) {
    EXPECT_FALSE(startupRequirement(parseText("<key>CFBundleVersion</key><string>1</string>")).has_value());
}

TEST(HelperInfo, MalformedPlistIsNoDictionary) {
    const std::string junk = "<plist><dict><key>x</key>";
    EXPECT_FALSE(HelperInfo::parse({reinterpret_cast<const uint8_t*>(junk.data()), junk.size()}).has_value());
    EXPECT_FALSE(startupRequirement(std::nullopt).has_value());
}

TEST(HelperInfo, PlistThatIsNotADictionaryIsRejected) {
    const std::string array =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><array><string>a</string></array></plist>";
    EXPECT_FALSE(HelperInfo::parse({reinterpret_cast<const uint8_t*>(array.data()), array.size()}).has_value());
}

}  // namespace
}  // namespace orv
