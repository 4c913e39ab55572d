/*
 * zv_rpc_client: the client side of the platform's RPC library (libzv_rpc.so).
 *
 * A connection to a server of zv_rpc.h. Every function returns 0 or an errno value, prints nothing,
 * keeps no global state, raises no signal and never waits longer than its time-out, also when the
 * server does not read. A connection is used by one thread at a time; any number may be open.
 *
 * Time-outs are milliseconds: 0 tries once and waits for nothing, a negative one has no limit.
 *
 * Errors of the transport, the same for every function that takes a reply:
 *   EBADMSG     the server found the request malformed
 *   EOPNOTSUPP  the server has no such command
 *   EMSGSIZE    the request is longer than the server (or the socket) takes
 *   ESHUTDOWN   the server is shutting down and has not carried the request out
 *   ETIMEDOUT   the time is over
 *   ECONNRESET  the server has gone, or closed the connection; close it
 *   ENOBUFS     the reply body is longer than the room given; it is lost
 *   EPROTO      what arrived is no reply of this protocol; close the connection
 *   EINVAL      a null client, or null where bytes or a result must be
 * After any of them but ECONNRESET and EPROTO the connection can be used further.
 */
#ifndef ZV_RPC_CLIENT_H
#define ZV_RPC_CLIENT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

typedef struct zv_rpc_client zv_rpc_client_t;

/*
 * Connects to the server on socket_path, before which ZV_PLATFORM_ROOT is put. *client is the
 * caller's, to be given to zv_rpc_client_close; null after a failure.
 *
 * Returns 0; EINVAL a null argument; ENAMETOOLONG a path of more than 107 bytes; ENOMEM; ENOENT or
 * ECONNREFUSED at once when there is no server; EACCES no right to connect; EAGAIN the server has
 * too many connections waiting to be accepted; another errno value of socket(2) or connect(2).
 */
int zv_rpc_client_connect(const char *socket_path, zv_rpc_client_t **client);

/*
 * Sends one request and waits for its reply.
 *
 * command         the command's number
 * body            body_len bytes, null with 0
 * attachment      attachment_len bytes, null with 0: the path of command 17 with its one NUL at the
 *                 end, at most 4096 bytes; no other command has one
 * reply           room for the reply body; may be the same memory as body. Null with null reply_len
 *                 where no reply body is wanted: one that comes is dropped.
 * reply_len       in: bytes of room; out: bytes of the reply body (with ENOBUFS what it would have
 *                 needed, after any other failure 0)
 * status          out: the handler's status, 0 after a failure other than ENOBUFS; may be null
 * timeout_ms      for sending and receiving together
 *
 * A request whose time is over may still be carried out. Its late reply is dropped and never taken
 * for that of a later call. After a failure other than ENOBUFS and EPROTO reply holds what it held
 * before.
 *
 * Returns 0 when a handler answered, whatever its status; else an error of the list above, or EBUSY
 * while replies to zv_rpc_client_send are outstanding.
 */
int zv_rpc_client_call(zv_rpc_client_t *client, uint32_t command, const void *body,
                       uint32_t body_len, const void *attachment, uint32_t attachment_len,
                       void *reply, uint32_t *reply_len, uint32_t *status, int timeout_ms);

/*
 * Sends one request without waiting for its reply, which zv_rpc_client_receive takes. The arguments
 * are those of zv_rpc_client_call; *sequence (may be null) is the number by which the reply is
 * known. A server answers the requests of one connection in their order, and stops reading from a
 * client that takes no replies: then ETIMEDOUT comes from here, and nothing has been sent.
 */
int zv_rpc_client_send(zv_rpc_client_t *client, uint32_t command, const void *body,
                       uint32_t body_len, const void *attachment, uint32_t attachment_len,
                       uint32_t *sequence, int timeout_ms);

/*
 * Takes the next reply to zv_rpc_client_send. *sequence (may be null) says to which request it
 * belongs, also when the transport's error says that the request failed; the other arguments are
 * those of zv_rpc_client_call. After ETIMEDOUT the request is still outstanding; ECONNRESET gives
 * up the oldest one that is, which *sequence names.
 *
 * Returns as zv_rpc_client_call, or ENOMSG when no request is outstanding.
 */
int zv_rpc_client_receive(zv_rpc_client_t *client, uint32_t *sequence, void *reply,
                          uint32_t *reply_len, uint32_t *status, int timeout_ms);

/* The socket, to wait for with poll(2) beside others; the client keeps it. -1 for a null client. */
int zv_rpc_client_fd(const zv_rpc_client_t *client);

/* Closes the connection and releases the client. Null does nothing. */
void zv_rpc_client_close(zv_rpc_client_t *client);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
