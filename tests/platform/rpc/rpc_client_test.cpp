// The client against the real server: results, and every error that it reports of one.
#include <gtest/gtest.h>
#include <poll.h>

#include <cerrno>
#include <string>

#include "rpc_test_support.h"
#include "zv_rpc_client.h"

namespace {

using namespace rpc_test;

class Client : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(zv_rpc_client_connect(kSocketPath, &client_), 0); }
    void TearDown() override { zv_rpc_client_close(client_); }

    int call(uint32_t command, const Bytes &body, const Bytes &attachment = {}) {
        reply_len_ = sizeof(reply_);
        return zv_rpc_client_call(client_, command, body.data(), uint32_t(body.size()),
                                  attachment.data(), uint32_t(attachment.size()), reply_,
                                  &reply_len_, &status_, kTimeoutMs);
    }
    Bytes reply() const { return Bytes(reply_, reply_ + reply_len_); }

    Root root_;
    ServerProcess server_;
    zv_rpc_client_t *client_ = nullptr;
    uint8_t reply_[8000] = {};
    uint32_t reply_len_ = 0;
    uint32_t status_ = 99;
};

TEST_F(Client, GetsTheReplyBody) {
    EXPECT_EQ(call(kEcho, {1, 2, 3}), 0);
    EXPECT_EQ(reply(), (Bytes{1, 2, 3}));
    EXPECT_EQ(status_, 0u);
}

TEST_F(Client, GetsTheHandlersStatusAsItIs) {
    EXPECT_EQ(call(kFail, {1, 2, 3}), 0);
    EXPECT_EQ(status_, 5u);
    EXPECT_EQ(reply_len_, 0u);
}

TEST_F(Client, SendsAPathAsTheAttachment) {
    EXPECT_EQ(call(kPath, Bytes(24), path_of("/tmp/dump")), 0);
    EXPECT_STREQ(server_.shared().path, "/tmp/dump");
}

TEST_F(Client, ReportsEachFailureOfTheTransport) {
    EXPECT_EQ(call(kEcho, Bytes(8), path_of("/x")), EBADMSG);
    EXPECT_EQ(call(99, Bytes(8)), EOPNOTSUPP);
    EXPECT_EQ(call(kEcho, Bytes(7961)), EMSGSIZE);
    EXPECT_EQ(status_, 0u);
    EXPECT_EQ(reply_len_, 0u);
    EXPECT_EQ(call(kEcho, Bytes(7960, 1)), 0);
}

TEST_F(Client, ReportsARequestThatNoSocketTakes) {
    EXPECT_EQ(call(kEcho, Bytes(16 << 20)), EMSGSIZE);
    // Not even looked at: the lengths do not add up in 32 bits.
    uint8_t byte = 0;
    EXPECT_EQ(zv_rpc_client_call(client_, kEcho, &byte, UINT32_MAX, &byte, UINT32_MAX, nullptr,
                                 nullptr, nullptr, kTimeoutMs),
              EMSGSIZE);
    EXPECT_EQ(call(kEcho, {1}), 0);
}

TEST_F(Client, ReportsAServerThatShutsDown) {
    RawClient holder;
    holder.send(packet(kBlock, 1));
    sem_wait(&server_.shared().entered);
    ASSERT_EQ(zv_rpc_client_send(client_, kCount, nullptr, 0, nullptr, 0, nullptr, kTimeoutMs), 0);
    server_.set_stop(1);
    sem_post(&server_.shared().gate);
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, kTimeoutMs),
              ESHUTDOWN);
    EXPECT_EQ(call(kEcho, {1}), ECONNRESET);
}

TEST_F(Client, ReportsAServerThatHasGone) {
    EXPECT_EQ(call(kEcho, {1}), 0);
    server_.kill();
    EXPECT_EQ(call(kEcho, {1}), ECONNRESET);
    EXPECT_EQ(call(kEcho, {1}), ECONNRESET);
}

TEST_F(Client, ReportsAServerThatGoesWhileItWaits) {
    ASSERT_EQ(zv_rpc_client_send(client_, kBlock, nullptr, 0, nullptr, 0, nullptr, kTimeoutMs), 0);
    sem_wait(&server_.shared().entered);
    uint32_t sent = 0;
    ASSERT_EQ(zv_rpc_client_send(client_, kCount, nullptr, 0, nullptr, 0, &sent, kTimeoutMs), 0);
    server_.kill();
    for (const uint32_t lost : {sent - 1, sent}) {
        uint32_t sequence = 0;
        EXPECT_EQ(zv_rpc_client_receive(client_, &sequence, nullptr, nullptr, nullptr, kTimeoutMs),
                  ECONNRESET);
        EXPECT_EQ(sequence, lost);
    }
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, 0), ENOMSG);
    EXPECT_EQ(call(kEcho, {1}), ECONNRESET) << "nothing is outstanding any more";
}

TEST_F(Client, ReportsAReplyLongerThanTheRoom) {
    Bytes body(100, 7);
    for (uint32_t room : {0u, 99u}) {
        reply_len_ = room;
        EXPECT_EQ(zv_rpc_client_call(client_, kEcho, body.data(), 100, nullptr, 0, reply_,
                                     &reply_len_, &status_, kTimeoutMs),
                  ENOBUFS);
        EXPECT_EQ(reply_len_, 100u);
    }
    reply_[100] = 0xee;
    reply_len_ = 100;
    EXPECT_EQ(zv_rpc_client_call(client_, kEcho, body.data(), 100, nullptr, 0, reply_, &reply_len_,
                                 &status_, kTimeoutMs),
              0);
    EXPECT_EQ(reply(), body);
    EXPECT_EQ(reply_[100], 0xee);
}

TEST_F(Client, DropsAReplyBodyThatNobodyWants) {
    EXPECT_EQ(zv_rpc_client_call(client_, kEcho, "abc", 3, nullptr, 0, nullptr, nullptr, nullptr,
                                 kTimeoutMs),
              0);
    EXPECT_EQ(call(kEcho, {1}), 0);
    EXPECT_EQ(reply(), Bytes{1});
}

TEST_F(Client, TakesTheReplyIntoTheRequestsOwnMemory) {
    Bytes record = {1, 2, 3, 4, 5, 6};
    uint32_t len = 6;
    EXPECT_EQ(zv_rpc_client_call(client_, kTail, record.data(), 6, nullptr, 0, record.data(), &len,
                                 nullptr, kTimeoutMs),
              0);
    EXPECT_EQ(record, (Bytes{5, 6, 3, 4, 5, 6}));
    EXPECT_EQ(len, 2u);
}

TEST_F(Client, TimesOutOnAHandlerThatTakesLong) {
    EXPECT_EQ(zv_rpc_client_call(client_, kBlock, "a", 1, nullptr, 0, nullptr, nullptr, nullptr, 1),
              ETIMEDOUT);
    sem_post(&server_.shared().gate);
    EXPECT_EQ(call(kEcho, {9}), 0);
    EXPECT_EQ(reply(), Bytes{9});
}

TEST_F(Client, HasSeveralRequestsUnderWay) {
    uint32_t sent[3];
    for (uint8_t i = 0; i < 3; i++) {
        ASSERT_EQ(zv_rpc_client_send(client_, kEcho, &i, 1, nullptr, 0, &sent[i], kTimeoutMs), 0);
    }
    for (uint8_t i = 0; i < 3; i++) {
        uint32_t sequence = 0;
        reply_len_ = sizeof(reply_);
        ASSERT_EQ(
            zv_rpc_client_receive(client_, &sequence, reply_, &reply_len_, &status_, kTimeoutMs),
            0);
        EXPECT_EQ(sequence, sent[i]);
        EXPECT_EQ(reply(), Bytes{i});
    }
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, kTimeoutMs),
              ENOMSG);
}

TEST_F(Client, NamesTheRequestAlsoWhereItFailed) {
    uint32_t sent = 0;
    uint32_t sequence = 0;
    ASSERT_EQ(zv_rpc_client_send(client_, 99, nullptr, 0, nullptr, 0, &sent, kTimeoutMs), 0);
    EXPECT_EQ(zv_rpc_client_receive(client_, &sequence, nullptr, nullptr, nullptr, kTimeoutMs),
              EOPNOTSUPP);
    EXPECT_EQ(sequence, sent);
}

TEST_F(Client, DoesNotMixCallsWithRequestsUnderWay) {
    ASSERT_EQ(zv_rpc_client_send(client_, kEcho, "a", 1, nullptr, 0, nullptr, kTimeoutMs), 0);
    EXPECT_EQ(call(kEcho, {1}), EBUSY);
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, kTimeoutMs), 0);
    EXPECT_EQ(call(kEcho, {1}), 0);
}

TEST_F(Client, HasASocketToPoll) {
    ASSERT_EQ(zv_rpc_client_send(client_, kEcho, "a", 1, nullptr, 0, nullptr, kTimeoutMs), 0);
    pollfd waited = {zv_rpc_client_fd(client_), POLLIN, 0};
    EXPECT_EQ(poll(&waited, 1, kTimeoutMs), 1);
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, nullptr, nullptr, 0), 0);
}

TEST_F(Client, RefusesNullWhereSomethingMustBe) {
    uint32_t len = 1;
    zv_rpc_client_close(client_);
    EXPECT_EQ(zv_rpc_client_connect(nullptr, &client_), EINVAL);
    EXPECT_EQ(client_, nullptr);
    EXPECT_EQ(zv_rpc_client_connect(kSocketPath, nullptr), EINVAL);
    ASSERT_EQ(zv_rpc_client_connect(kSocketPath, &client_), 0);
    EXPECT_EQ(zv_rpc_client_call(nullptr, 2, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, 0),
              EINVAL);
    EXPECT_EQ(zv_rpc_client_call(client_, 2, nullptr, 1, nullptr, 0, nullptr, nullptr, nullptr, 0),
              EINVAL);
    EXPECT_EQ(zv_rpc_client_call(client_, 2, nullptr, 0, nullptr, 1, nullptr, nullptr, nullptr, 0),
              EINVAL);
    EXPECT_EQ(zv_rpc_client_call(client_, 2, nullptr, 0, nullptr, 0, nullptr, &len, nullptr, 0),
              EINVAL);
    EXPECT_EQ(zv_rpc_client_send(nullptr, 2, nullptr, 0, nullptr, 0, nullptr, 0), EINVAL);
    EXPECT_EQ(zv_rpc_client_receive(nullptr, nullptr, nullptr, nullptr, nullptr, 0), EINVAL);
    EXPECT_EQ(zv_rpc_client_receive(client_, nullptr, nullptr, &len, nullptr, 0), EINVAL);
    EXPECT_EQ(zv_rpc_client_fd(nullptr), -1);
    zv_rpc_client_close(nullptr);
}

TEST(ClientConnect, ReportsAtOnceThatThereIsNoServer) {
    Root root;
    zv_rpc_client_t *client = nullptr;
    EXPECT_EQ(zv_rpc_client_connect(kSocketPath, &client), ENOENT);
    {
        ServerProcess dead;
        dead.kill();
    }
    EXPECT_EQ(zv_rpc_client_connect(kSocketPath, &client), ECONNREFUSED);
    EXPECT_EQ(client, nullptr);
}

TEST(ClientConnect, TakesAPathOfUpTo107Bytes) {
    Root root;
    zv_rpc_client_t *client = nullptr;
    std::string path = "/" + std::string(107 - root.path("").size() - 1, 's');
    EXPECT_EQ(zv_rpc_client_connect(path.c_str(), &client), ENOENT);
    path += "s";
    EXPECT_EQ(zv_rpc_client_connect(path.c_str(), &client), ENAMETOOLONG);
}

}  // namespace
