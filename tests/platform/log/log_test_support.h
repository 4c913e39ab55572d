// What the log's tests share: an open log that ends with the case, and a look at standard error.
#ifndef TESTS_PLATFORM_LOG_LOG_TEST_SUPPORT_H
#define TESTS_PLATFORM_LOG_LOG_TEST_SUPPORT_H

#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "zv_log.h"

namespace log_test {

class OpenLog {
  public:
    explicit OpenLog(zv_log_cb_t sink) : status_(zv_log_init(1, 0, sink)) {}
    ~OpenLog() { zv_log_close(); }
    OpenLog(const OpenLog &) = delete;
    OpenLog &operator=(const OpenLog &) = delete;

    uint32_t status() const { return status_; }

  private:
    uint32_t status_;
};

// Puts a packet socket in place of standard error: every write arrives as one packet of its own.
class StderrWrites {
  public:
    StderrWrites() {
        socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends_);
        saved_ = dup(STDERR_FILENO);
        dup2(ends_[1], STDERR_FILENO);
    }
    ~StderrWrites() {
        restore();
        close(ends_[0]);
        close(ends_[1]);
    }
    StderrWrites(const StderrWrites &) = delete;
    StderrWrites &operator=(const StderrWrites &) = delete;

    // What was written so far, one element a write.
    std::vector<std::string> take() {
        std::vector<std::string> writes;
        std::string packet(400 * 1024, '\0');
        ssize_t len = 0;
        while ((len = recv(ends_[0], packet.data(), packet.size(), MSG_DONTWAIT)) > 0) {
            writes.push_back(packet.substr(0, static_cast<size_t>(len)));
        }
        return writes;
    }

  private:
    void restore() {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
    }

    int ends_[2] = {-1, -1};
    int saved_ = -1;
};

}  // namespace log_test

#endif
