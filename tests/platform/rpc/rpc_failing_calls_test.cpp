// Calls of the operating system that fail in the server. This program's definitions stand before
// the C library's for the library under test as well; only the forked server's calls fail.
#include <dlfcn.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "rpc_test_support.h"

namespace {

using namespace rpc_test;

// The nth call from now on fails with `error`, and so do times - 1 after it; error 0: none.
struct Failing {
    std::atomic<int> error;
    std::atomic<int> nth;
    std::atomic<int> times;

    void arm(int wanted, int first, int num) {
        error = 0;
        nth = first;
        times = num;
        error = wanted;
    }
    bool hits() { return error != 0 && --nth < 1 && nth > -times; }
};

struct Calls {
    Failing send;
    Failing recv;
    Failing lstat;
    Failing epoll_ctl;
    Failing accept4;
    Failing wake_read;                // of the eventfd that wakes the loop
    Failing wake_write;               // the same
    Failing array;                    // of operator new that throws nothing
    std::atomic<uint32_t> unwatched;  // descriptors that were taken out of a wait
    pid_t tests_pid;
};

std::string about_this_process(const std::string &begin, const std::string &end) {
    return begin + " of uid " + std::to_string(getuid()) + ", gid " + std::to_string(getgid()) +
           ", pid " + std::to_string(getpid()) + end;
}

Calls &calls() {
    static Calls &shared = *[] {
        void *memory =
            mmap(nullptr, sizeof(Calls), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        auto *made = static_cast<Calls *>(memory);
        made->tests_pid = getpid();
        return made;
    }();
    return shared;
}

bool fails(Failing &call) {
    if (getpid() == calls().tests_pid || !call.hits()) {
        return false;
    }
    errno = call.error;
    return true;
}

template <class Function>
Function *next(const char *name) {
    void *found = dlsym(RTLD_NEXT, name);
    Function *function = nullptr;
    memcpy(&function, &found, sizeof(function));
    return function;
}

class FailingCalls : public ::testing::Test {
  protected:
    FailingCalls() { calls(); }
    ~FailingCalls() override {
        for (Failing *call :
             {&calls().send, &calls().recv, &calls().lstat, &calls().epoll_ctl, &calls().accept4,
              &calls().wake_read, &calls().wake_write, &calls().array}) {
            call->error = 0;
        }
    }
    Root root_;
};

TEST_F(FailingCalls, AReplyWithoutKernelMemoryIsSentLater) {
    ServerProcess server;
    RawClient client;
    for (const int error : {ENOMEM, ENOBUFS}) {
        calls().send.arm(error, 1, 3);
        EXPECT_EQ(client.call(packet(kEcho, 1, {7})).body, Bytes{7}) << strerror(error);
        EXPECT_EQ(client.call(packet(kEcho, 2, {8})).body, Bytes{8});
    }
}

TEST_F(FailingCalls, AReplyThatCannotBeSentEndsItsConnectionAlone) {
    ServerProcess server;
    RawClient client;
    RawClient other;
    other.call(packet(kEcho, 1));
    calls().send.arm(EMSGSIZE, 1, 1);
    EXPECT_TRUE(client.call(packet(kEcho, 1)).ended);
    EXPECT_EQ(other.call(packet(kEcho, 2, {8})).body, Bytes{8});
    EXPECT_NE(server.log().find(about_this_process("3 ZV_RPC Cannot send a reply to a connection",
                                                   ": Message too long.\n")),
              std::string::npos)
        << server.log();
}

TEST_F(FailingCalls, AReplyThatWaitedAndCannotBeSentEndsItsConnectionAlone) {
    ServerProcess server;
    RawClient client;
    RawClient other;
    other.call(packet(kEcho, 1));
    calls().send.arm(EAGAIN, 1, 1);
    EXPECT_EQ(client.call(packet(kEcho, 1, {7})).body, Bytes{7});
    calls().send.arm(ENOMEM, 1, 1);
    EXPECT_EQ(client.call(packet(kEcho, 1, {7})).body, Bytes{7});
    calls().send.arm(EIO, 1, 1);
    EXPECT_TRUE(client.call(packet(kEcho, 1)).ended);
    EXPECT_EQ(other.call(packet(kEcho, 2, {8})).body, Bytes{8});
}

TEST_F(FailingCalls, AReplyThatMustWaitAndFindsNoMemoryEndsItsConnectionAlone) {
    ServerProcess server;
    RawClient client;
    RawClient other;
    other.call(packet(kEcho, 1));
    client.call(packet(kEcho, 1));
    calls().array.arm(ENOMEM, 1, 1);
    calls().send.arm(EAGAIN, 1, 1);
    EXPECT_TRUE(client.call(packet(kEcho, 1, {7})).ended);
    EXPECT_EQ(other.call(packet(kEcho, 2, {8})).body, Bytes{8});
    EXPECT_NE(server.log().find(about_this_process(
                  "3 ZV_RPC No memory for a reply that waits, to a connection", ".\n")),
              std::string::npos)
        << server.log();
}

TEST_F(FailingCalls, AConnectionThatCannotBeWatchedIsEndedAlone) {
    ServerProcess server;
    RawClient other;
    other.call(packet(kEcho, 1));
    calls().epoll_ctl.arm(ENOSPC, 1, 1);
    RawClient client;
    EXPECT_TRUE(client.receive().ended);
    EXPECT_EQ(other.call(packet(kEcho, 2, {8})).body, Bytes{8});
    EXPECT_NE(server.log().find(about_this_process("3 ZV_RPC Cannot watch a connection",
                                                   ": No space left on device.\n")),
              std::string::npos)
        << server.log();
}

size_t count_in(const std::string &text, const std::string &part) {
    size_t num = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        num++;
    }
    return num;
}

void wait_for_a_close(ServerProcess &server, RawClient &other) {
    for (int i = 0; i < 1000 && count_in(server.log(), "closed") == 0; i++) {
        other.call(packet(kEcho, 2));
    }
}

// A child process of the server's has the connection as well, which therefore stays in the wait
// unless it is taken out.
TEST_F(FailingCalls, AConnectionThatIsClosedIsUnwatchedThoughAForkedChildKeepsIt) {
    ServerProcess server;
    RawClient other;
    RawClient client;
    client.call(packet(kFork, 1));
    calls().unwatched = 0;
    client.close();
    wait_for_a_close(server, other);
    EXPECT_EQ(calls().unwatched, 1u);
    for (int i = 0; i < 10; i++) {
        EXPECT_EQ(other.call(packet(kEcho, 2, {8})).body, Bytes{8});
    }
    EXPECT_EQ(count_in(server.log(), "closed"), 1u) << server.log();
}

TEST_F(FailingCalls, EventsOfAClosedConnectionThatStaysWatchedAreIgnored) {
    ServerProcess server;
    RawClient other;
    RawClient client;
    client.call(packet(kFork, 1));
    calls().epoll_ctl.arm(ENOMEM, 1, 1);
    client.close();
    wait_for_a_close(server, other);
    for (int i = 0; i < 10; i++) {
        EXPECT_EQ(other.call(packet(kEcho, 2, {8})).body, Bytes{8});
    }
    EXPECT_EQ(count_in(server.log(), "closed"), 1u) << server.log();
}

TEST_F(FailingCalls, ATableThatFindsNoMemoryIsNoBadTable) {
    const int status = in_child([] {
        const auto nothing = [](uint8_t *, uint32_t, uint8_t **, uint32_t *) { return 0u; };
        const zv_rpc_command_t table = {2, "A", nothing, 2};
        zv_rpc_core_td_init(kSocketPath, kMaxMessage);
        calls().array.arm(ENOMEM, 1, 1);
        const uint32_t first = zv_rpc_api_rpc_command_db_init(&table, 1);
        const uint32_t second = zv_rpc_api_rpc_command_db_init(&table, 1);
        return static_cast<int>(10 * first + second);
    });
    EXPECT_EQ(status, 40);
}

TEST_F(FailingCalls, AListenerThatCannotBeWatchedAgainIsTriedAgain) {
    ServerProcess server;
    RawClient first;
    first.call(packet(kEcho, 1));
    calls().accept4.arm(EMFILE, 1, 1);
    // The one that stops watching goes through, the next three fail.
    calls().epoll_ctl.arm(ENOMEM, 2, 3);
    RawClient second;
    EXPECT_EQ(second.call(packet(kEcho, 2, {8})).body, Bytes{8});
}

TEST_F(FailingCalls, ALockFileThatCannotBeLookedAtRefusesTheStart) {
    calls().lstat.arm(EIO, 1, 1000000);
    ServerProcess server;
    EXPECT_EQ(server.init_status(), 4u);
    EXPECT_NE(server.log().find("Cannot look at"), std::string::npos) << server.log();
}

// The stop is taken back before the loop comes to see it. What could not be read now wakes it
// once more.
TEST_F(FailingCalls, AWakeThatCannotBeReadIsReadInALaterRound) {
    for (const int error : {EINTR, EAGAIN}) {
        ServerProcess server(ServerOptions{{}, true});
        server.set_stop(1);
        server.set_stop(0);
        calls().wake_read.arm(error, 1, 3);
        server.start_loop();
        RawClient client;
        for (uint32_t i = 0; calls().wake_read.nth > -3 && i < 1000; i++) {
            EXPECT_EQ(client.call(packet(kEcho, i, {8})).body, Bytes{8}) << strerror(error);
        }
        EXPECT_EQ(calls().wake_read.nth, -3) << "three reads fail and the fourth goes through";
    }
}

// The stop is said twice, and asleep or not the loop sees the second.
TEST_F(FailingCalls, AWakeThatCannotBeWrittenIsMadeUpForByTheEndItself) {
    for (const int error : {EINTR, EAGAIN}) {
        ServerProcess server;
        RawClient client;
        EXPECT_EQ(client.call(packet(kEcho, 1, {8})).body, Bytes{8});
        calls().wake_write.arm(error, 1, 1);
        server.set_stop(1);
        EXPECT_EQ(calls().wake_write.nth, 0) << "it was written";
        EXPECT_EQ(server.deinit(), 0u);
        EXPECT_TRUE(client.receive().ended);
        EXPECT_EQ(server.exit_status(), 0);
    }
}

// A server that comes to its end with requests of two clients unread, one of them not accepted.
class FailingCallsAtTheEnd : public FailingCalls {
  protected:
    FailingCallsAtTheEnd() {
        accepted_.call(packet(kEcho, 1));
        holder_.send(packet(kBlock, 1, {1}));
        sem_wait(&server_.shared().entered);
        accepted_.send(packet(kCount, 10));
        accepted_.send(packet(kCount, 11));
        newcomer_ = std::make_unique<RawClient>();
        newcomer_->send(packet(kCount, 12));
        server_.set_stop(1);
    }
    void end() {
        sem_post(&server_.shared().gate);
        EXPECT_EQ(server_.deinit(), 0u);
    }
    void expect_shutting_down(RawClient &client, uint32_t sequence) {
        const RawReply reply = client.receive();
        EXPECT_FALSE(reply.ended) << "request " << sequence;
        EXPECT_EQ(reply.header.sequence, sequence);
        EXPECT_EQ(reply.header.transport, 4u);
    }
    void expect_all_answered() {
        expect_shutting_down(accepted_, 10);
        expect_shutting_down(accepted_, 11);
        expect_shutting_down(*newcomer_, 12);
        EXPECT_EQ(server_.exit_status(), 0);
    }

    ServerProcess server_;
    RawClient holder_;
    RawClient accepted_;
    std::unique_ptr<RawClient> newcomer_;
};

TEST_F(FailingCallsAtTheEnd, AnInterruptedReceiveLosesNoRequest) {
    calls().recv.arm(EINTR, 1, 3);
    end();
    expect_all_answered();
}

TEST_F(FailingCallsAtTheEnd, AnInterruptedSendLosesNoReply) {
    calls().send.arm(EINTR, 1, 3);
    end();
    EXPECT_EQ(holder_.receive().body, Bytes{1});
    expect_all_answered();
}

TEST_F(FailingCallsAtTheEnd, AnInterruptedAcceptLosesNoClient) {
    calls().accept4.arm(EINTR, 1, 3);
    end();
    expect_all_answered();
}

TEST_F(FailingCallsAtTheEnd, WithoutDescriptorsClientsThatWaitToBeAcceptedAreClosedAlone) {
    calls().accept4.arm(EMFILE, 1, 1);
    end();
    expect_shutting_down(accepted_, 10);
    expect_shutting_down(accepted_, 11);
    EXPECT_TRUE(newcomer_->receive().ended);
    EXPECT_EQ(server_.exit_status(), 0);
}

// The holder's reply goes out before; the first of the two requests finds no memory.
TEST_F(FailingCallsAtTheEnd, WithoutKernelMemoryForARequestItsConnectionIsClosedAlone) {
    calls().recv.arm(ENOMEM, 2, 1);
    end();
    EXPECT_EQ(holder_.receive().body, Bytes{1});
    EXPECT_TRUE(accepted_.receive().ended);
    expect_shutting_down(*newcomer_, 12);
    EXPECT_EQ(server_.exit_status(), 0);
}

TEST_F(FailingCallsAtTheEnd, WithoutKernelMemoryForAReplyItsConnectionIsClosedAlone) {
    calls().send.arm(ENOMEM, 2, 1);
    end();
    EXPECT_EQ(holder_.receive().body, Bytes{1});
    EXPECT_TRUE(accepted_.receive().ended);
    expect_shutting_down(*newcomer_, 12);
    EXPECT_EQ(server_.exit_status(), 0);
}

size_t g_line_len = 0;

void take_line(uint32_t /*severity_mask*/, const char * /*module*/, const char *message, ...) {
    g_line_len = strlen(message);
}

// The length of the line that complains of a socket path of so many characters.
size_t logged_length_of_path(size_t path_len) {
    zv_rpc_register_log_function(take_line);
    zv_rpc_core_td_init(("/" + std::string(path_len - 1, 'a')).c_str(), kMaxMessage);
    return g_line_len;
}

TEST(RpcLog, LinesAreCutAt511Characters) {
    const Root root;
    const size_t others = strlen("The socket's path is too long: .\n") + root.path("/").size() - 1;
    const int whole = in_child([&] { return logged_length_of_path(511 - others) == 511 ? 0 : 1; });
    EXPECT_EQ(whole, 0);
    const int cut = in_child([&] { return logged_length_of_path(512 - others) == 511 ? 0 : 1; });
    EXPECT_EQ(cut, 0);
}

}  // namespace

[[gnu::visibility("default")]] void *operator new[](size_t size,
                                                    const std::nothrow_t & /*tag*/) noexcept {
    return fails(calls().array) ? nullptr : ::operator new[](size);
}

// NOLINTBEGIN: the C library's names
extern "C" {

[[gnu::visibility("default")]] ssize_t send(int fd, const void *bytes, size_t len, int flags) {
    return fails(calls().send) ? -1 : next<decltype(::send)>("send")(fd, bytes, len, flags);
}

[[gnu::visibility("default")]] ssize_t recv(int fd, void *bytes, size_t len, int flags) {
    return fails(calls().recv) ? -1 : next<decltype(::recv)>("recv")(fd, bytes, len, flags);
}

// Only the eventfd's transfers have eight bytes.
[[gnu::visibility("default")]] ssize_t read(int fd, void *bytes, size_t len) {
    return len == sizeof(uint64_t) && fails(calls().wake_read)
               ? -1
               : next<decltype(::read)>("read")(fd, bytes, len);
}

[[gnu::visibility("default")]] ssize_t write(int fd, const void *bytes, size_t len) {
    return len == sizeof(uint64_t) && fails(calls().wake_write)
               ? -1
               : next<decltype(::write)>("write")(fd, bytes, len);
}

[[gnu::visibility("default")]] int lstat(const char *path, struct stat *info) noexcept {
    return fails(calls().lstat) ? -1 : next<int(const char *, struct stat *)>("lstat")(path, info);
}

[[gnu::visibility("default")]] int epoll_ctl(int poll_fd, int operation, int fd,
                                             epoll_event *event) noexcept {
    calls().unwatched += operation == EPOLL_CTL_DEL ? 1 : 0;
    return fails(calls().epoll_ctl) ? -1
                                    : next<int(int, int, int, epoll_event *)>("epoll_ctl")(
                                          poll_fd, operation, fd, event);
}

[[gnu::visibility("default")]] int accept4(int fd, sockaddr *address, socklen_t *len, int flags) {
    return fails(calls().accept4)
               ? -1
               : next<int(int, sockaddr *, socklen_t *, int)>("accept4")(fd, address, len, flags);
}
}
// NOLINTEND
