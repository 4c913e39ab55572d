// Many clients at once: order, fairness, clients that do not read, that vanish, that are too many.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "rpc_test_support.h"

namespace {

using namespace rpc_test;

class Serving : public ::testing::Test {
  protected:
    // Holds the server inside a handler until release, so that requests pile up in the meantime.
    void hold() {
        holder_.send(packet(kBlock, 1));
        sem_wait(&server_.shared().entered);
    }
    void release() {
        sem_post(&server_.shared().gate);
        EXPECT_EQ(holder_.receive().header.sequence, 1u);
    }
    // Waits until the server has counted so many requests, which other clients' requests show.
    void wait_for_calls(uint32_t count) {
        for (int i = 0; i < 100000 && server_.shared().handler_calls < count; i++) {
            holder_.call(packet(kEcho, 2));
        }
        EXPECT_EQ(server_.shared().handler_calls, count);
    }

    Root root_;
    ServerProcess server_;
    RawClient holder_;
};

TEST_F(Serving, AnswersPipelinedRequestsInTheirOrder) {
    RawClient client;
    hold();
    for (uint32_t i = 0; i < 100; i++) {
        // Every fourth is refused before any handler; that must not let it overtake.
        client.send(packet(i % 4 == 0 ? uint32_t{99} : kEcho, i, bytes_of(i)));
    }
    release();
    for (uint32_t i = 0; i < 100; i++) {
        RawReply reply = client.receive();
        EXPECT_EQ(reply.header.sequence, i);
        EXPECT_EQ(reply.header.transport, i % 4 == 0 ? 2u : 0u);
    }
}

TEST_F(Serving, ServesEveryConnectionOnceBeforeAnyTwice) {
    constexpr uint32_t kClients = 5;
    constexpr uint32_t kRounds = 20;
    std::vector<RawClient> clients(kClients);
    for (RawClient &client : clients) {
        // All are accepted, and their requests are there when the turns begin.
        client.call(packet(kEcho, 0));
    }
    hold();
    for (uint32_t i = 0; i < kClients; i++) {
        for (uint32_t round = 0; round < kRounds; round++) {
            clients[i].send(packet(kOrder, round, bytes_of(i)));
        }
    }
    release();
    for (RawClient &client : clients) {
        for (uint32_t round = 0; round < kRounds; round++) {
            client.receive();
        }
    }
    ASSERT_EQ(server_.shared().order_num, kClients * kRounds);
    for (uint32_t round = 0; round < kRounds; round++) {
        uint32_t seen = 0;
        for (uint32_t i = 0; i < kClients; i++) {
            seen |= 1u << server_.shared().order[round * kClients + i];
        }
        EXPECT_EQ(seen, (1u << kClients) - 1) << "round " << round;
    }
}

TEST_F(Serving, DoesNotReadFromAClientThatTakesNoReplies) {
    RawClient client;
    const Bytes body(kMaxMessage - 40, 0x5a);
    uint32_t sent = 0;
    int refusals = 0;
    // Twenty rounds of the server without room for one more request: it has stopped reading.
    while (refusals < 20 && sent < 10000) {
        if (client.try_send(packet(kEcho, sent, body))) {
            sent++;
            refusals = 0;
        } else {
            refusals++;
            EXPECT_EQ(holder_.call(packet(kEcho, 5, {1})).body, Bytes{1});
        }
    }
    EXPECT_EQ(refusals, 20);
    // Once it takes them it gets all of them, in order.
    for (uint32_t i = 0; i < sent; i++) {
        RawReply reply = client.receive();
        ASSERT_EQ(reply.header.sequence, i);
        ASSERT_EQ(reply.body.size(), body.size());
    }
    EXPECT_EQ(client.call(packet(kEcho, 6, {2})).body, Bytes{2});
}

TEST_F(Serving, OutlivesAClientThatVanishesWithItsReplyWaiting) {
    auto client = std::make_unique<RawClient>();
    const Bytes body(kMaxMessage - 40, 0x5a);
    for (int refusals = 0; refusals < 20;) {
        if (client->try_send(packet(kEcho, 1, body))) {
            refusals = 0;
        } else {
            refusals++;
            holder_.call(packet(kEcho, 5));
        }
    }
    client.reset();
    for (int i = 0; i < 1000 && server_.log().find("closed") == std::string::npos; i++) {
        holder_.call(packet(kEcho, 5));
    }
    EXPECT_NE(server_.log().find("closed"), std::string::npos);
}

TEST_F(Serving, CarriesOutWhatAClientHasDeliveredBeforeItVanished) {
    auto client = std::make_unique<RawClient>();
    client->call(packet(kEcho, 1));
    hold();
    for (uint32_t i = 0; i < 3; i++) {
        client->send(packet(kCount, i));
    }
    client.reset();
    release();
    wait_for_calls(3);
}

TEST_F(Serving, CarriesItOutAlsoWhereTheClientLeftRepliesUnread) {
    auto client = std::make_unique<RawClient>();
    client->send(packet(kEcho, 1));
    ASSERT_TRUE(client->readable());
    hold();
    client->send(packet(kCount, 2));
    client->send(packet(kCount, 3));
    client.reset();
    release();
    wait_for_calls(2);
}

TEST_F(Serving, CarriesOutWhatAClientSentBeforeItWasAccepted) {
    hold();
    {
        RawClient client;
        client.send(packet(kCount, 1));
    }
    release();
    wait_for_calls(1);
}

TEST_F(Serving, AnswersAClientThatHasClosedItsSendingSide) {
    RawClient client;
    client.send(packet(kEcho, 1, {1}));
    client.send({});
    client.send(packet(kEcho, 2, {2}));
    shutdown(client.fd(), SHUT_WR);
    EXPECT_EQ(client.receive().body, Bytes{1});
    EXPECT_EQ(client.receive().header.transport, 1u);
    EXPECT_EQ(client.receive().body, Bytes{2});
    EXPECT_TRUE(client.receive().ended);
}

// An empty packet before an end looks like the end: the server closes with the others unread, which
// the system tells the client once, before the reply that lies there.
TEST_F(Serving, AnswersARequestBeforeEmptyPacketsAndTheEnd) {
    RawClient client;
    client.call(packet(kEcho, 1));
    hold();
    client.send(packet(kEcho, 2, {2}));
    for (int i = 0; i < 3; i++) {
        client.send({});
    }
    shutdown(client.fd(), SHUT_WR);
    release();
    for (int i = 0; i < 1000 && server_.log().find("closed") == std::string::npos; i++) {
        holder_.call(packet(kEcho, 5));
    }
    uint8_t byte = 0;
    EXPECT_EQ(recv(client.fd(), &byte, 1, MSG_DONTWAIT | MSG_PEEK), -1);
    EXPECT_EQ(errno, ECONNRESET);
    const RawReply reply = client.receive();
    EXPECT_EQ(reply.header.sequence, 2u);
    EXPECT_EQ(reply.body, Bytes{2});
    EXPECT_TRUE(client.receive().ended);
}

TEST_F(Serving, IsNotDisturbedByClientsThatConnectAndLeave) {
    for (int i = 0; i < 600; i++) {
        RawClient client;
        ASSERT_EQ(client.error(), 0);
    }
    EXPECT_EQ(holder_.call(packet(kEcho, 1, {1})).body, Bytes{1});
}

TEST_F(Serving, KeepsNoDescriptorThatAClientSends) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    Bytes request = packet(kEcho, 1, {1});
    iovec part = {request.data(), request.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(header), &ends[1], sizeof(int));
    ASSERT_GT(sendmsg(holder_.fd(), &message, 0), 0);
    EXPECT_EQ(holder_.receive().body, Bytes{1});
    close(ends[1]);
    // The end of the pipe: nobody has its other end open any more.
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 0);
    close(ends[0]);
}

TEST_F(Serving, AcceptsAgainWhenDescriptorsAreFreeAgain) {
    auto client = std::make_unique<RawClient>();
    client->call(packet(kEcho, 1));
    holder_.call(packet(kLimitFiles, 1, bytes_of(3)));
    RawClient waiting;
    waiting.send(packet(kEcho, 2, {2}));
    // Those that are connected are served meanwhile.
    EXPECT_EQ(holder_.call(packet(kEcho, 3, {3})).body, Bytes{3});
    for (int i = 0; i < 1000 && server_.log().find("Cannot accept") == std::string::npos; i++) {
        holder_.call(packet(kEcho, 3));
    }
    EXPECT_NE(server_.log().find("3 ZV_RPC Cannot accept a connection: Too many open files.\n"),
              std::string::npos);
    EXPECT_FALSE(waiting.readable(0));
    holder_.call(packet(kLimitFiles, 1, bytes_of(64)));
    EXPECT_EQ(waiting.receive().body, Bytes{2});
}

uint32_t word_in(const RawReply &reply) {
    uint32_t word = 0;
    EXPECT_EQ(reply.body.size(), sizeof(word));
    memcpy(&word, reply.body.data(), std::min(sizeof(word), reply.body.size()));
    return word;
}

// Each connection that is accepted logs a line.
TEST_F(Serving, AcceptsAtMost64ConnectionsBetweenTwoRequestsOfAnother) {
    RawClient other;
    other.call(packet(kEcho, 1));
    hold();
    for (uint32_t i = 0; i < 3; i++) {
        other.send(packet(kLogLines, i));
    }
    const std::vector<RawClient> newcomers(100);
    release();
    const uint32_t before = word_in(other.receive());
    EXPECT_EQ(word_in(other.receive()) - before, 64u);
    EXPECT_EQ(word_in(other.receive()) - before, 100u);
}

TEST_F(Serving, NamesThePeerWhenAConnectionComesAndGoes) {
    auto client = std::make_unique<RawClient>();
    client->call(packet(kEcho, 1));
    std::string who = "onnection of uid " + std::to_string(getuid()) + ", gid " +
                      std::to_string(getgid()) + ", pid " + std::to_string(getpid());
    EXPECT_NE(server_.log().find("15 ZV_RPC C" + who + " opened, 2 are open.\n"), std::string::npos)
        << server_.log();
    client.reset();
    for (int i = 0; i < 1000 && server_.log().find("closed") == std::string::npos; i++) {
        holder_.call(packet(kEcho, 5));
    }
    EXPECT_NE(server_.log().find("15 ZV_RPC C" + who + " closed, 1 left.\n"), std::string::npos);
}

class ManyConnections : public ::testing::Test {
  protected:
    void SetUp() override { set_up(600, {}); }
    void TearDown() override { setrlimit(RLIMIT_NOFILE, &saved_); }

    void set_up(rlim_t descriptors, const ServerOptions &options) {
        getrlimit(RLIMIT_NOFILE, &saved_);
        struct rlimit wanted = saved_;
        wanted.rlim_cur = wanted.rlim_max;
        setrlimit(RLIMIT_NOFILE, &wanted);
        if (wanted.rlim_cur < descriptors) {
            GTEST_SKIP() << "not enough descriptors";
        }
        server_ = std::make_unique<ServerProcess>(options);
    }

    struct rlimit saved_ = {};
    Root root_;
    std::unique_ptr<ServerProcess> server_;
};

TEST_F(ManyConnections, AreServedUpTo512AndOneMoreIsClosedAtOnce) {
    std::vector<RawClient> clients(512);
    for (uint32_t i = 0; i < clients.size(); i++) {
        clients[i].send(packet(kEcho, i, bytes_of(i)));
    }
    for (uint32_t i = 0; i < clients.size(); i++) {
        ASSERT_EQ(clients[i].receive().body, bytes_of(i));
    }
    RawClient refused;
    EXPECT_EQ(refused.error(), 0);
    EXPECT_TRUE(refused.receive().ended);
    EXPECT_NE(server_->log().find("refused: 512 are open.\n"), std::string::npos);

    clients.pop_back();
    // The place is free once the server has seen the end.
    bool served = false;
    for (int i = 0; i < 1000 && !served; i++) {
        RawClient client;
        served = client.try_send(packet(kEcho, 1)) && !client.receive().ended;
    }
    EXPECT_TRUE(served);
}

class WaitingConnections : public ManyConnections {
  protected:
    void SetUp() override { set_up(1200, ServerOptions{{}, true}); }
};

// The kernel lets one more wait than the queue's length, which the system may bound further.
TEST_F(WaitingConnections, Are1025AndOneMoreIsRefusedAtOnce) {
    uint32_t length = 1024;
    uint32_t longest = length;
    std::ifstream("/proc/sys/net/core/somaxconn") >> longest;
    length = std::min(length, longest);
    const sockaddr_un address = server_address();
    std::vector<RawClient> waiting;
    for (uint32_t i = 0; i <= length; i++) {
        waiting.emplace_back(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        ASSERT_EQ(connect(waiting.back().fd(), reinterpret_cast<const sockaddr *>(&address),
                          sizeof(address)),
                  0)
            << i;
    }
    const RawClient refused(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    EXPECT_EQ(connect(refused.fd(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)),
              -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(BusyPoll, TakesUpToASecondAndWarnsOfWhatIsNoSuchNumber) {
    Root root;
    for (const char *text : {"0", "1000000"}) {
        ServerProcess server(ServerOptions{{{"ZV_RPC_BUSY_POLL_US", text}}, true});
        EXPECT_EQ(server.log(), "");
    }
    for (const char *text : {"1000001", "-1", "0x10", "1us"}) {
        ServerProcess server(ServerOptions{{{"ZV_RPC_BUSY_POLL_US", text}}, true});
        EXPECT_EQ(server.log(), std::string("3 ZV_RPC ZV_RPC_BUSY_POLL_US=") + text +
                                    " is no number up to 1000000 and is not used.\n");
    }
}

TEST(BusyPoll, ServesAsWell) {
    Root root;
    ServerProcess server(ServerOptions{{{"ZV_RPC_BUSY_POLL_US", "200"}}});
    RawClient client;
    for (uint32_t i = 0; i < 100; i++) {
        EXPECT_EQ(client.call(packet(kEcho, i, bytes_of(i))).body, bytes_of(i));
    }
    EXPECT_EQ(server.deinit(), 0u);
    EXPECT_EQ(server.exit_status(), 0);
}

}  // namespace
