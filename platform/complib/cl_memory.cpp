#include "complib/cl_memory.h"

#include <cstdlib>

#include "platform/sim/call.h"
#include "platform/sim/json.h"

namespace {

constexpr uint32_t kTracedFailure = 1;

}  // namespace

void *cl_malloc(size_t size) {
    zv_sim::Call call("cl_malloc");
    call.args([&](auto &args) { args["size"] = size; });
    void *memory = nullptr;
    if (!call.fails_early()) {
        // malloc(0) may return null, which callers would take for a failure.
        memory = std::malloc(size == 0 ? 1 : size);
    }
    if (call.fails()) {
        std::free(memory);
        memory = nullptr;
    }
    call.finish(memory == nullptr ? kTracedFailure : 0);
    return memory;
}

void cl_free(void *memory) {
    zv_sim::Call call("cl_free");
    std::free(memory);
    call.finish();
}
