// Lines on standard error that the kernel interrupts, takes in part or not at all. This program's
// definitions of the two calls stand before the C library's for the library under test as well.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <string>

#include "log_test_support.h"

namespace {

using log_test::OpenLog;
using log_test::StderrWrites;

constexpr size_t kAll = SIZE_MAX;

// What becomes of the next calls that write to standard error; those after them go through.
struct Turn {
    int error = 0;
    size_t bytes = kAll;                // at most so many are taken
    const char *line_before = nullptr;  // that a signal handler writes first
};
std::deque<Turn> g_turns;

// What is to become of this call.
Turn next_turn() {
    if (g_turns.empty()) {
        return {};
    }
    const Turn turn = g_turns.front();
    g_turns.pop_front();
    if (turn.line_before != nullptr) {
        zv_log(1, "M", "%s", turn.line_before);
    }
    return turn;
}

std::string line_of(const std::string &text) {
    return "[M                   ][ERROR  ] : " + text + "\n";
}

constexpr char kTorn[] = "[M   ";
constexpr size_t kTornBytes = 5;

class TornStderrLine : public ::testing::Test {
  protected:
    ~TornStderrLine() override { g_turns.clear(); }
    // What these lines leave when the first calls end so.
    std::string written(const std::deque<Turn> &turns, const std::vector<const char *> &lines) {
        StderrWrites writes;
        OpenLog log(nullptr);
        g_turns = turns;
        for (const char *line : lines) {
            zv_log(1, "M", "%s", line);
        }
        left_num_ = g_turns.size();
        std::string text;
        for (const std::string &part : writes.take()) {
            text += part;
        }
        return text;
    }
    size_t left_num_ = 0;  // turns that no call took
};

TEST_F(TornStderrLine, ThatIsOnlyInterruptedIsWrittenWhole) {
    EXPECT_EQ(written({{EINTR}, {EINTR}, {EINTR}}, {"one", "two"}),
              line_of("one") + line_of("two"));
    EXPECT_EQ(left_num_, 0u);
}

TEST_F(TornStderrLine, ThatIsTakenInPartsIsWrittenWhole) {
    EXPECT_EQ(written(std::deque<Turn>(60, {0, 1}), {"one", "two"}),
              line_of("one") + line_of("two"));
    EXPECT_EQ(written({{0, 10}, {EINTR}, {0, 10}}, {"one", "two"}),
              line_of("one") + line_of("two"));
    EXPECT_EQ(left_num_, 0u);
}

TEST_F(TornStderrLine, ThatIsNotTakenAtAllIsLostAndLeavesNothing) {
    for (const int error : {ENOSPC, EPIPE, EAGAIN}) {
        EXPECT_EQ(written({{error}}, {"one", "two"}), line_of("two")) << strerror(error);
    }
}

TEST_F(TornStderrLine, EndsBeforeTheNextOneBegins) {
    EXPECT_EQ(written({{0, kTornBytes}, {ENOSPC}}, {"one", "two", "three"}),
              std::string(kTorn) + "\n" + line_of("two") + line_of("three"));
    EXPECT_EQ(left_num_, 0u);
}

TEST_F(TornStderrLine, EndsBeforeTheNextOneThatIsNotLost) {
    EXPECT_EQ(written({{0, kTornBytes}, {ENOSPC}, {ENOSPC}}, {"one", "lost", "three"}),
              std::string(kTorn) + "\n" + line_of("three"));
    EXPECT_EQ(left_num_, 0u);
}

TEST_F(TornStderrLine, HasEndedOnceItsNewlineIsOutThoughTheLineBehindItIsLost) {
    EXPECT_EQ(written({{0, kTornBytes}, {ENOSPC}, {0, 1}, {ENOSPC}}, {"one", "lost", "three"}),
              std::string(kTorn) + "\n" + line_of("three"));
    EXPECT_EQ(left_num_, 0u);
}

// A handler writes before the line that it interrupted has ended the torn one.
TEST_F(TornStderrLine, EndsBeforeALineOfASignalHandlerToo) {
    EXPECT_EQ(written({{0, kTornBytes}, {ENOSPC}, {0, kAll, "handler"}}, {"one", "two"}),
              std::string(kTorn) + "\n" + line_of("handler") + "\n" + line_of("two"));
    EXPECT_EQ(left_num_, 0u);
}

template <class Function>
Function *next(const char *name) {
    void *found = dlsym(RTLD_NEXT, name);
    Function *function = nullptr;
    memcpy(&function, &found, sizeof(function));
    return function;
}

}  // namespace

// NOLINTBEGIN: the C library's names
extern "C" {

[[gnu::visibility("default")]] ssize_t write(int fd, const void *bytes, size_t len) {
    const Turn turn = fd == STDERR_FILENO ? next_turn() : Turn{};
    if (turn.error != 0) {
        errno = turn.error;
        return -1;
    }
    return next<decltype(::write)>("write")(fd, bytes, std::min(len, turn.bytes));
}

[[gnu::visibility("default")]] ssize_t writev(int fd, const iovec *parts, int num) {
    const Turn turn = fd == STDERR_FILENO ? next_turn() : Turn{};
    if (turn.error != 0) {
        errno = turn.error;
        return -1;
    }
    if (turn.bytes == kAll) {
        return next<decltype(::writev)>("writev")(fd, parts, num);
    }
    std::string text;
    for (int i = 0; i < num; i++) {
        text.append(static_cast<const char *>(parts[i].iov_base), parts[i].iov_len);
    }
    return next<decltype(::write)>("write")(fd, text.data(), std::min(text.size(), turn.bytes));
}
}
// NOLINTEND
