#include "platform/sim/call.h"

#include <cstring>
#include <mutex>
#include <new>

#include "platform/sim/faults.h"
#include "platform/sim/json.h"
#include "platform/sim/trace.h"

namespace zv_sim {

std::atomic<bool> g_watch{true};

struct Call::Record {
    OrderedJson args = OrderedJson::object();
    OrderedJson out = OrderedJson::object();
};

namespace {

// Log lines may be written from signal handlers, where a trace line may not.
bool is_log_call(const char *name) {
    return std::strncmp(name, "zv_log_", 7) == 0;
}

}  // namespace

void Call::begin() noexcept {
    try {
        const FaultHit hit = faults_match(name_);
        if (hit.matched) {
            fault_ = hit.late ? Fault::kLate : Fault::kEarly;
            fault_status_ = hit.status;
        }
        if (trace_enabled() && !is_log_call(name_)) {
            record_ = new Record;
        }
    } catch (...) {
        // Out of memory for a test aid: the call itself goes on.
        record_ = nullptr;
    }
}

uint32_t Call::end(uint32_t status) noexcept {
    const uint32_t left = fault_ == Fault::kNone ? status : fault_status_;
    if (record_ != nullptr) {
        trace_append(name_, record_->args, left, record_->out);
        drop();
    }
    return left;
}

void Call::drop() noexcept {
    delete record_;
    record_ = nullptr;
}

OrderedJson &Call::args_json() noexcept {
    return record_->args;
}

OrderedJson &Call::out_json() noexcept {
    return record_->out;
}

}  // namespace zv_sim
