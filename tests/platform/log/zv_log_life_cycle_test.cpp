// Opening and closing, threads and signal handlers.
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "log_test_support.h"
#include "platform/log/trace_ring.h"
#include "platform/sim/faults.h"

namespace {

using log_test::OpenLog;
using log_test::StderrWrites;

std::atomic<uint32_t> g_sink_calls{0};
std::atomic<uint32_t> g_other_sink_calls{0};
std::atomic<bool> g_closed{false};
std::atomic<uint32_t> g_calls_after_close{0};

void count_line(uint32_t, const char *, const char *, ...) {
    g_sink_calls++;
    if (g_closed) {
        g_calls_after_close++;
    }
}

void count_other_line(uint32_t, const char *, const char *, ...) {
    g_other_sink_calls++;
}

class ZvLog : public ::testing::Test {
  protected:
    void SetUp() override {
        g_sink_calls = 0;
        g_other_sink_calls = 0;
        g_closed = false;
        g_calls_after_close = 0;
    }
};

std::string newest_trace_line() {
    char buffer[256];
    return {buffer, zv_trace_cbuff_read(buffer, sizeof(buffer), 1)};
}

TEST_F(ZvLog, WritesNothingBeforeInitAndAfterClose) {
    StderrWrites writes;
    zv_log(1, "M", "before");
    zv_trace_cbuff_log("before");
    EXPECT_NE(newest_trace_line(), "before");
    ASSERT_EQ(zv_log_init(1, 0, nullptr), 0u);
    zv_trace_cbuff_log("during");
    ASSERT_EQ(zv_log_close(), 0u);
    zv_log(1, "M", "after");
    zv_trace_cbuff_log("after");
    EXPECT_EQ(newest_trace_line(), "during");
    EXPECT_TRUE(writes.take().empty());
}

TEST_F(ZvLog, IsOpenedOnlyOnce) {
    OpenLog log(count_line);
    ASSERT_EQ(log.status(), 0u);
    EXPECT_EQ(zv_log_init(1, 0, count_other_line), 1u);
    zv_log(1, "M", "x");
    EXPECT_EQ(g_sink_calls, 1u);
    EXPECT_EQ(g_other_sink_calls, 0u);
}

TEST_F(ZvLog, ReportsACloseOfWhatIsNotOpen) {
    EXPECT_EQ(zv_log_close(), 1u);
}

TEST_F(ZvLog, CanBeOpenedAgainWithAnotherSink) {
    { OpenLog log(count_line); }
    OpenLog log(count_other_line);
    zv_log(1, "M", "x");
    EXPECT_EQ(g_sink_calls, 0u);
    EXPECT_EQ(g_other_sink_calls, 1u);
}

TEST_F(ZvLog, StaysClosedWhereInitIsMadeToFail) {
    zv_sim::faults_arm({{"zv_log_init", 1, 1, 7, false}});
    EXPECT_EQ(zv_log_init(1, 0, count_line), 7u);
    zv_log(1, "M", "x");
    EXPECT_EQ(g_sink_calls, 0u);
    EXPECT_EQ(zv_log_close(), 1u);
}

std::atomic<bool> g_close_called{false};
std::atomic<bool> g_sink_entered{false};
std::atomic<bool> g_sink_left{false};

void stay_while_closing(uint32_t, const char *, const char *, ...) {
    g_sink_entered = true;
    while (!g_close_called) {
        std::this_thread::yield();
    }
    // Gives a close that does not wait every chance to return first.
    for (int i = 0; i < 10000; i++) {
        std::this_thread::yield();
    }
    g_sink_left = true;
}

TEST_F(ZvLog, CloseWaitsForTheSinkOnAnotherThread) {
    g_close_called = g_sink_entered = g_sink_left = false;
    ASSERT_EQ(zv_log_init(1, 0, stay_while_closing), 0u);
    std::thread writer([] { zv_log(1, "M", "x"); });
    while (!g_sink_entered) {
        std::this_thread::yield();
    }
    g_close_called = true;
    EXPECT_EQ(zv_log_close(), 0u);
    EXPECT_TRUE(g_sink_left);
    writer.join();
}

void close_the_log(uint32_t, const char *, const char *, ...) {
    g_sink_calls++;
    EXPECT_EQ(zv_log_close(), 0u);
}

TEST_F(ZvLog, CloseFromInsideTheSinkDoesNotWaitForItself) {
    ASSERT_EQ(zv_log_init(1, 0, close_the_log), 0u);
    zv_log(1, "M", "x");
    zv_log(1, "M", "x");
    EXPECT_EQ(g_sink_calls, 1u);
}

TEST_F(ZvLog, CallsTheSinkNeverAgainAfterClose) {
    std::atomic<bool> done{false};
    std::vector<std::thread> writers;
    for (int i = 0; i < 3; i++) {
        writers.emplace_back([&done] {
            while (!done) {
                zv_log(1, "M", "line %d", 1);
                zv_trace_cbuff_log("line %d", 1);
            }
        });
    }
    for (int round = 0; round < 30; round++) {
        g_closed = false;
        uint32_t before = g_sink_calls;
        ASSERT_EQ(zv_log_init(1, 0, count_line), 0u);
        while (g_sink_calls == before) {
            std::this_thread::yield();
        }
        ASSERT_EQ(zv_log_close(), 0u);
        g_closed = true;
        std::this_thread::yield();
    }
    done = true;
    for (std::thread &writer : writers) {
        writer.join();
    }
    EXPECT_EQ(g_calls_after_close, 0u);
}

class HandlerThatLogs {
  public:
    HandlerThatLogs() {
        struct sigaction action = {};
        action.sa_handler = [](int) {
            zv_log(1, "SIG", "%s", "from the handler");
            zv_trace_cbuff_log("from the handler");
        };
        sigaction(SIGUSR1, &action, &saved_);
    }
    ~HandlerThatLogs() { sigaction(SIGUSR1, &saved_, nullptr); }
    HandlerThatLogs(const HandlerThatLogs &) = delete;
    HandlerThatLogs &operator=(const HandlerThatLogs &) = delete;

  private:
    struct sigaction saved_ = {};
};

// Without a std::string: a sink that runs in a handler must not allocate either.
char g_messages[64];

void raise_once(uint32_t, const char *, const char *message, ...) {
    bool is_first = g_messages[0] == '\0';
    strncat(g_messages, message, sizeof(g_messages) - strlen(g_messages) - 1);
    strncat(g_messages, ";", sizeof(g_messages) - strlen(g_messages) - 1);
    if (is_first) {
        raise(SIGUSR1);
    }
}

TEST_F(ZvLog, WritesALineFromAHandlerThatInterruptedAWriter) {
    HandlerThatLogs handler;
    g_messages[0] = '\0';
    OpenLog log(raise_once);
    zv_log(1, "M", "interrupted");
    EXPECT_STREQ(g_messages, "interrupted;from the handler;");
    EXPECT_EQ(newest_trace_line(), "from the handler");
}

TEST_F(ZvLog, SurvivesHandlersThatInterruptEverything) {
    HandlerThatLogs handler;
    pthread_t target = pthread_self();
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            pthread_kill(target, SIGUSR1);
            std::this_thread::yield();
        }
    });
    std::string longer(3000, 'x');
    for (int i = 0; i < 2000; i++) {
        g_closed = false;
        ASSERT_EQ(zv_log_init(1, 0, count_line), 0u);
        zv_log(1, "M", "%s", longer.c_str());
        zv_trace_cbuff_log("%s", longer.c_str());
        ASSERT_EQ(zv_log_close(), 0u);
        g_closed = true;
    }
    done = true;
    sender.join();
    EXPECT_GE(g_sink_calls, 2000u);
    EXPECT_EQ(g_calls_after_close, 0u);
}

}  // namespace
