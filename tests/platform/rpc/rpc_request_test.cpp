// One request and its reply, byte for byte: what is well-formed, what a handler gets, what goes
// back.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstring>
#include <string>

#include "rpc_test_support.h"

namespace {

using namespace rpc_test;

class Request : public ::testing::Test {
  protected:
    // A request that must be answered with a failure, after which the connection still serves.
    void expect_transport(const Bytes &request, uint32_t transport, uint32_t sequence = 77) {
        RawReply reply = client_.call(request);
        ASSERT_FALSE(reply.ended);
        EXPECT_EQ(reply.header.transport, transport);
        EXPECT_EQ(reply.header.sequence, sequence);
        EXPECT_EQ(reply.header.status, 0u);
        EXPECT_TRUE(reply.body.empty());
        EXPECT_EQ(client_.call(packet(kEcho, 78, {9})).body, Bytes{9});
    }

    Root root_;
    ServerProcess server_;
    RawClient client_;
};

TEST_F(Request, AndReplyHaveTheDocumentedBytes) {
    const Bytes request = {'Z',  'V', 'R', 'P', 1, 0, 1, 0, 2, 0, 0, 0, 0x78, 0x56, 0x34,
                           0x12, 0,   0,   0,   0, 0, 0, 0, 0, 3, 0, 0, 0,    0,    0,
                           0,    0,   0,   0,   0, 0, 0, 0, 0, 0, 7, 8, 9};
    const Bytes expected = {'Z',  'V', 'R', 'P', 1, 0, 2, 0, 2, 0, 0, 0, 0x78, 0x56, 0x34,
                            0x12, 0,   0,   0,   0, 0, 0, 0, 0, 3, 0, 0, 0,    0,    0,
                            0,    0,   0,   0,   0, 0, 0, 0, 0, 0, 7, 8, 9};
    client_.send(request);
    ASSERT_TRUE(client_.readable());
    Bytes reply(100);
    ssize_t len = recv(client_.fd(), reply.data(), reply.size(), 0);
    ASSERT_GE(len, 0);
    reply.resize(static_cast<size_t>(len));
    EXPECT_EQ(reply, expected);
}

TEST_F(Request, WithAWrongMagicIsMalformed) {
    for (int i = 0; i < 4; i++) {
        RawHeader header;
        header.magic[i] ^= 0x20;
        expect_transport(packet(header), 1);
    }
}

TEST_F(Request, WithAnotherVersionIsMalformed) {
    for (uint16_t version : {0, 2, 0x0101}) {
        RawHeader header;
        header.version = version;
        expect_transport(packet(header), 1);
    }
}

TEST_F(Request, OfAnotherKindIsMalformed) {
    for (uint16_t kind : {0, 2, 3}) {
        RawHeader header;
        header.kind = kind;
        expect_transport(packet(header), 1);
    }
}

TEST_F(Request, WithANonZeroReservedFieldIsMalformed) {
    for (uint64_t reserved : {1ull, 1ull << 63}) {
        RawHeader header;
        header.reserved = reserved;
        expect_transport(packet(header), 1);
    }
}

TEST_F(Request, WhoseSizesDoNotAddUpIsMalformed) {
    for (int difference : {-1, 1}) {
        Bytes request = packet(kEcho, 77, Bytes(8));
        RawHeader header;
        header.body_len = static_cast<uint32_t>(8 + difference);
        memcpy(request.data(), &header, sizeof(header));
        expect_transport(request, 1);
    }
}

TEST_F(Request, WhoseSizesWrapAroundIsMalformed) {
    Bytes request = packet(kPath, 77, Bytes(8));
    RawHeader header;
    header.command = kPath;
    header.body_len = 0xfffffff0;
    header.attachment_len = 0x18;
    memcpy(request.data(), &header, sizeof(header));
    expect_transport(request, 1);
}

TEST_F(Request, ShorterThanAHeaderIsMalformedWithSequence0) {
    expect_transport({}, 1, 0);
    expect_transport({'Z'}, 1, 0);
    Bytes request = packet(kEcho, 77);
    request.pop_back();
    expect_transport(request, 1, 0);
}

TEST_F(Request, OfTheLargestSizeIsServedAndOneByteMoreIsTooLong) {
    Bytes body(kMaxMessage - 40, 0x5a);
    EXPECT_EQ(client_.call(packet(kEcho, 77, body)).body, body);
    body.push_back(0);
    expect_transport(packet(kEcho, 77, body), 3);
    body.resize(100000);
    expect_transport(packet(kEcho, 77, body), 3);
}

TEST_F(Request, OfAnUnknownCommandIsAnsweredSo) {
    for (uint32_t command : {0u, 1u, 16u, 18u, 0xffffffffu}) {
        RawHeader header;
        header.command = command;
        expect_transport(packet(header), 2);
    }
}

TEST_F(Request, WithoutABodyGivesTheHandlerNullAndLength0) {
    Bytes expected = bytes_of(0);
    for (uint32_t word : {1u, 0u}) {
        Bytes bytes = bytes_of(word);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    EXPECT_EQ(client_.call(packet(kInspect, 1)).body, expected);
}

TEST_F(Request, GivesTheHandlerAnAlignedBody) {
    RawReply reply = client_.call(packet(kInspect, 1, Bytes(13)));
    ASSERT_EQ(reply.body.size(), 12u);
    EXPECT_EQ(reply.body[0], 13);
    EXPECT_EQ(reply.body[4], 0);
    EXPECT_EQ(reply.body[8], 0);
}

TEST_F(Request, IsAnsweredFromInsideItsBody) {
    EXPECT_EQ(client_.call(packet(kTail, 1, {1, 2, 3, 4, 5, 6, 7})).body, (Bytes{5, 6, 7}));
}

TEST_F(Request, IsAnsweredFromInsideItsBodyWhereTheReplyOverlapsItsPlace) {
    Bytes body(44);
    for (size_t i = 0; i < body.size(); i++) {
        body[i] = static_cast<uint8_t>(i);
    }
    EXPECT_EQ(client_.call(packet(kTail, 1, body)).body, Bytes(body.begin() + 4, body.end()));
}

// What lies behind the body there is of another request.
TEST_F(Request, WhoseReplyLeavesItsBodyIsAnsweredWithoutItAndLogged) {
    client_.call(packet(kEcho, 1, Bytes(100, 0x5a)));
    Bytes body = bytes_of(8);
    body.resize(8, 0x11);
    EXPECT_EQ(client_.call(packet(kPast, 1, body)).body, body);
    EXPECT_EQ(server_.log().find("reply"), std::string::npos);
    body[0] = 9;
    RawReply reply = client_.call(packet(kPast, 1, body));
    EXPECT_EQ(reply.header.transport, 0u);
    EXPECT_EQ(reply.header.status, 0u);
    EXPECT_TRUE(reply.body.empty());
    EXPECT_NE(server_.log().find("3 ZV_RPC The reply of command 13 is left out: 9 bytes reach past "
                                 "the body they begin in.\n"),
              std::string::npos)
        << server_.log();
}

TEST_F(Request, WhoseHandlerFailsIsAnsweredWithTheStatusAlone) {
    RawReply reply = client_.call(packet(kFail, 1, {1, 2, 3}));
    EXPECT_EQ(reply.header.transport, 0u);
    EXPECT_EQ(reply.header.status, 5u);
    EXPECT_TRUE(reply.body.empty());
}

TEST_F(Request, WhoseReplyDoesNotFitIsAnsweredWithoutItAndLogged) {
    EXPECT_EQ(client_.call(packet(kBig, 1, bytes_of(7960))).body, Bytes(7960, 'b'));
    EXPECT_EQ(server_.log().find("reply"), std::string::npos);
    RawReply reply = client_.call(packet(kBig, 1, bytes_of(7961)));
    EXPECT_EQ(reply.header.transport, 0u);
    EXPECT_EQ(reply.header.status, 0u);
    EXPECT_TRUE(reply.body.empty());
    EXPECT_NE(server_.log().find("3 ZV_RPC The reply of command 8 is left out: 7961 bytes do not "
                                 "fit a message.\n"),
              std::string::npos);
}

TEST_F(Request, WhoseReplyIsAtNullIsAnsweredWithoutIt) {
    RawReply reply = client_.call(packet(kNullReply, 1));
    EXPECT_EQ(reply.header.transport, 0u);
    EXPECT_TRUE(reply.body.empty());
}

class PathRequest : public Request {
  protected:
    // Sends the record with a false address in it and returns the reply.
    RawReply call(const Bytes &attachment, uint8_t first_byte = 0) {
        Bytes body(24, 0xee);
        body[0] = first_byte;
        return client_.call(packet(kPath, 77, body, attachment));
    }
    std::string seen_path() { return server_.shared().path; }
};

TEST_F(PathRequest, GivesTheHandlerTheAddressOfTheAttachment) {
    EXPECT_EQ(call(path_of("/var/log/dump")).header.transport, 0u);
    EXPECT_EQ(seen_path(), "/var/log/dump");
}

TEST_F(PathRequest, GivesTheHandlerNullWithoutAnAttachmentWhateverWasSent) {
    call({});
    EXPECT_EQ(seen_path(), "null");
}

TEST_F(PathRequest, LetsNoAddressOutInTheReply) {
    Bytes expected(24, 0xee);
    std::fill(expected.begin() + 8, expected.begin() + 16, 0);
    for (uint8_t first_byte : {0, 1}) {
        expected[0] = first_byte;
        EXPECT_EQ(call(path_of("/x"), first_byte).body, expected) << int{first_byte};
    }
    expected[0] = 0;
    EXPECT_EQ(call({}).body, expected);
    expected.erase(expected.begin(), expected.begin() + 8);
    EXPECT_EQ(call(path_of("/x"), 2).body, expected);
}

TEST_F(PathRequest, IsAnsweredWithAReplyThatCoversTheAttachmentsPlace) {
    EXPECT_EQ(call(path_of("/var/log/dump"), 3).body, Bytes(200, 'c'));
    EXPECT_EQ(seen_path(), "/var/log/dump");
}

TEST_F(PathRequest, TakesAPathOf4095CharactersAndNoMore) {
    std::string path(4095, 'p');
    EXPECT_EQ(call(path_of(path)).header.transport, 0u);
    EXPECT_EQ(seen_path(), path);
    EXPECT_EQ(call(path_of(path + "p")).header.transport, 1u);
}

TEST_F(PathRequest, TakesAnEmptyPath) {
    EXPECT_EQ(call(path_of("")).header.transport, 0u);
    EXPECT_EQ(seen_path(), "");
}

TEST_F(PathRequest, WithoutOneNulAtTheEndIsMalformed) {
    EXPECT_EQ(call({'/', 'x'}).header.transport, 1u);
    EXPECT_EQ(call({'/', 0, 'x', 0}).header.transport, 1u);
    EXPECT_EQ(call({'/', 'x', 0, 0}).header.transport, 1u);
    EXPECT_EQ(seen_path(), "");
}

TEST_F(PathRequest, WithAShortBodyReachesTheHandlerAsItIs) {
    Bytes body(15, 0xee);
    RawReply reply = client_.call(packet(kPath, 77, body, path_of("/x")));
    EXPECT_EQ(reply.header.transport, 0u);
    EXPECT_EQ(reply.body, body);
    EXPECT_EQ(seen_path(), "short body");
    client_.call(packet(kPath, 77, Bytes(16, 0xee), path_of("/x")));
    EXPECT_EQ(seen_path(), "/x");
}

TEST_F(PathRequest, IsTheOnlyOneWithAnAttachment) {
    EXPECT_EQ(client_.call(packet(kEcho, 77, Bytes(16), path_of("/x"))).header.transport, 1u);
    EXPECT_EQ(client_.call(packet(18, 77, Bytes(16), path_of("/x"))).header.transport, 1u);
}

}  // namespace
