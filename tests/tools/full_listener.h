/* A socket whose owner takes no connections, with as many waiting as there may be. */
#ifndef ZV_TESTS_TOOLS_FULL_LISTENER_H
#define ZV_TESTS_TOOLS_FULL_LISTENER_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace zv_test {

class FullListener {
  public:
    /* SOCK_SEQPACKET for a daemon, SOCK_STREAM for a switch. */
    explicit FullListener(int type) {
        char name[] = "/tmp/zv-full-XXXXXX";
        directory_ = mkdtemp(name);
        path_ = directory_ + "/s";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path_.c_str(), sizeof(address.sun_path) - 1);
        const auto *generic = reinterpret_cast<const sockaddr *>(&address);
        const auto make = [&] {
            fds_.push_back(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            return fds_.back();
        };
        const int listener = make();
        EXPECT_EQ(bind(listener, generic, sizeof(address)), 0);
        EXPECT_EQ(listen(listener, 0), 0);
        while (connect(make(), generic, sizeof(address)) == 0) {
        }
        EXPECT_EQ(errno, EAGAIN);
    }
    ~FullListener() {
        for (const int fd : fds_) {
            close(fd);
        }
        std::filesystem::remove_all(directory_);
    }
    FullListener(const FullListener &) = delete;
    FullListener &operator=(const FullListener &) = delete;

    const std::string &path() const { return path_; }

  private:
    std::string directory_;
    std::string path_;
    std::vector<int> fds_;
};

}  // namespace zv_test

#endif
