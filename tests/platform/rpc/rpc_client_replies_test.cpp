// The client against a server that the test plays itself: late replies, wrong ones, none at all.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "rpc_test_support.h"
#include "zv_rpc_client.h"

namespace {

using namespace rpc_test;

Bytes reply_packet(uint32_t sequence, const Bytes &body) {
    RawHeader header;
    header.kind = 2;
    header.sequence = sequence;
    return packet(header, body);
}

class PlayedServer : public ::testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(root_.path("/var/run"));
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        root_.path().copy(address.sun_path, sizeof(address.sun_path) - 1);
        listener_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        ASSERT_EQ(bind(listener_, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        ASSERT_EQ(listen(listener_, 0), 0);
        ASSERT_EQ(zv_rpc_client_connect(kSocketPath, &client_), 0);
        server_ = std::make_unique<RawClient>(accept(listener_, nullptr, nullptr));
    }
    void TearDown() override {
        zv_rpc_client_close(client_);
        close(listener_);
    }

    int call(int timeout_ms) {
        reply_len_ = sizeof(reply_);
        return zv_rpc_client_call(client_, kEcho, "q", 1, nullptr, 0, reply_, &reply_len_, &status_,
                                  timeout_ms);
    }
    std::string reply() const { return {reply_, reply_len_}; }
    // The sequence number of the client's next request.
    uint32_t take_request() { return server_->receive().header.sequence; }

    Root root_;
    int listener_ = -1;
    std::unique_ptr<RawClient> server_;
    zv_rpc_client_t *client_ = nullptr;
    char reply_[8] = "before";
    uint32_t reply_len_ = 0;
    uint32_t status_ = 99;
};

TEST_F(PlayedServer, LateReplyIsNotTakenForTheNextCalls) {
    EXPECT_EQ(call(0), ETIMEDOUT);
    uint32_t late = take_request();
    server_->send(reply_packet(late, {'o', 'l', 'd'}));
    // The reply to the next call may wait already: the client numbers its requests one by one.
    server_->send(reply_packet(late + 1, {'n', 'e', 'w'}));
    EXPECT_EQ(call(kTimeoutMs), 0);
    EXPECT_EQ(reply(), "new");
}

TEST_F(PlayedServer, LateRepliesOfSeveralCallsAreDropped) {
    EXPECT_EQ(call(0), ETIMEDOUT);
    EXPECT_EQ(call(1), ETIMEDOUT);
    EXPECT_EQ(call(0), ETIMEDOUT);
    uint32_t first = take_request();
    server_->send(reply_packet(first, {'1'}));
    EXPECT_EQ(call(0), ETIMEDOUT);
    server_->send(reply_packet(first + 1, {'2'}));
    server_->send(reply_packet(first + 2, {'3'}));
    server_->send(reply_packet(first + 3, {'4'}));
    server_->send(reply_packet(first + 4, {'5'}));
    EXPECT_EQ(call(kTimeoutMs), 0);
    EXPECT_EQ(reply(), "5");
}

TEST_F(PlayedServer, LateReplyDoesNotTouchTheRoomOfTheNextCall) {
    EXPECT_EQ(call(0), ETIMEDOUT);
    server_->send(reply_packet(take_request(), Bytes(100, 'x')));
    EXPECT_EQ(call(0), ETIMEDOUT);
    EXPECT_STREQ(reply_, "before");
    EXPECT_EQ(reply_len_, 0u);
}

TEST_F(PlayedServer, LateReplyIsNotTakenByReceive) {
    EXPECT_EQ(call(0), ETIMEDOUT);
    uint32_t late = take_request();
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, 0), ENOMSG);
    uint32_t sent = 0;
    ASSERT_EQ(zv_rpc_client_send(client_, kEcho, nullptr, 0, nullptr, 0, &sent, 0), 0);
    server_->send(reply_packet(late, {'o', 'l', 'd'}));
    server_->send(reply_packet(sent, {'n', 'e', 'w'}));
    uint32_t sequence = 0;
    reply_len_ = sizeof(reply_);
    EXPECT_EQ(zv_rpc_client_receive(client_, &sequence, reply_, &reply_len_, nullptr, 0), 0);
    EXPECT_EQ(sequence, sent);
    EXPECT_EQ(reply(), "new");
}

TEST_F(PlayedServer, ReplyThatReceiveDidNotWaitForIsTakenLater) {
    uint32_t sent = 0;
    ASSERT_EQ(zv_rpc_client_send(client_, kEcho, nullptr, 0, nullptr, 0, &sent, 0), 0);
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, 0), ETIMEDOUT);
    server_->send(reply_packet(sent, {}));
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, 0), 0);
}

TEST_F(PlayedServer, ThatDoesNotReadCostsNoMoreThanTheTime) {
    int error = 0;
    int sent = 0;
    while (error == 0 && sent < 100000) {
        error =
            zv_rpc_client_send(client_, kEcho, Bytes(4000).data(), 4000, nullptr, 0, nullptr, 0);
        sent += error == 0;
    }
    EXPECT_EQ(error, ETIMEDOUT);
    uint32_t sequence = 0;
    EXPECT_EQ(
        zv_rpc_client_send(client_, kEcho, Bytes(4000).data(), 4000, nullptr, 0, &sequence, 10),
        ETIMEDOUT);
    // Nothing of the refused requests has arrived.
    uint32_t first = take_request();
    for (int i = 1; i < sent; i++) {
        ASSERT_EQ(take_request(), first + static_cast<uint32_t>(i));
    }
    EXPECT_FALSE(server_->readable(0));
    EXPECT_EQ(zv_rpc_client_send(client_, kEcho, nullptr, 0, nullptr, 0, &sequence, 0), 0);
    EXPECT_EQ(sequence, first + static_cast<uint32_t>(sent));
}

TEST_F(PlayedServer, RepliesSentBeforeItsEndAreTaken) {
    uint32_t sent[2];
    for (uint32_t &sequence : sent) {
        ASSERT_EQ(zv_rpc_client_send(client_, kEcho, nullptr, 0, nullptr, 0, &sequence, 0), 0);
    }
    take_request();
    server_->send(reply_packet(sent[0], {'1'}));
    // With the second request unread, which the kernel reports to the client as a reset.
    server_->close();
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, kTimeoutMs), 0);
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, kTimeoutMs),
              ECONNRESET);
}

TEST_F(PlayedServer, EndsAreReportedAfterATimeOutToo) {
    EXPECT_EQ(call(0), ETIMEDOUT);
    server_->close();
    EXPECT_EQ(call(kTimeoutMs), ECONNRESET);
}

TEST_F(PlayedServer, WhoseReplyIsNoneOfThisProtocolIsReported) {
    EXPECT_EQ(call(0), ETIMEDOUT);
    uint32_t next = take_request() + 1;
    Bytes good = reply_packet(next, {'x'});
    auto damaged = [&good](size_t offset, uint8_t value) {
        Bytes bytes = good;
        bytes[offset] = value;
        return bytes;
    };
    const Bytes replies[] = {damaged(0, 'X'), damaged(4, 2),     damaged(6, 1),
                             damaged(24, 2),  damaged(28, 1),    damaged(32, 1),
                             damaged(20, 5),  damaged(15, 0x7f), Bytes(39)};
    for (const Bytes &bytes : replies) {
        zv_rpc_client_t *client = nullptr;
        ASSERT_EQ(zv_rpc_client_connect(kSocketPath, &client), 0);
        RawClient server(accept(listener_, nullptr, nullptr));
        uint32_t sequence = 0;
        ASSERT_EQ(zv_rpc_client_send(client, kEcho, nullptr, 0, nullptr, 0, nullptr, 0), 0);
        ASSERT_EQ(zv_rpc_client_send(client, kEcho, nullptr, 0, nullptr, 0, &sequence, 0), 0);
        ASSERT_EQ(sequence, next);
        server.send(bytes);
        EXPECT_EQ(zv_rpc_client_receive(client, nullptr, nullptr, nullptr, nullptr, 0), EPROTO);
        zv_rpc_client_close(client);
    }
}

TEST_F(PlayedServer, WithTooManyConnectionsWaitingIsReportedAtOnce) {
    zv_rpc_client_t *waiting = nullptr;
    ASSERT_EQ(zv_rpc_client_connect(kSocketPath, &waiting), 0);
    zv_rpc_client_t *refused = nullptr;
    EXPECT_EQ(zv_rpc_client_connect(kSocketPath, &refused), EAGAIN);
    zv_rpc_client_close(waiting);
}

}  // namespace
