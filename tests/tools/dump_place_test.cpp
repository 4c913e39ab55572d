/* Where a dump goes that is for the caller alone, and whether the daemon can write it there. */
#include "client/dump_place.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "dump_directory.h"

namespace {

using zv_cache_text::peer_can_write;
using zv_cache_text::temporary_base;

class TemporaryBase : public testing::Test {
  protected:
    void SetUp() override {
        if (const char *value = std::getenv("TMPDIR")) {
            before_ = value;
        }
    }
    void TearDown() override {
        if (before_) {
            setenv("TMPDIR", before_->c_str(), 1);
        } else {
            unsetenv("TMPDIR");
        }
    }

  private:
    std::optional<std::string> before_;
};

TEST_F(TemporaryBase, IsWhatTmpdirNamesWhereThatIsAbsolute) {
    setenv("TMPDIR", "/var/tmp", 1);
    EXPECT_EQ(temporary_base(), "/var/tmp");
    for (const char *other : {"", ".", "tmp", "./tmp"}) {
        setenv("TMPDIR", other, 1);
        EXPECT_EQ(temporary_base(), "/tmp") << "'" << other << "'";
    }
    unsetenv("TMPDIR");
    EXPECT_EQ(temporary_base(), "/tmp");
}

/* Two ends of one connection; the kernel keeps the user that makes it as the peer of both. */
class SocketPair {
  public:
    SocketPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends_), 0); }
    ~SocketPair() {
        close(ends_[0]);
        close(ends_[1]);
    }
    SocketPair(const SocketPair &) = delete;
    SocketPair &operator=(const SocketPair &) = delete;

    int end() const { return ends_[0]; }

  private:
    int ends_[2] = {-1, -1};
};

TEST(PeerCanWrite, OfTheSameUser) {
    const SocketPair pair;
    EXPECT_TRUE(peer_can_write(pair.end()));
}

TEST(PeerCanWrite, NotWhereNobodyIsConnected) {
    int closed = -1;
    {
        const SocketPair pair;
        closed = pair.end();
    }
    EXPECT_FALSE(peer_can_write(closed));
    EXPECT_FALSE(peer_can_write(-1));
}

/* The user of this process, put back at the end; only root can take another. */
class AsUser {
  public:
    AsUser() { is_root_ = geteuid() == 0; }
    ~AsUser() {
        if (is_root_) {
            EXPECT_EQ(seteuid(0), 0);
        }
    }
    AsUser(const AsUser &) = delete;
    AsUser &operator=(const AsUser &) = delete;

    bool become(uid_t user) const {
        return is_root_ && seteuid(0) == 0 && (user == 0 || seteuid(user) == 0);
    }

  private:
    bool is_root_ = false;
};

constexpr uid_t kOneUser = 65533;
constexpr uid_t kAnotherUser = 65534;

TEST(PeerCanWrite, OfRootForAnybodyAndOfAnotherUserOnlyForThatOne) {
    const AsUser user;
    if (!user.become(kOneUser)) {
        GTEST_SKIP() << "only root can take another user's place";
    }
    const SocketPair of_one;
    EXPECT_TRUE(peer_can_write(of_one.end())) << "the same user, not root";
    ASSERT_TRUE(user.become(kAnotherUser));
    EXPECT_FALSE(peer_can_write(of_one.end()));
    ASSERT_TRUE(user.become(0));
    const SocketPair of_root;
    EXPECT_FALSE(peer_can_write(of_one.end())) << "root's files are not that user's to write";
    ASSERT_TRUE(user.become(kAnotherUser));
    EXPECT_TRUE(peer_can_write(of_root.end()));
}

/* Where all directories are made while it lives. */
class DumpDirectoryPlace : public TemporaryBase, public testing::WithParamInterface<int> {
  protected:
    void SetUp() override {
        TemporaryBase::SetUp();
        char name[] = "/tmp/zv-dump-XXXXXX";
        base_ = mkdtemp(name);
        setenv("TMPDIR", base_.c_str(), 1);
    }
    void TearDown() override {
        std::filesystem::remove_all(base_);
        TemporaryBase::TearDown();
    }
    bool is_empty() const { return std::filesystem::is_empty(base_); }

  private:
    std::string base_;
};

TEST_F(DumpDirectoryPlace, IsEmptyWhenTheDumpHasBeenRead) {
    {
        const aclrmctl::DumpDirectory directory;
        EXPECT_EQ(directory.error(), 0);
        std::ofstream(directory.file()) << "dump";
        EXPECT_FALSE(is_empty());
    }
    EXPECT_TRUE(is_empty());
}

/* With the dump in it, and before the daemon has written one. */
TEST_P(DumpDirectoryPlace, IsEmptyAfterASignalThatEndsTheProgram) {
    for (const bool written : {true, false}) {
        const auto interrupted = [&] {
            std::signal(GetParam(), SIG_DFL);
            const aclrmctl::DumpDirectory directory;
            if (written) {
                std::ofstream(directory.file()) << "dump";
            }
            std::raise(GetParam());
        };
        EXPECT_EXIT(interrupted(), testing::KilledBySignal(GetParam()), "");
        EXPECT_TRUE(is_empty());
    }
}

/* As nohup has it, and as a load has it that reports before it ends. */
TEST_P(DumpDirectoryPlace, StaysWhereASignalDoesNotEndTheProgram) {
    for (void (*const handler)(int) : {SIG_IGN, +[](int) {}}) {
        void (*const before)(int) = std::signal(GetParam(), handler);
        {
            const aclrmctl::DumpDirectory directory;
            std::raise(GetParam());
            EXPECT_FALSE(is_empty());
        }
        EXPECT_TRUE(is_empty());
        EXPECT_EQ(std::signal(GetParam(), before), handler);
    }
}

TEST_P(DumpDirectoryPlace, LeavesSignalsAsTheyWere) {
    void (*const before)(int) = std::signal(GetParam(), SIG_DFL);
    { const aclrmctl::DumpDirectory directory; }
    EXPECT_EQ(std::signal(GetParam(), before), SIG_DFL);
}

INSTANTIATE_TEST_SUITE_P(Each, DumpDirectoryPlace, testing::Values(SIGINT, SIGTERM, SIGHUP));

}  // namespace
