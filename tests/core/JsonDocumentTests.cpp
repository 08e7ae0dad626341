#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "core/JsonDocument.h"

namespace orv::json {
namespace {

// The root of `text`, which the test requires to parse.
struct Parsed {
    JsonDocument document;
    JsonElement root;
    explicit Parsed(std::string_view text) {
        std::string error;
        EXPECT_TRUE(document.parse(text, root, error)) << text << ": " << error;
    }
};

bool parses(std::string_view text) {
    JsonDocument document;
    JsonElement root;
    std::string error;
    bool ok = document.parse(text, root, error);
    EXPECT_EQ(ok, error.empty()) << text;
    return ok;
}

TEST(JsonDocument, IntegersKeepTheirKindAndDoublesAreTheirNearestValue) {
    Parsed p(R"([1, -1, 18446744073709551615, 9223372036854775807, 1.5, 1e2, 18446744073709551616])");
    std::vector<JsonElement> items;
    for (auto item : p.root.array()) items.push_back(item);
    ASSERT_EQ(items.size(), 7u);
    EXPECT_EQ(items[0].type(), JsonType::int64);
    EXPECT_EQ(items[0].int64(), 1);
    EXPECT_EQ(items[1].int64(), -1);
    EXPECT_EQ(items[2].type(), JsonType::uint64);
    EXPECT_EQ(items[2].uint64(), std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(items[3].type(), JsonType::int64);
    EXPECT_EQ(items[3].int64(), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(items[4].type(), JsonType::real);
    EXPECT_EQ(items[4].real(), 1.5);
    EXPECT_EQ(items[5].real(), 100.0);
    EXPECT_EQ(items[6].type(), JsonType::real);
    EXPECT_EQ(items[6].real(), 18446744073709551616.0);
}

TEST(JsonDocument, DoublesAreReadExactly) {
    // Texts that a parser rounding in steps reads one unit off.
    for (double expected : {1.2345678998765433E8, 7.21692800123456E8, 0.1, 2.2250738585072014E-308,
                            4.9406564584124654E-324, 1.7976931348623157E308}) {
        char text[64];
        std::snprintf(text, sizeof text, "%.17g", expected);
        Parsed p(text);
        ASSERT_EQ(p.root.type(), JsonType::real) << text;
        EXPECT_EQ(p.root.real(), expected) << text;
    }
    // More digits than a double holds: the nearest double all the same.
    Parsed longer("9.234567899856789976543E8");
    EXPECT_EQ(longer.root.real(), 9.234567899856789976543E8);
}

TEST(JsonDocument, ANegativeZeroIsADoubleWithItsSign) {
    for (auto text : {"-0", "-0.0", "-0e0"}) {
        Parsed p(text);
        ASSERT_EQ(p.root.type(), JsonType::real) << text;
        EXPECT_TRUE(std::signbit(p.root.real())) << text;
    }
    Parsed zero("0");
    EXPECT_EQ(zero.root.type(), JsonType::int64);
}

TEST(JsonDocument, ANumberPastTheRangeOfADoubleIsRefused) {
    EXPECT_FALSE(parses("1e400"));
    EXPECT_FALSE(parses("[-1e400]"));
    Parsed tiny("1e-400");
    EXPECT_EQ(tiny.root.real(), 0.0);
    // Zero times any power of ten is zero, however large the power.
    Parsed zero("[0e400,-0e400]");
    auto it = zero.root.array().begin();
    EXPECT_EQ((*it).real(), 0.0);
    EXPECT_TRUE(std::signbit((*++it).real()));
}

TEST(JsonDocument, StringsAreUnescaped) {
    Parsed p(R"({"k\"ey":"a\"b\\c\u00e9\n\ud83d\ude00"})");
    auto member = p.root.object().begin();
    EXPECT_EQ(member.key(), "k\"ey");
    EXPECT_EQ(member.value().string(), "a\"b\\c\xc3\xa9\n\xf0\x9f\x98\x80");
}

TEST(JsonDocument, MembersFollowTheirContainerAndNestedOnesAreSteppedOver) {
    Parsed p(R"({"a":[1,[2,3],{"x":4}],"b":{"c":{}},"d":"e","f":[]})");
    auto object = p.root.object();
    EXPECT_EQ(object.size(), 4u);
    std::vector<std::string> keys;
    for (auto it = object.begin(); it != object.end(); ++it) keys.emplace_back(it.key());
    EXPECT_EQ(keys, (std::vector<std::string>{"a", "b", "d", "f"}));
    JsonElement a, f, d;
    ASSERT_TRUE(object.find("a", a));
    EXPECT_EQ(a.array().size(), 3u);
    size_t count = 0;
    for (auto item : a.array()) count += item.type() != JsonType::null;
    EXPECT_EQ(count, 3u);
    ASSERT_TRUE(object.find("f", f));
    EXPECT_EQ(f.array().size(), 0u);
    EXPECT_TRUE(f.array().begin() == f.array().end());
    ASSERT_TRUE(object.find("d", d));
    EXPECT_EQ(d.string(), "e");
    JsonElement missing;
    EXPECT_FALSE(object.find("z", missing));
}

TEST(JsonDocument, ADuplicateKeyIsKeptAndALookupFindsTheFirst) {
    Parsed p(R"({"k":1,"k":2})");
    EXPECT_EQ(p.root.object().size(), 2u);
    JsonElement k;
    ASSERT_TRUE(p.root.object().find("k", k));
    EXPECT_EQ(k.int64(), 1);
}

TEST(JsonDocument, ScalarsBooleansAndNull) {
    Parsed p(R"([true,false,null])");
    auto it = p.root.array().begin();
    EXPECT_TRUE((*it).boolean());
    EXPECT_FALSE((*++it).boolean());
    EXPECT_TRUE((*++it).isNull());
    EXPECT_TRUE(JsonElement().isNull());
}

TEST(JsonDocument, WhatIsNotOneJsonValueIsRefused) {
    for (auto text : {"", " ", "[1,]", "{\"a\":}", "1 2", "[1]x", "{'a':1}", "[1", "\"\xff\"", "// c\n1", "nul", "01"}) {
        EXPECT_FALSE(parses(text)) << text;
    }
    EXPECT_TRUE(parses(" [1] \n"));
}

TEST(JsonDocument, NestingIsReadToItsLimitAndRefusedPastIt) {
    auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    EXPECT_TRUE(parses(nested(JsonDocument::maxDepth)));
    EXPECT_FALSE(parses(nested(JsonDocument::maxDepth + 1)));
}

TEST(JsonDocument, ParsingAgainReplacesTheDocumentAndAFailureSaysWhy) {
    JsonDocument document;
    JsonElement root;
    std::string error;
    ASSERT_TRUE(document.parse(R"({"a":"first"})", root, error));
    ASSERT_TRUE(document.parse(R"(["second"])", root, error));
    EXPECT_EQ((*root.array().begin()).string(), "second");
    EXPECT_FALSE(document.parse("[", root, error));
    EXPECT_FALSE(error.empty());
}

}  // namespace
}  // namespace orv::json
