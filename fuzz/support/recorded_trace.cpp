#include "fuzz/support/recorded_trace.h"

#include <mutex>
#include <utility>

#include "platform/sim/json.h"
#include "platform/sim/trace.h"

namespace {

bool g_recording = false;
std::mutex g_mutex;
std::vector<zv_fuzz::RecordedCall> g_calls;

}  // namespace

namespace zv_fuzz {

void record_calls() {
    g_recording = true;
}

std::vector<RecordedCall> take_calls() {
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_calls, {});
}

}  // namespace zv_fuzz

namespace zv_sim {

bool trace_enabled() noexcept {
    return g_recording;
}

void trace_append(const char *name, const OrderedJson &args, uint32_t status,
                  const OrderedJson &out) noexcept {
    const std::lock_guard lock(g_mutex);
    g_calls.push_back({name, nlohmann::json(args), status, nlohmann::json(out)});
}

}  // namespace zv_sim
