// The library's own log lines, to the sink that the program registered.
#ifndef PLATFORM_RPC_RPC_LOG_H
#define PLATFORM_RPC_RPC_LOG_H

#include "zv_log.h"

namespace zv_rpc_lib {

constexpr uint32_t kWarning = 3;
constexpr uint32_t kInfo = 15;

void set_log_sink(zv_log_cb_t sink);

// Writes one line, of at most 511 characters. Without a sink nothing is formatted.
void log_line(uint32_t severity_mask, const char *format, ...) ZV_LOG_PRINTF(2, 3);

}  // namespace zv_rpc_lib

#endif
