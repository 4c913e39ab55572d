// The end of serving, asked for on another thread at every moment.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "rpc_test_support.h"

namespace {

using namespace rpc_test;

class Stop : public ::testing::Test {
  protected:
    void hold(ServerProcess *server, RawClient *holder) {
        holder->send(packet(kBlock, 1, {1}));
        sem_wait(&server->shared().entered);
    }
    void release(ServerProcess *server) { sem_post(&server->shared().gate); }

    Root root_;
};

TEST_F(Stop, AnswersWhatIsReceivedAndFinishesTheRunningHandler) {
    ServerProcess server;
    RawClient holder;
    RawClient first;
    RawClient second;
    first.call(packet(kEcho, 1));
    second.call(packet(kEcho, 1));
    hold(&server, &holder);
    first.send(packet(kCount, 10));
    first.send(packet(kCount, 11));
    first.send(packet(99, 12));
    second.send(Bytes(3));
    RawClient not_accepted;
    not_accepted.send(packet(kCount, 13));
    holder.send(packet(kCount, 2));
    server.set_stop(1);
    release(&server);
    server.begin_deinit();

    EXPECT_EQ(holder.receive().body, Bytes{1});
    EXPECT_EQ(holder.receive().header.transport, 4u);
    for (uint32_t sequence : {10u, 11u, 12u}) {
        RawReply reply = first.receive();
        EXPECT_EQ(reply.header.sequence, sequence);
        EXPECT_EQ(reply.header.transport, 4u);
        EXPECT_EQ(reply.header.status, 0u);
    }
    EXPECT_EQ(second.receive().header.transport, 1u);
    RawReply reply = not_accepted.receive();
    EXPECT_EQ(reply.header.sequence, 13u);
    EXPECT_EQ(reply.header.transport, 4u);
    for (RawClient *client : {&holder, &first, &second, &not_accepted}) {
        EXPECT_TRUE(client->receive().ended);
    }
    EXPECT_EQ(server.deinit_result(), 0u);
    EXPECT_EQ(server.shared().handler_calls, 0u);
    EXPECT_EQ(server.exit_status(), 0);
}

TEST_F(Stop, TakesNoFurtherRequestOfTheRoundThatIsUnderWay) {
    ServerProcess server;
    RawClient holder;
    RawClient second_holder;
    RawClient client;
    second_holder.call(packet(kEcho, 1));
    client.call(packet(kEcho, 1));
    hold(&server, &holder);
    // These two are seen together when the first handler is through, and served in this order.
    second_holder.send(packet(kBlock, 1));
    client.send(packet(kCount, 2));
    release(&server);
    sem_wait(&server.shared().entered);
    server.set_stop(1);
    release(&server);
    EXPECT_EQ(client.receive().header.transport, 4u);
    EXPECT_EQ(server.shared().handler_calls, 0u);
}

TEST_F(Stop, WakesASleepingLoopWhichDoesNotReturn) {
    ServerProcess server;
    RawClient client;
    client.call(packet(kEcho, 1));
    server.set_stop(1);
    EXPECT_TRUE(client.receive().ended);
    EXPECT_EQ(server.deinit(), 0u);
    EXPECT_EQ(server.exit_status(), 0);
}

TEST_F(Stop, RefusesConnectionsWhenTheLoopHasEnded) {
    ServerProcess server;
    RawClient client;
    client.call(packet(kEcho, 1));
    server.set_stop(1);
    EXPECT_TRUE(client.receive().ended);
    EXPECT_EQ(RawClient().error(), ECONNREFUSED);
}

TEST_F(Stop, DoesNotWaitForAClientThatTakesNoReplies) {
    ServerProcess server;
    RawClient client;
    RawClient other;
    for (int refusals = 0; refusals < 20;) {
        if (client.try_send(packet(kEcho, 1, Bytes(kMaxMessage - 40)))) {
            refusals = 0;
        } else {
            refusals++;
            other.call(packet(kEcho, 5));
        }
    }
    server.set_stop(1);
    EXPECT_EQ(server.deinit(), 0u);
    EXPECT_EQ(server.exit_status(), 0);
}

TEST_F(Stop, BeforeTheLoopAnswersWhatIsReceivedWhenTheLoopStarts) {
    ServerProcess server(ServerOptions{{}, true});
    RawClient client;
    client.send(packet(kCount, 1));
    server.set_stop(1);
    server.start_loop();
    EXPECT_EQ(client.receive().header.transport, 4u);
    EXPECT_TRUE(client.receive().ended);
    EXPECT_EQ(server.deinit(), 0u);
    EXPECT_EQ(server.exit_status(), 0);
}

TEST_F(Stop, CanBeWithdrawnBeforeTheLoopStarts) {
    ServerProcess server(ServerOptions{{}, true});
    server.set_stop(1);
    server.set_stop(0);
    server.start_loop();
    RawClient client;
    EXPECT_EQ(client.call(packet(kEcho, 1, {1})).body, Bytes{1});
}

TEST_F(Stop, ParksALoopThatStartsAfterEverythingIsGone) {
    ServerProcess server(ServerOptions{{}, true});
    server.set_stop(1);
    EXPECT_EQ(server.deinit(), 0u);
    server.start_loop();
    // Two more questions that the other thread answers: a loop that returned ends the process.
    EXPECT_EQ(server.deinit(), 2u);
    EXPECT_EQ(server.deinit(), 2u);
    EXPECT_EQ(server.exit_status(), 0);
}

TEST_F(Stop, LetsALoopWithoutATableReturnWhereNobodyAskedForIt) {
    ServerProcess server(ServerOptions{{}, true});
    EXPECT_EQ(server.deinit(), 0u);
    server.start_loop();
    EXPECT_EQ(server.wait_for_exit(), 102);
}

TEST_F(Stop, DeinitWaitsForTheRunningHandler) {
    ServerProcess server;
    RawClient holder;
    hold(&server, &holder);
    server.begin_deinit();
    release(&server);
    EXPECT_EQ(server.deinit_result(), 0u);
    EXPECT_EQ(server.shared().handlers_left, 1u);
    EXPECT_EQ(holder.receive().body, Bytes{1});
    EXPECT_EQ(server.exit_status(), 0);
}

TEST_F(Stop, DeinitRemovesTheSocketFileAndKeepsTheLockFile) {
    ServerProcess server;
    EXPECT_TRUE(std::filesystem::exists(root_.path()));
    EXPECT_EQ(server.deinit(), 0u);
    EXPECT_FALSE(std::filesystem::exists(root_.path()));
    EXPECT_TRUE(std::filesystem::exists(root_.path() + ".lock"));
    EXPECT_EQ(RawClient().error(), ENOENT);
}

TEST_F(Stop, DeinitFailsTheSecondTime) {
    ServerProcess server;
    // The loop runs before it loses its table: one that starts later returns and ends the process.
    EXPECT_EQ(RawClient().call(packet(kEcho, 1, {1})).body, Bytes{1});
    EXPECT_EQ(server.deinit(), 0u);
    EXPECT_EQ(server.deinit(), 2u);
}

TEST_F(Stop, DeinitFailsInsideAHandler) {
    ServerProcess server;
    RawClient client;
    EXPECT_EQ(client.call(packet(kDeinit, 1)).body, bytes_of(5));
    EXPECT_EQ(client.call(packet(kEcho, 1, {1})).body, Bytes{1});
}

TEST_F(Stop, TheLogSinkIsSilentAfterDeinit) {
    ServerProcess server;
    RawClient client;
    client.call(packet(kEcho, 1));
    EXPECT_EQ(server.deinit(), 0u);
    uint32_t lines = server.shared().log_lines;
    EXPECT_EQ(lines, 2u);  // opened, closed
    client.close();
    RawClient another;
    EXPECT_EQ(server.deinit(), 2u);
    EXPECT_EQ(server.shared().log_lines, lines);
}

}  // namespace
