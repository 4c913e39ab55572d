#include "rpc_test_support.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace rpc_test {

#ifdef ZV_COVERAGE
extern "C" void __gcov_dump(void);
#endif

namespace {

// Of the process that serves.
Shared *g_shared = nullptr;

uint32_t word_of(const uint8_t *body) {
    uint32_t word = 0;
    memcpy(&word, body, sizeof(word));
    return word;
}

uint32_t echo(uint8_t *body, uint32_t body_len, uint8_t **reply, uint32_t *reply_len) {
    *reply = body;
    *reply_len = body_len;
    return 0;
}

uint32_t fail(uint8_t *body, uint32_t body_len, uint8_t **reply, uint32_t *reply_len) {
    echo(body, body_len, reply, reply_len);
    return 5;
}

uint32_t count(uint8_t *, uint32_t, uint8_t **, uint32_t *) {
    g_shared->handler_calls++;
    return 0;
}

uint32_t block(uint8_t *body, uint32_t body_len, uint8_t **reply, uint32_t *reply_len) {
    sem_post(&g_shared->entered);
    sem_wait(&g_shared->gate);
    // Time for whoever does not wait for this handler.
    for (int i = 0; i < 1000; i++) {
        std::this_thread::yield();
    }
    g_shared->handlers_left++;
    return echo(body, body_len, reply, reply_len);
}

uint32_t inspect(uint8_t *body, uint32_t body_len, uint8_t **reply, uint32_t *reply_len) {
    static uint32_t answer[3];
    answer[0] = body_len;
    answer[1] = body == nullptr;
    answer[2] = reinterpret_cast<uintptr_t>(body) % 8;
    *reply = reinterpret_cast<uint8_t *>(answer);
    *reply_len = sizeof(answer);
    return 0;
}

uint32_t tail(uint8_t *body, uint32_t body_len, uint8_t **reply, uint32_t *reply_len) {
    return echo(body + 4, body_len - 4, reply, reply_len);
}

uint32_t big(uint8_t *body, uint32_t, uint8_t **reply, uint32_t *reply_len) {
    static uint8_t memory[16384];
    memset(memory, 'b', sizeof(memory));
    return echo(memory, word_of(body), reply, reply_len);
}

uint32_t order(uint8_t *body, uint32_t, uint8_t **, uint32_t *) {
    g_shared->order[g_shared->order_num++] = word_of(body);
    return 0;
}

uint32_t null_reply(uint8_t *, uint32_t, uint8_t **reply, uint32_t *reply_len) {
    return echo(nullptr, 4, reply, reply_len);
}

uint32_t limit_files(uint8_t *body, uint32_t, uint8_t **, uint32_t *) {
    struct rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = word_of(body);
    setrlimit(RLIMIT_NOFILE, &limit);
    return 0;
}

uint32_t deinit_inside(uint8_t *, uint32_t, uint8_t **reply, uint32_t *reply_len) {
    static uint32_t status;
    status = zv_rpc_api_rpc_command_db_deinit();
    return echo(reinterpret_cast<uint8_t *>(&status), sizeof(status), reply, reply_len);
}

uint32_t past(uint8_t *body, uint32_t, uint8_t **reply, uint32_t *reply_len) {
    return echo(body, word_of(body), reply, reply_len);
}

uint32_t log_lines(uint8_t *, uint32_t, uint8_t **reply, uint32_t *reply_len) {
    static uint32_t num;
    num = g_shared->log_lines;
    return echo(reinterpret_cast<uint8_t *>(&num), sizeof(num), reply, reply_len);
}

uint32_t fork_inside(uint8_t *, uint32_t, uint8_t **, uint32_t *) {
    const pid_t server = getpid();
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        // The server may have been killed before that.
        while (getppid() == server) {
            pause();
        }
        _exit(0);
    }
    return 0;
}

uint32_t path(uint8_t *body, uint32_t body_len, uint8_t **reply, uint32_t *reply_len) {
    static uint8_t copy[kMaxMessage];
    strcpy(g_shared->path, "short body");
    if (body_len >= 16) {
        uint64_t address = 0;
        memcpy(&address, body + 8, sizeof(address));
        strcpy(g_shared->path, address == 0 ? "null" : reinterpret_cast<const char *>(address));
    }
    if (body_len > 0 && body[0] == 1) {
        memcpy(copy, body, body_len);
        body = copy;
    }
    if (body_len > 8 && body[0] == 2) {
        return echo(body + 8, body_len - 8, reply, reply_len);
    }
    if (body_len > 0 && body[0] == 3) {
        memset(copy, 'c', sizeof(copy));
        return echo(copy, 200, reply, reply_len);
    }
    return echo(body, body_len, reply, reply_len);
}

const zv_rpc_command_t kTable[] = {{kEcho, "ECHO", echo, 2},
                                   {kFail, "FAIL", fail, 2},
                                   {kCount, "COUNT", count, 2},
                                   {kBlock, "BLOCK", block, 2},
                                   {kInspect, "INSPECT", inspect, 2},
                                   {kTail, "TAIL", tail, 2},
                                   {kBig, "BIG", big, 2},
                                   {kOrder, "ORDER", order, 2},
                                   {kPast, "PAST", past, 2},
                                   {kFork, "FORK", fork_inside, 2},
                                   {kLogLines, "LOG_LINES", log_lines, 2},
                                   {kPath, "PATH", path, 2},
                                   {kNullReply, "NULL_REPLY", null_reply, 2},
                                   {kDeinit, "DEINIT", deinit_inside, 2},
                                   {kLimitFiles, "LIMIT_FILES", limit_files, 2}};

void keep_line(uint32_t severity_mask, const char *module, const char *message, ...) {
    char line[1024];
    int len = snprintf(line, sizeof(line), "%u %s %s", severity_mask, module, message);
    uint32_t place = g_shared->log_bytes;
    if (len > 0 && place + static_cast<size_t>(len) < sizeof(g_shared->log)) {
        memcpy(g_shared->log + place, line, static_cast<size_t>(len));
        g_shared->log_bytes = place + static_cast<uint32_t>(len);
    }
    g_shared->log_lines++;
}

Shared *make_shared_memory() {
    void *memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto *shared = static_cast<Shared *>(memory);
    sem_init(&shared->gate, 1, 0);
    sem_init(&shared->entered, 1, 0);
    sem_init(&shared->loop_gate, 1, 0);
    return shared;
}

// Ends the process at once, without the destructors of the parent it was forked from. In a build
// for coverage it writes its counters first, which only an ordinary exit would.
[[noreturn]] void leave(int exit_status) {
#ifdef ZV_COVERAGE
    __gcov_dump();
#endif
    _exit(exit_status);
}

void write_word(int fd, uint32_t word) {
    if (write(fd, &word, sizeof(word)) != sizeof(word)) {
        leave(99);
    }
}

// Held while a command is obeyed: a loop that finds its table gone must not end the process before
// the one who took it has said so.
std::mutex g_obeying;

// The server's second thread, which plays the one that shuts the daemon down.
void obey(int commands, int results) {
    char name = 0;
    while (read(commands, &name, 1) == 1) {
        std::lock_guard obeying(g_obeying);
        switch (name) {
            case 's':
            case 'c':
                zv_rpc_change_main_exit_signal_state(name == 's' ? 1 : 0);
                write_word(results, 0);
                break;
            case 'd':
                write_word(results, zv_rpc_api_rpc_command_db_deinit());
                break;
            default:
                leave(0);
        }
    }
    leave(98);
}

}  // namespace

Root::Root() {
    std::string pattern = std::filesystem::temp_directory_path() / "rpc_test.XXXXXX";
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    directory_ = pattern;
    setenv("ZV_PLATFORM_ROOT", directory_.c_str(), 1);
}

Root::~Root() {
    unsetenv("ZV_PLATFORM_ROOT");
    std::filesystem::remove_all(directory_);
}

ServerProcess::ServerProcess(const ServerOptions &options) : shared_(make_shared_memory()) {
    int commands[2];
    int results[2];
    EXPECT_EQ(pipe(commands), 0);
    EXPECT_EQ(pipe(results), 0);
    if (!options.loop_waits) {
        start_loop();
    }
    pid_ = fork();
    if (pid_ == 0) {
        ::close(commands[1]);
        ::close(results[0]);
        serve(options, commands[0], results[1]);
    }
    ::close(commands[0]);
    ::close(results[1]);
    commands_ = commands[1];
    results_ = results[0];
    init_status_ = deinit_result();
}

ServerProcess::~ServerProcess() {
    kill();
    ::close(commands_);
    ::close(results_);
    munmap(shared_, sizeof(*shared_));
}

void ServerProcess::serve(const ServerOptions &options, int commands, int results) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    g_shared = shared_;
    for (const auto &[name, value] : options.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    zv_rpc_register_log_function(keep_line);
    uint32_t status = zv_rpc_core_td_init(kSocketPath, kMaxMessage);
    if (status == 0) {
        status = zv_rpc_api_rpc_command_db_init(kTable, std::size(kTable));
    }
    write_word(results, status);
    if (status != 0) {
        leave(0);
    }
    std::thread(obey, commands, results).detach();
    sem_wait(&shared_->loop_gate);
    status = zv_rpc_core_td_start_loop();
    std::lock_guard obeying(g_obeying);
    leave(100 + static_cast<int>(status));
}

uint32_t ServerProcess::command(char name) {
    EXPECT_EQ(write(commands_, &name, 1), 1);
    return deinit_result();
}

void ServerProcess::set_stop(uint32_t state) {
    command(state == 0 ? 'c' : 's');
}

void ServerProcess::begin_deinit() {
    EXPECT_EQ(write(commands_, "d", 1), 1);
}

uint32_t ServerProcess::deinit_result() {
    pollfd waited = {results_, POLLIN, 0};
    uint32_t result = 0xdead;
    EXPECT_EQ(poll(&waited, 1, kTimeoutMs), 1) << "the server process does not answer";
    EXPECT_EQ(read(results_, &result, sizeof(result)), static_cast<ssize_t>(sizeof(result)));
    return result;
}

void ServerProcess::kill() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

int ServerProcess::exit_status() {
    EXPECT_EQ(write(commands_, "q", 1), 1);
    return wait_for_exit();
}

int ServerProcess::wait_for_exit() {
    int status = 0;
    EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int in_child(const std::function<int()> &function) {
    pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        leave(function());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 256;
}

Bytes packet(RawHeader header, const Bytes &body, const Bytes &attachment) {
    header.body_len = static_cast<uint32_t>(body.size());
    header.attachment_len = static_cast<uint32_t>(attachment.size());
    Bytes bytes;
    bytes.reserve(sizeof(header) + body.size() + attachment.size());
    bytes.resize(sizeof(header));
    memcpy(bytes.data(), &header, sizeof(header));
    bytes.insert(bytes.end(), body.begin(), body.end());
    bytes.insert(bytes.end(), attachment.begin(), attachment.end());
    return bytes;
}

Bytes packet(uint32_t command, uint32_t sequence, const Bytes &body, const Bytes &attachment) {
    RawHeader header;
    header.command = command;
    header.sequence = sequence;
    return packet(header, body, attachment);
}

Bytes bytes_of(uint32_t value) {
    Bytes bytes(sizeof(value));
    memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

Bytes path_of(const std::string &text) {
    return Bytes(text.c_str(), text.c_str() + text.size() + 1);
}

sockaddr_un server_address() {
    std::string path = std::string(getenv("ZV_PLATFORM_ROOT")) + kSocketPath;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

RawClient::RawClient() {
    const sockaddr_un address = server_address();
    fd_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        error_ = errno;
    }
}

RawClient::~RawClient() {
    close();
}

void RawClient::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

bool RawClient::try_send(const Bytes &packet) {
    return ::send(fd_, packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
}

void RawClient::send(const Bytes &packet) {
    ASSERT_TRUE(try_send(packet)) << strerror(errno);
}

bool RawClient::readable(int timeout_ms) {
    pollfd waited = {fd_, POLLIN, 0};
    return poll(&waited, 1, timeout_ms) == 1;
}

RawReply RawClient::receive() {
    RawReply reply;
    EXPECT_TRUE(readable()) << "no reply";
    Bytes bytes(128 * 1024);
    ssize_t len = recv(fd_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    reply.ended = len == 0 || (len < 0 && errno == ECONNRESET);
    if (reply.ended) {
        return reply;
    }
    EXPECT_GE(len, static_cast<ssize_t>(sizeof(reply.header)));
    if (len >= static_cast<ssize_t>(sizeof(reply.header))) {
        memcpy(&reply.header, bytes.data(), sizeof(reply.header));
        reply.body.assign(bytes.begin() + sizeof(reply.header), bytes.begin() + len);
        EXPECT_EQ(reply.header.body_len, reply.body.size());
    }
    return reply;
}

}  // namespace rpc_test
