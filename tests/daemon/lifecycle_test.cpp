// Who tears down. A loser of the race parks in pause() for good; here pause() ends its thread,
// after which the thread can be joined and asked how far it came.
#include "daemon/lifecycle.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

extern "C" int pause() {
    pthread_exit(nullptr);
}

namespace {

// A thread that does one step and notes whether the step returned.
class Step {
  public:
    explicit Step(void (*step)())
        : thread_([this, step] {
              thread_id_ = static_cast<pid_t>(syscall(SYS_gettid));
              step();
              has_returned_ = true;
          }) {}

    bool returns() {
        thread_.join();
        return has_returned_;
    }

    // Waits until the thread sleeps in the kernel, has come through its step or has parked.
    void let_it_settle() {
        while (!has_returned_ && !is_asleep())
            sched_yield();
    }

    bool has_returned() const { return has_returned_; }

  private:
    bool is_asleep() const {
        if (thread_id_ == 0)
            return false;
        std::ifstream stat("/proc/self/task/" + std::to_string(thread_id_) + "/stat");
        std::string text;
        std::getline(stat, text);
        // A thread that has parked is gone, and its file with it.
        const size_t name_end = text.rfind(')');
        return name_end == std::string::npos || text.substr(name_end, 3) == ") S";
    }

    std::atomic<bool> has_returned_{false};
    std::atomic<pid_t> thread_id_{0};
    std::thread thread_;  // last: it uses the others
};

TEST(Lifecycle, TerminatorTearsADaemonDownThatServes) {
    announce_serving();
    EXPECT_TRUE(Step(begin_teardown_by_terminator).returns());
}

TEST(Lifecycle, MainTearsDownAStartUpThatFailed) {
    EXPECT_TRUE(Step(begin_teardown_by_main).returns());
}

TEST(Lifecycle, MainTearsDownAfterALoopThatEnded) {
    announce_serving();
    EXPECT_TRUE(Step(begin_teardown_by_main).returns());
}

TEST(Lifecycle, TerminatorWaitsForStartUpToEnd) {
    Step terminator(begin_teardown_by_terminator);
    terminator.let_it_settle();
    EXPECT_FALSE(terminator.has_returned());
    announce_serving();
    EXPECT_TRUE(terminator.returns());
}

TEST(Lifecycle, TerminatorParksWhenMainWasFirst) {
    begin_teardown_by_main();
    EXPECT_FALSE(Step(begin_teardown_by_terminator).returns());
}

TEST(Lifecycle, TerminatorThatWaitedParksWhenStartUpFails) {
    Step terminator(begin_teardown_by_terminator);
    terminator.let_it_settle();
    begin_teardown_by_main();
    EXPECT_FALSE(terminator.returns());
}

TEST(Lifecycle, MainParksWhenTheTerminatorWasFirst) {
    announce_serving();
    begin_teardown_by_terminator();
    EXPECT_FALSE(Step(begin_teardown_by_main).returns());
}

TEST(Lifecycle, ExactlyOneOfBothTearsDown) {
    announce_serving();
    Step terminator(begin_teardown_by_terminator);
    Step main_thread(begin_teardown_by_main);
    const int winners = (terminator.returns() ? 1 : 0) + (main_thread.returns() ? 1 : 0);
    EXPECT_EQ(winners, 1);
}

}  // namespace
