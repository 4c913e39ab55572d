// A server in a process of its own, with handlers made for tests, and a client down to the packet.
//
// The library serves once per process, so every case forks its server; what its handlers and its
// log sink see lies in memory that both processes share.
#ifndef TESTS_PLATFORM_RPC_RPC_TEST_SUPPORT_H
#define TESTS_PLATFORM_RPC_RPC_TEST_SUPPORT_H

#include <semaphore.h>
#include <sys/types.h>
#include <sys/un.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "zv_rpc.h"

namespace rpc_test {

using Bytes = std::vector<uint8_t>;

constexpr char kSocketPath[] = "/var/run/test.sock";
constexpr uint32_t kMaxMessage = 8000;
constexpr int kTimeoutMs = 20000;

// The commands of the test server.
enum Command : uint32_t {
    kEcho = 2,         // replies its body
    kFail = 3,         // sets a reply and returns 5
    kCount = 4,        // counts in handler_calls, no reply
    kBlock = 5,        // posts entered, waits for gate, replies its body
    kInspect = 6,      // replies u32 body_len, u32 body is null, u32 body address modulo 8
    kTail = 7,         // replies its body from byte 4 on
    kBig = 8,          // replies as many bytes of other memory as its body says
    kOrder = 9,        // appends its body's u32 to order
    kNullReply = 10,   // replies 4 bytes at null
    kLimitFiles = 11,  // lets the server have as many descriptors as its body's u32 says
    kDeinit = 12,      // replies what zv_rpc_api_rpc_command_db_deinit returns in a handler
    kPast = 13,        // replies as many bytes from its body's start as its body's u32 says
    kFork = 14,        // leaves a child process with all descriptors, which ends with the server
    kLogLines = 15,    // replies how many lines the log has
    kPath = 17,        // stores the path it is given; replies the record; where byte 0 is 1
                       // a copy of it, where it is 2 the record from byte 8 on, where it is 3
                       // 200 bytes of other memory
};

struct Shared {
    sem_t gate;
    sem_t entered;
    sem_t loop_gate;
    std::atomic<uint32_t> handler_calls;
    std::atomic<uint32_t> handlers_left;  // blocking handlers that are through
    std::atomic<uint32_t> log_lines;
    std::atomic<uint32_t> order_num;
    std::atomic<uint32_t> order[1024];
    std::atomic<uint32_t> log_bytes;
    char log[256 * 1024];
    char path[8192];
};

// A temporary directory that is the ZV_PLATFORM_ROOT of this process while the object lives.
class Root {
  public:
    Root();
    ~Root();
    Root(const Root &) = delete;
    Root &operator=(const Root &) = delete;
    std::string path(const std::string &name = kSocketPath) const { return directory_ + name; }

  private:
    std::string directory_;
};

struct ServerOptions {
    std::map<std::string, std::string> environment;
    // The loop starts with start_loop() and not by itself.
    bool loop_waits = false;
};

class ServerProcess {
  public:
    explicit ServerProcess(const ServerOptions &options = {});
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    // What zv_rpc_core_td_init returned; with anything but 0 the process is over.
    uint32_t init_status() const { return init_status_; }

    void start_loop() { sem_post(&shared_->loop_gate); }
    // zv_rpc_change_main_exit_signal_state(state) on another thread than the loop's.
    void set_stop(uint32_t state);
    // zv_rpc_api_rpc_command_db_deinit there; begin does not wait for its result.
    void begin_deinit();
    uint32_t deinit_result();
    uint32_t deinit() {
        begin_deinit();
        return deinit_result();
    }
    void kill();
    // Lets the process exit where it is and returns its exit status: 0, or 100 plus the status with
    // which start_loop returned, or a sanitizer's.
    int exit_status();
    // The same of a process that exits by itself, because start_loop returns.
    int wait_for_exit();

    Shared &shared() { return *shared_; }
    std::string log() const { return {shared_->log, shared_->log_bytes.load()}; }

  private:
    [[noreturn]] void serve(const ServerOptions &options, int commands, int results);
    uint32_t command(char name);

    Shared *shared_ = nullptr;
    pid_t pid_ = -1;
    int commands_ = -1;
    int results_ = -1;
    uint32_t init_status_ = 0;
};

// Runs function in a forked process and returns its result, 0 to 255; 256 when it crashed.
int in_child(const std::function<int()> &function);

struct RawHeader {
    uint8_t magic[4] = {'Z', 'V', 'R', 'P'};
    uint16_t version = 1;
    uint16_t kind = 1;
    uint32_t command = kEcho;
    uint32_t sequence = 77;
    uint32_t status = 0;
    uint32_t transport = 0;
    uint32_t body_len = 0;
    uint32_t attachment_len = 0;
    uint64_t reserved = 0;
};
static_assert(sizeof(RawHeader) == 40);

// The packet of header with its lengths set to those of body and attachment.
Bytes packet(RawHeader header, const Bytes &body = {}, const Bytes &attachment = {});
Bytes packet(uint32_t command, uint32_t sequence, const Bytes &body = {},
             const Bytes &attachment = {});
Bytes bytes_of(uint32_t value);
// Text with the NUL at its end.
Bytes path_of(const std::string &text);

// Where this process's server listens.
sockaddr_un server_address();

struct RawReply {
    bool ended = false;  // the server closed the connection
    RawHeader header;
    Bytes body;
};

// A connected socket; packets as they are.
class RawClient {
  public:
    RawClient();
    // Takes over a socket that is connected already.
    explicit RawClient(int fd) : fd_(fd) {}
    ~RawClient();
    RawClient(RawClient &&other) noexcept : fd_(other.fd_), error_(other.error_) { other.fd_ = -1; }
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    int fd() const { return fd_; }
    // The errno value with which connecting failed, 0 when connected.
    int error() const { return error_; }
    void close();
    // False with errno when it cannot be sent at once.
    bool try_send(const Bytes &packet);
    void send(const Bytes &packet);
    // Waits at most 20 s; a time-out fails the test.
    RawReply receive();
    // Whether a reply or the end of the connection arrives within the time.
    bool readable(int timeout_ms = 20000);
    RawReply call(const Bytes &packet) {
        send(packet);
        return receive();
    }

  private:
    int fd_ = -1;
    int error_ = 0;
};

}  // namespace rpc_test

#endif
