#include <gtest/gtest.h>

#include <random>

#include "HelperProtocol/HelperFrame.h"
#include "HelperProtocol/Methods.h"

namespace orv {
namespace {

using Status = HelperFrame::Parsed::Status;

TEST(HelperFrame, HeaderIsBigEndianLength) {
    EXPECT_EQ(HelperFrame::frame("abc"), std::string("\0\0\0\3abc", 7));
    EXPECT_EQ(HelperFrame::header(0x01020304), std::string("\1\2\3\4", 4));
    EXPECT_EQ(HelperFrame::announcedLength(std::string("\xFF\xFF\xFF\xFF", 4)), 0xFFFFFFFFu);
}

TEST(HelperFrame, ParsesOneWholeFrame) {
    auto bytes = HelperFrame::frame("sampleWithReply:") + "extra";
    auto parsed = HelperFrame::parse(bytes, HelperFrame::maxRequestBytes);
    ASSERT_EQ(parsed.status, Status::complete);
    EXPECT_EQ(parsed.payload, "sampleWithReply:");
    EXPECT_EQ(parsed.consumed, 4u + 16u);
}

TEST(HelperFrame, EmptyFrameIsComplete) {
    auto parsed = HelperFrame::parse(std::string(4, '\0'), HelperFrame::maxRequestBytes);
    ASSERT_EQ(parsed.status, Status::complete);
    EXPECT_TRUE(parsed.payload.empty());
}

TEST(HelperFrame, ShortHeaderIsIncomplete) {
    EXPECT_EQ(HelperFrame::parse(std::string("\0\0", 2), 10).status, Status::incomplete);
    EXPECT_EQ(HelperFrame::parse("", 10).status, Status::incomplete);
}

TEST(HelperFrame, TruncatedBodyIsIncomplete) {
    auto bytes = HelperFrame::frame("versionWithReply:");
    bytes.pop_back();
    EXPECT_EQ(HelperFrame::parse(bytes, HelperFrame::maxRequestBytes).status, Status::incomplete);
}

TEST(HelperFrame, RequestOverFourKilobytesIsTooLarge) {
    auto ok = HelperFrame::header(4096);
    EXPECT_EQ(HelperFrame::parse(ok, HelperFrame::maxRequestBytes).status, Status::incomplete);
    auto over = HelperFrame::header(4097);
    auto parsed = HelperFrame::parse(over, HelperFrame::maxRequestBytes);
    EXPECT_EQ(parsed.status, Status::tooLarge);
    EXPECT_EQ(parsed.announced, 4097u);
}

TEST(HelperFrame, LargestLengthIsTooLargeWithoutWrapping) {
    auto parsed = HelperFrame::parse(HelperFrame::header(0xFFFFFFFF) + "x", HelperFrame::maxReplyBytes);
    EXPECT_EQ(parsed.status, Status::tooLarge);
}

TEST(HelperFrame, ReplyOverTheLimitIsTooLarge) {
    EXPECT_EQ(HelperFrame::parse(HelperFrame::header(HelperFrame::maxReplyBytes + 1), HelperFrame::maxReplyBytes).status,
              Status::tooLarge);
}

TEST(HelperFrame, ReplyWithDataRoundTrips) {
    auto payload = HelperFrame::replyPayload(std::string_view("[]"));
    auto data = HelperFrame::readReply(payload);
    ASSERT_TRUE(data.has_value());
    ASSERT_TRUE(data->has_value());
    EXPECT_EQ(**data, "[]");
}

TEST(HelperFrame, ReplyWithEmptyDataIsPresentButEmpty) {
    auto data = HelperFrame::readReply(HelperFrame::replyPayload(std::string_view()));
    ASSERT_TRUE(data.has_value());
    ASSERT_TRUE(data->has_value());
    EXPECT_TRUE((*data)->empty());
}

TEST(HelperFrame, ReplyWithoutDataIsAbsent) {
    auto data = HelperFrame::readReply(HelperFrame::replyPayload(std::nullopt));
    ASSERT_TRUE(data.has_value());
    EXPECT_FALSE(data->has_value());
}

TEST(HelperFrame, MalformedRepliesAreRejected) {
    EXPECT_FALSE(HelperFrame::readReply("").has_value());
    EXPECT_FALSE(HelperFrame::readReply(std::string("\2[]", 3)).has_value());
    EXPECT_FALSE(HelperFrame::readReply(std::string("\0x", 2)).has_value());
}

TEST(HelperFrame, ReplyHeaderMatchesTheWholeFrame) {
    const std::string data = "[{\"pid\":1}]";
    EXPECT_EQ(HelperFrame::replyHeader(data.size()) + data, HelperFrame::frame(HelperFrame::replyPayload(data)));
    EXPECT_EQ(HelperFrame::replyHeader(std::nullopt), HelperFrame::frame(HelperFrame::replyPayload(std::nullopt)));
}

TEST(HelperFrame, RandomBytesNeverReadOutOfBounds) {
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        std::string bytes(random() % 24, '\0');
        for (auto& c : bytes) c = char(random());
        auto parsed = HelperFrame::parse(bytes, HelperFrame::maxRequestBytes);
        if (parsed.status == Status::complete) {
            ASSERT_LE(parsed.consumed, bytes.size());
            ASSERT_EQ(parsed.payload.size() + HelperFrame::headerSize, parsed.consumed);
            (void)HelperFrame::readReply(parsed.payload);
        }
    }
}

TEST(HelperProtocol, SelectorsNameTheMethods) {
    EXPECT_EQ(HelperProtocol::method("sampleWithReply:"), HelperProtocol::Method::sample);
    EXPECT_EQ(HelperProtocol::method("versionWithReply:"), HelperProtocol::Method::version);
    EXPECT_FALSE(HelperProtocol::method("sampleWithReply").has_value());
    EXPECT_FALSE(HelperProtocol::method("").has_value());
    EXPECT_EQ(HelperProtocol::selector(HelperProtocol::Method::sample), "sampleWithReply:");
    EXPECT_EQ(HelperProtocol::selector(HelperProtocol::Method::version), "versionWithReply:");
    EXPECT_EQ(HelperProtocol::method("listeningPortsWithReply:"), HelperProtocol::Method::listeningPorts);
    EXPECT_EQ(HelperProtocol::selector(HelperProtocol::Method::listeningPorts), "listeningPortsWithReply:");
}

}  // namespace
}  // namespace orv
