#include "platform/rpc/rpc_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace zv_rpc_lib {

namespace {

std::atomic<zv_log_cb_t> g_sink{nullptr};

}  // namespace

void set_log_sink(zv_log_cb_t sink) {
    g_sink.store(sink, std::memory_order_release);
}

void log_line(uint32_t severity_mask, const char *format, ...) {
    zv_log_cb_t sink = g_sink.load(std::memory_order_acquire);
    if (sink == nullptr) {
        return;
    }
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    sink(severity_mask, "ZV_RPC", line);
}

}  // namespace zv_rpc_lib
