/* Log library of the stub platform: every line is dropped. */
#include "zv_log.h"

uint32_t zv_log_init(uint32_t arg0, uint32_t arg1, zv_log_cb_t sink) {
    (void)arg0;
    (void)arg1;
    (void)sink;
    return 0;
}

uint32_t zv_log_close(void) {
    return 0;
}

void zv_log(uint32_t severity_mask, const char *module, const char *format, ...) {
    (void)severity_mask;
    (void)module;
    (void)format;
}

void zv_trace_cbuff_log(const char *format, ...) {
    (void)format;
}
