// What building an object leaves behind when memory ends in the middle: the program's operator new
// counts what is held and fails where a test says.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "platform/sim/call.h"
#include "platform/sim/json.h"

namespace {

int64_t g_held = 0;
uint64_t g_until_failure = 0;  // 0: none fails

void *take(size_t size) {
    if (g_until_failure != 0 && --g_until_failure == 0) {
        throw std::bad_alloc();
    }
    void *memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    g_held++;
    return memory;
}

void give(void *memory) {
    g_held -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

}  // namespace

void *operator new(size_t size) {
    return take(size);
}
void operator delete(void *memory) noexcept {
    give(memory);
}
void operator delete(void *memory, size_t /*size*/) noexcept {
    give(memory);
}

namespace {

// Its texts are too long to lie within a string.
zv_sim::OrderedJson build() {
    return zv_sim::object_of(
        {{"one", 1},
         {"a name that takes memory", std::string(100, 'x')},
         {"within", zv_sim::object_of({{"two", 2}, {"text", std::string(100, 'y')}})}});
}

TEST(JsonObjectOf, HoldsTheMembersInTheirOrder) {
    EXPECT_EQ(build().dump(), R"({"one":1,"a name that takes memory":")" + std::string(100, 'x') +
                                  R"(","within":{"two":2,"text":")" + std::string(100, 'y') +
                                  "\"}}");
}

// Fails each allocation of `work` in turn; returns how many there are.
template <class Work>
uint64_t fail_each_allocation(const Work &work) {
    uint64_t nth = 0;
    for (bool failed = true; failed;) {
        const int64_t before = g_held;
        g_until_failure = ++nth;
        try {
            work();
        } catch (const std::bad_alloc &) {
        }
        failed = g_until_failure == 0;
        g_until_failure = 0;
        EXPECT_EQ(g_held, before) << "allocation " << nth;
    }
    return nth - 1;
}

TEST(JsonObjectOf, ForgetsNothingWhenMemoryEndsInTheMiddle) {
    EXPECT_GT(fail_each_allocation(build), 10u);
}

TEST(TraceLine, ForgetsNothingWhenMemoryEndsInTheMiddle) {
    setenv("ZV_SIM_TRACE", "/dev/null", 1);
    zv_sim::Call("zv_api_open").finish();  // opens the file
    const auto traced_call = [] {
        zv_sim::Call call("zv_api_close");
        call.args([](zv_sim::OrderedJson &args) { args = build(); });
        call.finish();
    };
    EXPECT_GT(fail_each_allocation(traced_call), 20u);
}

}  // namespace
