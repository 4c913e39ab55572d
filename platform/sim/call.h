// One call of a platform function, seen from inside it: faults that tests and operators ordered,
// and the call trace.
//
//     uint32_t zv_net_deinit() {
//         zv_sim::Call call("zv_net_deinit");
//         if (call.fails_early()) {
//             return call.finish(0);
//         }
//         ... the work ...
//         return call.finish(status);
//     }
//
// While neither a trace is written nor a fault is armed, all of this costs predictable branches on
// values in registers, and nothing that args and out are given is run. Any thread may make calls; a
// Call object belongs to one. Nothing here throws.
//
// Which names can be failed is one table in faults.cpp: functions that return a status, and
// cl_malloc. The log library's calls never stand in the trace.
#ifndef PLATFORM_SIM_CALL_H
#define PLATFORM_SIM_CALL_H

#include <atomic>
#include <cstdint>

#include "platform/sim/export.h"
#include "platform/sim/json_fwd.h"

namespace zv_sim {

// Whether calls must be looked at at all. True until the environment has been read, which the first
// call does; afterwards true while tracing or while a fault is armed.
ZV_SIM_EXPORT extern std::atomic<bool> g_watch;

class ZV_SIM_EXPORT Call {
  public:
    // name: a string literal, the function's name.
    explicit Call(const char *name) noexcept : name_(name) {
        if (g_watch.load(std::memory_order_acquire)) [[unlikely]] {
            begin();
        }
    }
    ~Call() {
        if (record_ != nullptr) [[unlikely]] {
            drop();
        }
    }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    // An early fault hit: the caller does no work and returns finish(anything).
    bool fails_early() const noexcept { return fault_ == Fault::kEarly; }

    // A fault hit, early or late: for the caller that must undo work whose result it cannot return.
    bool fails() const noexcept { return fault_ != Fault::kNone; }

    // Ends the call: writes the trace line and returns what the function must return, which is the
    // fault's status where one hit and `status` otherwise. To be called once.
    uint32_t finish(uint32_t status) noexcept {
        if (fault_ != Fault::kNone || record_ != nullptr) [[unlikely]] {
            return end(status);
        }
        return status;
    }
    void finish() noexcept { (void)finish(0); }

    // Adds to the trace line's "args" or "out"; fill(OrderedJson &) runs only while
    // tracing. A fill that runs out of memory costs its trace line, nothing else.
    template <class F>
    Call &args(F &&fill) noexcept {
        return record_ == nullptr ? *this : guarded(fill, args_json());
    }
    template <class F>
    Call &out(F &&fill) noexcept {
        return record_ == nullptr ? *this : guarded(fill, out_json());
    }

  private:
    enum class Fault : uint32_t { kNone, kEarly, kLate };
    struct Record;

    void begin() noexcept;
    uint32_t end(uint32_t status) noexcept;
    void drop() noexcept;
    OrderedJson &args_json() noexcept;
    OrderedJson &out_json() noexcept;

    template <class F>
    Call &guarded(F &fill, OrderedJson &into) noexcept {
        try {
            fill(into);
        } catch (...) {
            drop();
        }
        return *this;
    }

    const char *name_;
    Record *record_ = nullptr;
    Fault fault_ = Fault::kNone;
    uint32_t fault_status_ = 0;
};

}  // namespace zv_sim

#endif
