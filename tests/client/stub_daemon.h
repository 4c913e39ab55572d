/* A daemon reduced to its socket: takes requests, keeps them, answers as a test says.
 *
 * Written from the wire format alone, not on the RPC library, so that a slip there on both sides
 * cannot hide. One thread serves every connection; answers of one connection keep their order. The
 * socket lies in a directory of its own, removed at the end.
 */
#ifndef ZV_TESTS_CLIENT_STUB_DAEMON_H
#define ZV_TESTS_CLIENT_STUB_DAEMON_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zv_test {

struct StubRequest {
    uint32_t command = 0;
    uint32_t sequence = 0;
    std::vector<uint8_t> body;
    std::vector<uint8_t> attachment;
};

struct StubReply {
    uint32_t status = 0;
    uint32_t transport = 0;
    std::vector<uint8_t> body = {};
    bool silent = false; /* say nothing */
    bool hang_up = false;
    bool garbage = false; /* a packet that is no reply */
};

/* What the real daemon sends back for a command that succeeds and changes nothing. */
StubReply echo_reply(const StubRequest &request);

class StubDaemon {
  public:
    using Handler = std::function<StubReply(const StubRequest &)>;

    /* Listens when the constructor returns. The handler runs on the stub's thread. */
    explicit StubDaemon(Handler handler = echo_reply);
    ~StubDaemon();
    StubDaemon(const StubDaemon &) = delete;
    StubDaemon &operator=(const StubDaemon &) = delete;

    const std::string &socket_path() const { return path_; }
    const std::string &directory() const { return directory_; }

    /* The requests so far, in the order of arrival. */
    std::vector<StubRequest> requests() const;

    /* While true nothing is read that is sent after this returned. */
    void set_deaf(bool deaf);

  private:
    void serve();
    void take_packet(int &fd);
    bool is_deaf() const;
    void wake();

    std::string directory_;
    std::string path_;
    Handler handler_;
    int listener_ = -1;
    int wake_ = -1;
    std::vector<int> connections_;
    mutable std::mutex mutex_;
    std::vector<StubRequest> requests_;
    bool stop_ = false;
    bool deaf_ = false;
    std::thread thread_;
};

}  // namespace zv_test

#endif
