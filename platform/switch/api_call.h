// What the SDK's functions have in common: the handle, the lock, and that nothing is thrown into a
// C caller.
#ifndef PLATFORM_SWITCH_API_CALL_H
#define PLATFORM_SWITCH_API_CALL_H

#include <algorithm>
#include <mutex>

#include "platform/sim/call.h"
#include "platform/switch/state.h"

namespace zv_switch {

// Runs work(Switch &) under the switch's mutex and returns its status: 2 without running it when
// the handle is not open, 1 when it ran out of memory. An armed early fault runs nothing; the
// status returned then is not success and never leaves Call::finish.
template <class F>
zv_status_t carry_out(const zv_sim::Call &call, zv_api_handle_t handle, F &&work) noexcept {
    if (call.fails_early()) {
        return kInternalError;
    }
    try {
        Switch &sw = the_switch();
        const std::lock_guard lock(sw.mutex);
        if (std::find(sw.handles.begin(), sw.handles.end(), handle) == sw.handles.end()) {
            return kInvalidHandle;
        }
        return work(sw);
    } catch (...) {
        return kInternalError;
    }
}

}  // namespace zv_switch

#endif
