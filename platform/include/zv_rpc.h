/*
 * zv_rpc: the server side of the platform's RPC library (libzv_rpc.so).
 *
 * One server per process, on one Unix socket of type SOCK_SEQPACKET. Requests are taken and
 * handlers run on one thread, the one that calls zv_rpc_core_td_start_loop, one at a time. The
 * framing is described in docs/wire-format.md; zv_rpc_client.h is the other end.
 *
 * Life cycle: zv_rpc_register_log_function, zv_rpc_core_td_init, zv_rpc_api_rpc_command_db_init,
 * zv_rpc_core_td_start_loop; then, on another thread, zv_rpc_change_main_exit_signal_state(1) and
 * zv_rpc_api_rpc_command_db_deinit. A process whose loop has stopped cannot serve again.
 *
 * Statuses are 0 for success; the other numbers are listed at each function.
 *
 * Environment, read by zv_rpc_core_td_init:
 *   ZV_PLATFORM_ROOT=<dir>      is put before the socket's path (clients do the same)
 *   ZV_RPC_SOCKET_MODE=<octal>  mode of the socket file, default 0660; a value that is no octal
 *                               number up to 0777 is reported and the default used
 *   ZV_RPC_BUSY_POLL_US=<n>     microseconds for which the loop polls before it sleeps, default 0;
 *                               a value that is no decimal number up to 1000000 (a second) is
 *                               reported with a warning and the default used
 */
#ifndef ZV_RPC_H
#define ZV_RPC_H

#include <stdint.h>

#include "zv_log.h"

#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/*
 * Carries out one request.
 *
 * body       the received record: a writable copy, aligned to 8 bytes, valid until the handler
 *            returns; null when the request has no body
 * body_len   bytes of body
 * reply      in: points to null; out: where the reply body is, null for none; it may lie in body.
 *            The library takes it, only if the handler succeeded, before it receives the next
 *            request and calls any handler again.
 * reply_len  in: points to 0; out: bytes of reply. A reply that does not fit a message (max_message
 *            less 40 bytes), or that begins in body and reaches past its end, is left out: the
 *            client gets the status alone and a warning is logged.
 *
 * Returns the command's status, which reaches the client as it is; 0 is success. With any other
 * status reply and reply_len are not looked at.
 */
typedef uint32_t (*zv_rpc_handler_t)(uint8_t *body, uint32_t body_len, uint8_t **reply,
                                     uint32_t *reply_len);

/* One command: 120 bytes on hosts with 8-byte pointers. */
typedef struct {
    uint32_t command_id;      /* the number in the request's header */
    char name[100];           /* NUL-terminated, for readers of the table */
    zv_rpc_handler_t handler; /* not null */
    uint64_t priority;        /* kept for other platforms; every command is served alike */
} zv_rpc_command_t;

/*
 * Sets the receiver of the library's own log lines, module "ZV_RPC": connections opened and closed
 * (mask 15, with the peer's uid, gid and pid as the kernel knows them), connections refused and
 * what else deserves attention (mask 3). Null, the initial state: lines are not even formatted. The
 * sink is called on the thread of zv_rpc_core_td_init and on the loop's, and never again once
 * zv_rpc_api_rpc_command_db_deinit has returned 0. To be called before the loop starts.
 */
void zv_rpc_register_log_function(zv_log_cb_t sink);

/*
 * Opens the socket; clients may connect from here on and are served once the loop runs.
 *
 * socket_path  absolute path of the socket, at most 103 bytes with ZV_PLATFORM_ROOT before it. Its
 *              directory is made if it is missing.
 * max_message  bytes of the longest message, header included: 40 to 65536, of which a socket's
 *              buffer of usual size holds several
 *
 * Only one live server has a path: it holds a lock on <socket_path>.lock. That file is never
 * removed, since removing a file that others may be about to lock lets two of them succeed. A
 * socket file of a server that died is replaced; a file of another type is not.
 *
 * Returns 0; 1 a bad parameter; 2 called before and not deregistered since, or the
 * loop of this process has stopped already; 3 another server is alive on the path (nothing is
 * touched); 4 the operating system refused (logged with its error). After a failure nothing stays
 * open.
 */
uint32_t zv_rpc_core_td_init(const char *socket_path, uint32_t max_message);

/*
 * Registers the commands. The table is copied.
 *
 * Returns 0; 1 a null or empty table, a null handler, a name without NUL, or an id that stands
 * there twice; 2 before zv_rpc_core_td_init, or a table is registered already; 4 no memory. A
 * failure changes nothing.
 */
uint32_t zv_rpc_api_rpc_command_db_init(const zv_rpc_command_t *table, uint32_t count);

/*
 * Ends serving, whether or not stopping was asked for before: waits for the handler that is running
 * and for the loop to have answered what was received, if the loop is running at all; then removes
 * the socket file and releases the lock. When it has returned 0 no handler runs and the log sink is
 * not called again. The table, the socket and the lock are gone then.
 *
 * Returns 0; 2 when no table is registered (nothing changes); 5 when called from a handler.
 * To be called on a thread other than the loop's.
 */
uint32_t zv_rpc_api_rpc_command_db_deinit(void);

/*
 * Serves until stopped. Does not return when stopping was asked for: the calling thread is parked,
 * since the process is about to exit. That holds also where the request came before this call.
 *
 * Returns 2 where no table is registered or the loop runs already, 4 where the server cannot go on.
 */
uint32_t zv_rpc_core_td_start_loop(void);

/*
 * state 1 asks the loop to stop: the running handler finishes, requests received and not yet
 * dispatched are answered "shutting down", connections are closed. state 0 withdraws that as long
 * as the loop has not begun to stop. May be called on any thread at any time.
 */
void zv_rpc_change_main_exit_signal_state(uint32_t state);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
