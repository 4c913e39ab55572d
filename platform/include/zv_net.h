/* Network library: which logical ports the switch has.
 *
 * Every function returns 0 for success. Any thread may call any of them.
 */
#ifndef ZV_NET_H
#define ZV_NET_H

#include <stdint.h>

#include "zv_log.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* One port, 32 bytes. */
typedef struct {
    uint32_t log_port; /* logical port number */
    uint32_t kind;     /* 0: a front-panel port; anything else is not one (the CPU, for example) */
    char name[24];     /* NUL-terminated, padded with NULs */
} zv_net_port_t;

/* Bring the library up. sink takes its log lines and may be null; verbosity is a log level, flags
 * are reserved and 0. Returns 0. The software library logs nothing and needs no bringing up; both
 * calls are there for platforms that do. */
uint32_t zv_net_init(zv_log_cb_t sink, uint32_t verbosity, uint32_t flags);

/* Take it down again. Returns 0. */
uint32_t zv_net_deinit(void);

/* The ports of the switch, in the switch's order.
 *
 * selector: which ports the caller means; the software library reports all of them for any value.
 * ports: null, or room for *count records, which stays the caller's.
 * count: with ports null, receives the number of ports there are; else holds the room given and
 *        receives the number of records filled, which is less where there are fewer ports and
 *        never more. The number of ports may change between two calls.
 * Returns 0; 1 when the host has no memory left; 3 when count is null. After a failure nothing is
 * written. */
uint32_t zv_net_ports_get_all(uint32_t selector, zv_net_port_t *ports, uint32_t *count);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
