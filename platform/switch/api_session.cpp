// Opening and closing the SDK, and the names of its statuses.

#include "platform/switch/api_call.h"
#include "platform/switch/render.h"

namespace zv_switch {

Switch &the_switch() {
    static Switch &instance = *new Switch;
    return instance;
}

namespace {

zv_status_t open_handle(zv_api_handle_t *handle) noexcept {
    if (handle == nullptr) {
        return kNullParameter;
    }
    try {
        Switch &sw = the_switch();
        const std::lock_guard lock(sw.mutex);
        sw.handles.push_back(sw.next_handle);
        *handle = sw.next_handle++;
        return kSuccess;
    } catch (...) {
        return kInternalError;
    }
}

}  // namespace
}  // namespace zv_switch

using namespace zv_switch;

zv_status_t zv_api_open(zv_log_cb_t /*log_cb*/, zv_api_handle_t *handle) {
    zv_sim::Call call("zv_api_open");
    return call.finish(call.fails_early() ? kInternalError : open_handle(handle));
}

zv_status_t zv_api_close(zv_api_handle_t handle) {
    zv_sim::Call call("zv_api_close");
    return call.finish(carry_out(call, handle, [&](Switch &sw) {
        std::erase(sw.handles, handle);
        return kSuccess;
    }));
}

const char *zv_status_str(zv_status_t status) {
    zv_sim::Call call("zv_status_str");
    call.args([&](OrderedJson &args) { args = zv_sim::object_of({{"status", status}}); });
    call.finish();
    return status_text(status);
}
