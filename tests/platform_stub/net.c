/* Network library of the stub platform: a switch without ports. */
#include "zv_net.h"

uint32_t zv_net_init(zv_log_cb_t sink, uint32_t verbosity, uint32_t flags) {
    (void)sink;
    (void)verbosity;
    (void)flags;
    return 0;
}

uint32_t zv_net_deinit(void) {
    return 0;
}

uint32_t zv_net_ports_get_all(uint32_t selector, zv_net_port_t *ports, uint32_t *count) {
    (void)selector;
    (void)ports;
    *count = 0;
    return 0;
}
