#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <cstring>
#include <future>
#include <set>
#include <string>

#include "complib/cl_memory.h"
#include "complib/cl_thread.h"
#include "platform/sim/faults.h"

// Sanitizers stop a program that asks for more than there is, unless they are told to let it find
// out.
extern "C" [[gnu::visibility("default")]] const char *__asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" [[gnu::visibility("default")]] const char *__tsan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

struct Seen {
    std::promise<std::string> name;
};

void tell_name(void *context) {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    static_cast<Seen *>(context)->name.set_value(name);
}

std::string name_of_thread(const char *name) {
    Seen seen;
    std::future<std::string> told = seen.name.get_future();
    cl_thread_t thread;
    EXPECT_EQ(cl_thread_init(&thread, tell_name, &seen, name), 0u);
    return told.get();
}

TEST(Thread, RunsItsFunctionUnderItsName) {
    EXPECT_EQ(name_of_thread("aclRm"), "aclRm");
}

TEST(Thread, ANameIsCutToFifteenBytes) {
    EXPECT_EQ(name_of_thread("123456789012345"), "123456789012345");
    EXPECT_EQ(name_of_thread("1234567890123456"), "123456789012345");
}

TEST(Thread, RefusesNullArguments) {
    cl_thread_t thread;
    EXPECT_EQ(cl_thread_init(nullptr, tell_name, nullptr, "x"), uint32_t{CL_STATUS_NULL_ARGUMENT});
    EXPECT_EQ(cl_thread_init(&thread, nullptr, nullptr, "x"), uint32_t{CL_STATUS_NULL_ARGUMENT});
}

TEST(Thread, AnEarlyFaultStartsNothing) {
    zv_sim::faults_arm({{"cl_thread_init", 1, 1, 20, false}});
    Seen seen;
    cl_thread_t thread;
    EXPECT_EQ(cl_thread_init(&thread, tell_name, &seen, "x"), 20u);
    // Setting the value would throw if the thread had done so.
    seen.name.set_value("nobody");
}

TEST(Memory, SizeZeroYieldsAPointer) {
    void *memory = cl_malloc(0);
    EXPECT_NE(memory, nullptr);
    cl_free(memory);
}

TEST(Memory, IsAlignedForAnything) {
    void *memory = cl_malloc(3);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % alignof(std::max_align_t), 0u);
    std::memset(memory, 0xff, 3);
    cl_free(memory);
}

TEST(Memory, FreeingNullDoesNothing) {
    cl_free(nullptr);
}

TEST(Memory, MoreThanThereIsYieldsNull) {
    volatile size_t size = SIZE_MAX - 4096;
    EXPECT_EQ(cl_malloc(size), nullptr);
}

TEST(Memory, AFaultYieldsNullEarlyAndLate) {
    zv_sim::faults_arm({{"cl_malloc", 2, 1, 1, false}});
    void *first = cl_malloc(8);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(cl_malloc(8), nullptr);
    cl_free(first);
    zv_sim::faults_arm({{"cl_malloc", 1, 1, 1, true}});
    EXPECT_EQ(cl_malloc(8), nullptr);
}

TEST(StatusText, EveryStatusHasItsOwnText) {
    std::set<std::string> texts;
    for (uint32_t i = 0; i < CL_STATUS_COUNT; i++) {
        ASSERT_NE(cl_status_text[i], nullptr);
        texts.insert(cl_status_text[i]);
    }
    EXPECT_EQ(texts.size(), 21u);
    EXPECT_STREQ(cl_status_text[0], "success");
}

}  // namespace
