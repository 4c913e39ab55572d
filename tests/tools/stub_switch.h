/* The simulated switch reduced to its control socket: answers lines as a test says. */
#ifndef ZV_TESTS_TOOLS_STUB_SWITCH_H
#define ZV_TESTS_TOOLS_STUB_SWITCH_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "tests/tools/run_tool.h"

namespace zv_test {

/* One connection after the other; an answer that is empty is a switch that hangs up. */
class StubSwitch {
  public:
    using Handler = std::function<std::string(const nlohmann::json &)>;

    explicit StubSwitch(Handler handler) : handler_(std::move(handler)) {
        char name[] = "/tmp/zv-switch-XXXXXX";
        directory_ = mkdtemp(name);
        path_ = directory_ + "/s";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path_.c_str(), sizeof(address.sun_path) - 1);
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)),
                  0);
        EXPECT_EQ(listen(listener_, 8), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~StubSwitch() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
        std::filesystem::remove_all(directory_);
    }
    StubSwitch(const StubSwitch &) = delete;
    StubSwitch &operator=(const StubSwitch &) = delete;

    std::vector<nlohmann::json> questions() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return questions_;
    }

    const std::string &path() const { return path_; }

    /* From now on the socket looks like another process's, as that of a second daemon would: the
     * kernel remembers who called listen() last. */
    void look_like_another_process() {
        const pid_t child = fork();
        if (child == 0) {
            _exit(listen(listener_, 8) == 0 ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }

    ToolRun run(std::vector<std::string> words) const {
        words.insert(words.begin(), {"--switch-socket", path_});
        return run_tool("", words);
    }

  private:
    void serve() {
        int fd = -1;
        while ((fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
            std::string line;
            char c = 0;
            while (read(fd, &c, 1) == 1 && c != '\n') {
                line += c;
            }
            if (line.empty()) { /* who called had nothing to ask */
                close(fd);
                continue;
            }
            const nlohmann::json question = nlohmann::json::parse(line);
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                questions_.push_back(question);
            }
            const std::string answer = handler_(question);
            /* In pieces, since a stream has no messages. */
            for (size_t at = 0; at < answer.size(); at += 1000) {
                const std::string piece = answer.substr(at, 1000);
                EXPECT_EQ(send(fd, piece.data(), piece.size(), MSG_NOSIGNAL),
                          static_cast<ssize_t>(piece.size()));
            }
            close(fd);
        }
    }

    Handler handler_;
    std::string directory_;
    std::string path_;
    int listener_ = -1;
    mutable std::mutex mutex_;
    std::vector<nlohmann::json> questions_;
    std::thread thread_;
};

}  // namespace zv_test

#endif
