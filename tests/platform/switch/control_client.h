// A client of the control socket, and a program behind it.
#ifndef TESTS_PLATFORM_SWITCH_CONTROL_CLIENT_H
#define TESTS_PLATFORM_SWITCH_CONTROL_CLIENT_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/platform/sim/child_process.h"

namespace zv_test {

inline constexpr const char *kUsage = R"({"cmd":"usage"})";

inline bool is_ok(const std::string &answer) {
    return answer.rfind(R"({"ok":true,)", 0) == 0;
}

inline std::string refusal(const std::string &error) {
    return R"({"ok":false,"error":")" + error + "\"}";
}

class ControlClient {
  public:
    explicit ControlClient(const std::string &path, int flags = 0)
        : fd_(socket(AF_UNIX, SOCK_STREAM | flags, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        connected_ =
            connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    }
    ~ControlClient() { close(fd_); }
    ControlClient(const ControlClient &) = delete;
    ControlClient &operator=(const ControlClient &) = delete;

    bool connected() const { return connected_; }

    // Whether all of it was taken.
    bool send_bytes(const std::string &bytes) {
        size_t sent_num = 0;
        while (sent_num < bytes.size()) {
            const ssize_t sent =
                send(fd_, bytes.data() + sent_num, bytes.size() - sent_num, MSG_NOSIGNAL);
            if (sent <= 0) {
                return false;
            }
            sent_num += static_cast<size_t>(sent);
        }
        return true;
    }
    // As much of it as the socket takes without waiting.
    void send_without_waiting(const std::string &bytes) {
        (void)send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    // The next byte of an answer, 0 when the server has closed. Not to be mixed with what line()
    // has read ahead.
    char byte() {
        char read = 0;
        (void)recv(fd_, &read, 1, 0);
        return read;
    }
    // Whether nothing has arrived that was not read.
    bool is_silent() const {
        char read = 0;
        return buffer_.empty() && recv(fd_, &read, 1, MSG_PEEK | MSG_DONTWAIT) < 0;
    }
    void end_sending() { shutdown(fd_, SHUT_WR); }

    // The next answer without its newline; empty when the server has closed.
    std::string line() {
        size_t newline = 0;
        while ((newline = buffer_.find('\n')) == std::string::npos) {
            char bytes[65536];
            const ssize_t read_num = recv(fd_, bytes, sizeof(bytes), 0);
            if (read_num <= 0) {
                return "";
            }
            buffer_.append(bytes, static_cast<size_t>(read_num));
        }
        const std::string found = buffer_.substr(0, newline);
        buffer_.erase(0, newline + 1);
        return found;
    }
    std::string ask(const std::string &request) {
        EXPECT_TRUE(send_bytes(request + "\n"));
        return line();
    }

  private:
    int fd_;
    bool connected_ = false;
    std::string buffer_;
};

class ControlTest : public testing::Test {
  protected:
    ControlTest() : host_(start()) {
        EXPECT_EQ(host_->read_line(), "0");
        EXPECT_EQ(host_->read_line(), "ready");
        client_ = std::make_unique<ControlClient>(socket_path());
        EXPECT_TRUE(client_->connected());
    }

    std::unique_ptr<ChildProcess> start(std::map<std::string, std::string> environment = {}) const {
        environment.insert({{"ZV_SIM_CONTROL", "1"}, {"ZV_PLATFORM_ROOT", dir_.path()}});
        return std::make_unique<ChildProcess>(std::vector<std::string>{HOST_PATH}, environment);
    }
    std::string socket_path() const { return dir_.file("var/run/zv_switch.sock"); }
    std::string ask(const std::string &request) { return client_->ask(request); }

    // What the program says to a line, a number.
    std::string call(const std::string &line) {
        host_->write_line(line);
        return host_->read_line();
    }

    TempDir dir_;
    std::unique_ptr<ChildProcess> host_;
    std::unique_ptr<ControlClient> client_;
};

}  // namespace zv_test

#endif
