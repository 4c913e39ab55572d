/* zv_acl_rm_client.h - the client library libzv_acl_rm: one function per command of the daemon.
 *
 * A client object is one connection to the daemon together with the 64-bit handle that the client
 * chose for itself. The handle is what the daemon knows a client by, not the connection: OPEN
 * registers it for an owner, and every later command on any connection that carries the same
 * number acts as that owner. A program may therefore close its connection and go on later.
 *
 * Results. Every function that talks to the daemon returns 0 when an answer came, and then stores
 * the daemon's answer in *status; any other value is an errno value, no answer came, and *status
 * and the record are left as they were:
 *   EINVAL        a null argument (`status` included), or one outside the range named here
 *   ETIMEDOUT     no answer within the time limit; whether the command was carried out is unknown,
 *                 and its late answer is never taken for the answer of a later call
 *   ECONNRESET    the daemon went away; close the client and connect again
 *   ESHUTDOWN     the daemon is shutting down and did not carry the command out
 *   EBUSY         answers to zv_acl_rm_client_submit are outstanding; collect them first
 *   EPROTO        the answer was none of this protocol, or had the wrong size; close the client
 *   ENOMEM, ENOBUFS   the system had no memory for a message on this side; whether the command was
 *                 carried out is unknown, and the client can be used further
 *   EOPNOTSUPP, EBADMSG, EMSGSIZE   the daemon has no such command, or found the message malformed
 *                 or too long: it is of another version
 * A failing command (0 returned, *status not 0) returns no record either: the caller's record
 * keeps what was sent. Statuses listed with a function are the ones the daemon gives beside
 *   ZV_ACL_RM_STATUS_ERROR  before the first OPEN or INIT, or when the switch refused
 * and zv_acl_rm_status_meaning() puts any of them in words. The daemon takes next to nothing back:
 * where a command of several steps fails half-way, the steps done stay done.
 *
 * Records. A function fills in the record's client_handle; the caller fills in the rest and owns
 * the record throughout. On success the reply overwrites (that part of) it.
 *
 * Threads. There is no global state. One client object must be used by one thread at a time; any
 * number of client objects may be used at once.
 */
#ifndef ZV_ACL_RM_CLIENT_H
#define ZV_ACL_RM_CLIENT_H

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZV_ACL_RM_EXPORT __attribute__((visibility("default")))
#else
#define ZV_ACL_RM_EXPORT
#endif

#define ZV_ACL_RM_DEFAULT_TIMEOUT_MS 5000 /* of every call, until set otherwise */
#define ZV_ACL_RM_MAX_IN_FLIGHT 32u       /* requests a client may have under way */

typedef struct zv_acl_rm_client zv_acl_rm_client_t;

/* ---- connection ---- */

/* Connects to the daemon's socket; null means ZV_ACL_RM_SOCKET_PATH. ZV_PLATFORM_ROOT is put
 * before either. `handle` may be any number; 0 is accepted but also matches every owner's slot
 * that was never opened, so choose another. Sends nothing to the daemon.
 * 0: *client is the caller's, to be closed by zv_acl_rm_client_close. Otherwise *client is null:
 * EINVAL (`client` null), ENOENT (no socket there), ECONNREFUSED (no daemon behind it), EAGAIN (as
 * many connections wait for the daemon as may: try again later), EACCES, ENAMETOOLONG, ENOMEM or
 * whatever else connect(2) reports. Never waits for a daemon to appear, nor for a place. */
ZV_ACL_RM_EXPORT int zv_acl_rm_client_connect(const char *socket_path, uint64_t handle,
                                              zv_acl_rm_client_t **client);

/* Closes the connection and frees the object; null does nothing. A request under way is still
 * carried out by the daemon. Owners, ACLs and rules stay: closing is not giving up ownership. */
ZV_ACL_RM_EXPORT void zv_acl_rm_client_close(zv_acl_rm_client_t *client);

/* The time a call may take from its first byte to the whole answer, in ms; a negative number: no
 * limit. 0 gives an answer only if it is there at once. Returns 0, or EINVAL: `client` is null. */
ZV_ACL_RM_EXPORT int zv_acl_rm_client_set_timeout_ms(zv_acl_rm_client_t *client, int timeout_ms);

/* The handle given to connect; 0 for a null client. */
ZV_ACL_RM_EXPORT uint64_t zv_acl_rm_client_handle(const zv_acl_rm_client_t *client);

/* The connection's descriptor for poll(2), -1 for a null client; it stays the library's. */
ZV_ACL_RM_EXPORT int zv_acl_rm_client_fd(const zv_acl_rm_client_t *client);

/* ---- the sixteen commands ---- */

/* Registers the handle as the present client of `owner` (enum zv_acl_rm_owner; EINVAL above 3,
 * and nothing is sent: the daemon would refuse it as well) and opens the switch if it is not open.
 * Whoever held that owner before loses access to its objects, which stay as they are. Sets the
 * owner's priority in shared groups: PRA 0, open-flow 1, tarn-os 2, OF13 3. ERROR: the switch could
 * not be opened; the handle is registered all the same. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_open(zv_acl_rm_client_t *client, uint32_t owner,
                                        zv_acl_rm_status_t *status);

/* Opens the switch if it is not open and loads the limits of a chip: 1, 3, 6, 8, 9 and 11 allow 20
 * rules a command and 399 ACLs; 5, 7 and 10 allow no rule. May be sent again.
 * ERROR: an unknown chip type (the former limits stay), or the switch could not be opened. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_init(zv_acl_rm_client_t *client, uint32_t chip_type,
                                        zv_acl_rm_status_t *status);

/* CREATE makes a region of min_size rules and an ACL over it (out: acl_id, region_id). EDIT gives
 * the ACL another direction, and thereby another acl_id (out); groups, ports and rule records that
 * name the former id keep it, so edit an ACL before it has any. DESTROY deletes the ACL's rules,
 * takes it off its ports and removes ACL and region; acl_type and direction travel to the switch as
 * sent.
 * CMD_UNSUPPORTED: another cmd. ENTRY_NOT_FOUND: the handle was never opened; or destroy of an ACL
 * that has rules from before an edit, or one that forwards to logical port 0. PARAM_EXCEEDS_RANGE:
 * min_size and max_size differ; edit and destroy of an unknown ACL; or destroy of an ACL with rules
 * while no chip is loaded or one that allows none. NO_RESOURCES: the daemon holds as many ACLs as
 * the chip allows. PARAM_NULL: the daemon's memory ran out after the switch had created the ACL.
 * NO_BUFFER_SPACE: it ran out when the rules of an ACL to destroy were taken out. ERROR: another
 * owner's ACL, edit of an ACL that is bound, create where the daemon holds 648 ACLs (a chip without
 * limits), or the switch refused.
 * What a failed create leaves: perhaps a region (and an ACL) that only the switch knows, and that
 * counts where the ACL was made. What a failed edit leaves: after ERROR, other than for the owner,
 * an ACL that the daemon has forgotten, while the switch keeps its region and rules and its groups
 * its former id.
 * What a failed destroy leaves: for a chip that allows no rules, everything; for a rule to port 0,
 * an ACL without that rule, whose destroy goes on where it is sent again; for rules from before an
 * edit, those, as they go by the former id, so that the ACL stays; where the switch refused, an ACL
 * without its rules, which takes no new ones. That one can be destroyed again, but not where a port
 * could not be left (it counts as unbound while the switch has the ACL there) and not where the
 * switch has removed the ACL and refused the region. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_acl_set(zv_acl_rm_client_t *client,
                                           zv_acl_rm_acl_set_params_t *params,
                                           zv_acl_rm_status_t *status);

/* Gives the region of an ACL room for new_size rules; its present size is a success without effect.
 * Only ACLs created with sizes 0 can change: others must keep min_size = max_size.
 * PARAM_EXCEEDS_RANGE: unknown handle or ACL, a size outside the bounds of creation, or a rule lies
 * past the new end (nothing changed). NO_HW_RESOURCES: no room in the switch (nothing changed).
 * PARAM_NULL: memory ran out after the switch was resized. ERROR: another owner's ACL. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_acl_resize(zv_acl_rm_client_t *client,
                                              zv_acl_rm_acl_resize_params_t *params,
                                              zv_acl_rm_status_t *status);

/* WRITE puts rules_num rules at the offsets their priorities name (out: each rule's offset); DELETE
 * removes the rules at the offsets given. All of a batch are translated before any is written, and
 * all are looked for before any is deleted; those of one key type are written together.
 * CMD_UNSUPPORTED: another cmd. PARAM_EXCEEDS_RANGE: more rules than the chip allows in a command,
 * unknown handle or ACL, key type above 3, or an offset that the ACL has lost its record of.
 * NO_RESOURCES: the daemon holds 6400 rules, or its memory ran out. NO_HW_RESOURCES: the switch has
 * no room for a forwarding entry. NO_BUFFER_SPACE: memory ran out in a delete. ENTRY_NOT_FOUND:
 * unknown multicast group or unknown counter of a rule to write; no rule at an offset to delete,
 * one offset twice, or a rule to delete forwards to logical port 0. ERROR: an offset that holds a
 * rule already, or twice in the batch; a batch that begins below 6400 rules and ends past them;
 * more than 100 forwarding ports; another owner's ACL; or the switch refused.
 * What was done before a failure stays done: key types before the one that failed, and forwarding
 * entries. What a failed WRITE leaves beyond that: for an unknown counter, a batch past 6400 rules
 * and a port past the hundredth, rules that are in the switch without a record, so that no DELETE
 * reaches them (of the batch past 6400 those that fitted have one); for one offset twice, the
 * second rule in the switch and the record of the first; for an offset without a record, the rule
 * in the switch; for an edited ACL's offset that is taken under its former id, the new rule in the
 * old one's place.
 * What a failed DELETE leaves: where an offset has no rule, everything; where one stands twice or
 * has lost its record, none of the rules in the switch, and the records of those behind it; where
 * a rule forwards to port 0, none of the rules at all. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_acl_rule_set(zv_acl_rm_client_t *client,
                                                zv_acl_rm_acl_rule_set_params_t *params,
                                                zv_acl_rm_status_t *status);

/* Reads the rules at rules[i].offset from the switch, with activity where activity_request asks.
 * Words of a readout that do not apply keep what was sent. Changes nothing but activity; only a
 * first rule with activity_request 2 makes the daemon check ownership.
 * PARAM_EXCEEDS_RANGE: more rules than the chip allows in a command, or (request 2) unknown handle
 * or ACL. ENTRY_NOT_FOUND: unknown ACL, or no rule at an offset. ERROR: an offset past the region,
 * or (request 2) another owner's ACL. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_acl_rule_get(zv_acl_rm_client_t *client,
                                                zv_acl_rm_acl_rule_get_params_t *params,
                                                zv_acl_rm_status_t *status);

/* Moves block_size rules from offset block_start to new_start, as memmove(3) would; the vacated
 * offsets are empty afterwards. Whatever lay at the destination is overwritten in the switch.
 * PARAM_EXCEEDS_RANGE: unknown handle or ACL. ERROR: another owner's ACL, or the switch refused (a
 * block outside the region). Any status of a delete, or ERROR: the daemon's record could not follow
 * the switch, which stays moved: the block moves over a rule to port 0 (ENTRY_NOT_FOUND) or, while
 * no chip is loaded or one that allows no rules, over any (PARAM_EXCEEDS_RANGE), or the daemon
 * holds 6400 rules and the new place is empty (ERROR). */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_acl_rule_move_block(
    zv_acl_rm_client_t *client, const zv_acl_rm_acl_rule_move_block_params_t *params,
    zv_acl_rm_status_t *status);

/* Binds an ACL to, or unbinds it from, ports_num logical ports, in their order; those done before a
 * failure stay done. ACLs on one port form a group ordered by their owners' priorities. Binding
 * what is bound and unbinding what is not are successes without effect.
 * CMD_UNSUPPORTED: another cmd. PARAM_EXCEEDS_RANGE: no port, unknown handle or ACL, or the ACL's
 * list of what it is bound to is full: 648 ports and router interfaces, and those stay listed that
 * an unbind took off before it failed; the port is bound all the same, and not listed.
 * NO_RESOURCES: 128 groups exist, 16 ACLs on the port, or memory ran out. NO_HW_RESOURCES: the
 * switch's room ran out. ENTRY_NOT_FOUND: the port's group holds an ACL that was edited since.
 * ERROR: another owner's ACL, a port whose ACLs have the other direction, or the switch refused.
 * EINVAL: ports_num above ZV_ACL_RM_PORTS_PER_RECORD.
 * What a refusal of the switch leaves of the port that failed: after a BIND it may count as bound
 * though the switch has not bound it, after an UNBIND as unbound though the switch keeps it. A
 * later success for that port is then one without effect, and proves nothing. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_acl_port_bind(zv_acl_rm_client_t *client,
                                                 zv_acl_rm_acl_port_bind_params_t *params,
                                                 zv_acl_rm_status_t *status);

/* The same for router interfaces, with the same statuses and the same that a failure leaves.
 * EINVAL: rifs_num above ZV_ACL_RM_PORTS_PER_RECORD. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_acl_rif_bind(zv_acl_rm_client_t *client,
                                                zv_acl_rm_acl_rif_bind_params_t *params,
                                                zv_acl_rm_status_t *status);

/* CREATE makes a flow counter (out: counter_id); DESTROY removes it, or, while rules use it, only
 * has it go with the last of them. Any client may name any counter.
 * CMD_UNSUPPORTED: another cmd. ENTRY_NOT_FOUND: unknown counter. NO_RESOURCES: the daemon holds
 * 255 counters. ERROR: not exactly one type flag is 1. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_counter_set(zv_acl_rm_client_t *client,
                                               zv_acl_rm_counter_set_params_t *params,
                                               zv_acl_rm_status_t *status);

/* READ stores the counter's type and the one value its type selects; CLEAR sets the counter to 0.
 * CMD_UNSUPPORTED: READ_CLEAR or another cmd. ENTRY_NOT_FOUND: unknown counter. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_counter_get(zv_acl_rm_client_t *client,
                                               zv_acl_rm_counter_get_params_t *params,
                                               zv_acl_rm_status_t *status);

/* ADD makes a multicast group of ports_num ports (out: mc_group_id); ADD_PORTS and DELETE_PORTS
 * change it, DELETE removes it. A client that opened as OF13 can only ADD.
 * CMD_UNSUPPORTED: another cmd. ENTRY_NOT_FOUND: ADD by a handle that was never opened.
 * PARAM_EXCEEDS_RANGE: unknown handle or group, of the other commands. NO_RESOURCES: ADD, the
 * switch has no room. ERROR: another owner's group, any other refusal of the switch, or ADD, the
 * daemon holds 6400 groups: the new one is then in the switch, and nobody can name it. After any
 * other failure nothing has changed. EINVAL: ports_num above ZV_ACL_RM_PORTS_PER_RECORD. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_mc_group_set(zv_acl_rm_client_t *client,
                                                zv_acl_rm_mc_group_set_params_t *params,
                                                zv_acl_rm_status_t *status);

/* Reads up to ports_num ports of a group (in: room, out: ports returned). PARAM_EXCEEDS_RANGE:
 * unknown handle or group, or any client that opened as OF13. ERROR: another owner's group.
 * EINVAL: ports_num above ZV_ACL_RM_PORTS_PER_RECORD. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_mc_group_get(zv_acl_rm_client_t *client,
                                                zv_acl_rm_mc_group_get_params_t *params,
                                                zv_acl_rm_status_t *status);

/* BIND puts an ACL on every front-panel port, present ones and those PORT_SET will add; UNBIND
 * takes it off every port, also those bound one by one. Ports done before a failure stay done:
 * after a failed BIND the ACL is on them and still not bound to the system, so that UNBIND is
 * refused and they are unbound one by one; after a failed UNBIND it still counts as bound to the
 * system, and UNBIND may be sent again. Of the port that failed a later success proves nothing, as
 * for a port bind: the daemon may count it as done.
 * CMD_UNSUPPORTED: another cmd. PARAM_EXCEEDS_RANGE: unknown handle or ACL, or its list is full as
 * for a port bind, as are NO_RESOURCES, NO_HW_RESOURCES and ENTRY_NOT_FOUND. ERROR: another owner's
 * ACL, already (not yet) bound so, a port whose ACLs have the other direction, the ports could not
 * be listed, or the switch refused. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_system_bind_set(zv_acl_rm_client_t *client,
                                                   zv_acl_rm_acl_system_bind_params_t *params,
                                                   zv_acl_rm_status_t *status);

/* Tells the daemon of ports that came or went: every owner's system-bound ACLs are bound to them or
 * unbound from them, one ACL after the other; what was done before a failure stays done, and of the
 * port that failed a later success proves nothing, as for a port bind. The handle is not checked,
 * and no port is a success without effect. CMD_UNSUPPORTED: another cmd; otherwise the statuses of
 * a port bind. EINVAL: ports_num above ZV_ACL_RM_PORTS_PER_RECORD. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_port_set(zv_acl_rm_client_t *client,
                                            zv_acl_rm_port_set_params_t *params,
                                            zv_acl_rm_status_t *status);

/* Has the daemon write its cache as text to `path` on its own host (an absolute path, at most 4095
 * bytes; EINVAL for none or an empty one, ENAMETOOLONG). A file that cannot be opened is no
 * failure, nor is one that takes only a part: the text then goes to the daemon's log. It is cut at
 * 65535 bytes. ERROR: not even its first line could be written. NO_RESOURCES: memory ran out. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_dump(zv_acl_rm_client_t *client, const char *path,
                                        zv_acl_rm_status_t *status);

/* ---- several requests under way, and requests of any shape ---- */

/* Sends a command without waiting for its answer and stores the sequence number by which the answer
 * is known. Any of the sixteen commands may be submitted, up to ZV_ACL_RM_MAX_IN_FLIGHT at a time
 * and in any mixture; the daemon carries them out in their order, each also where one before it
 * failed.
 *   command    enum zv_acl_rm_command
 *   record     the command's record of zv_acl_rm_records.h, record_len its size. The client_handle
 *              is filled in, the rest is the caller's. In a DUMP's record `path` is the address of
 *              the path, a text with a NUL at its end; the text is copied, the number not sent.
 * The record is not needed any more when the function returns. What the command's own function
 * refuses to send is refused here with the same value: EINVAL for a ports_num or rifs_num above
 * ZV_ACL_RM_PORTS_PER_RECORD, an owner above 3, no path or an empty one; ENAMETOOLONG. EINVAL also:
 * a number that is no command, or a record_len that is not its record's.
 * EAGAIN: ZV_ACL_RM_MAX_IN_FLIGHT answers are outstanding; collect one first. ETIMEDOUT: the daemon
 * did not take the request within the time limit (it stops reading from a client that takes no
 * answers) and nothing was sent; with a limit of 0 this is how to send only what can be sent at
 * once. ENOMEM or ENOBUFS: the system had no memory for the request, and nothing was sent.
 * ECONNRESET: the daemon has gone; answers that it has sent can still be collected. */
ZV_ACL_RM_EXPORT int zv_acl_rm_client_submit(zv_acl_rm_client_t *client, uint32_t command,
                                             void *record, uint32_t record_len, uint32_t *sequence);

/* Waits for the oldest outstanding answer and stores the sequence number of its request and the
 * daemon's status. Answers come in the order of the requests.
 *   record       room for the command's record, or null where it is not wanted. The reply to a
 *                command that succeeded is put where the command's own function would put it (of an
 *                ACL_SET into `acl`); other bytes stay as they are, so that the record that was
 *                submitted may be given again. A refused command leaves all of it.
 *   record_len   null where record is. In: bytes of room. Out: bytes replaced; 0 for a refused
 *                command and for OPEN, INIT and ACL_RULE_MOVE_BLOCK, which bring nothing back.
 * ENOMSG: nothing is outstanding. ENOBUFS: the room is smaller than the record; nothing was taken.
 * ETIMEDOUT or ENOMEM: the answer is still outstanding and may be asked for again. After any other
 * value of the list above *sequence says whose answer it stands for, and that request is
 * outstanding no more: once the daemon has gone, each call reports ECONNRESET for one of the
 * requests that it left unanswered, of which nobody knows whether they were carried out. */
ZV_ACL_RM_EXPORT int zv_acl_rm_client_collect(zv_acl_rm_client_t *client, uint32_t *sequence,
                                              void *record, uint32_t *record_len,
                                              zv_acl_rm_status_t *status);

/* Sends `body` (may be null when body_len is 0) and `attachment` (likewise) exactly as given, the
 * handle included, for tests and tools: nothing is filled in or checked. *reply_len: in the room of
 * `reply`, out the bytes of the answer's body; both null where no body is wanted. ENOBUFS: the
 * answer's body does not fit; *status and *reply_len (what it would have needed) are stored. */
ZV_ACL_RM_EXPORT int zv_acl_rm_api_raw(zv_acl_rm_client_t *client, uint32_t command,
                                       const void *body, uint32_t body_len, const void *attachment,
                                       uint32_t attachment_len, void *reply, uint32_t *reply_len,
                                       zv_acl_rm_status_t *status);

/* ---- words for numbers ---- */

/* The status's name ("ZV_ACL_RM_STATUS_ERROR") and what it tells the client; "unknown status" and
 * a sentence saying so for a number that is none. Never null; constant text, any thread. */
ZV_ACL_RM_EXPORT const char *zv_acl_rm_status_name(zv_acl_rm_status_t status);
ZV_ACL_RM_EXPORT const char *zv_acl_rm_status_meaning(zv_acl_rm_status_t status);

/* ---- why was I refused ---- */

#define ZV_ACL_RM_EXPLANATION_BYTES 2048u /* room that every explanation fits into */

/* Turns a refusal (a command that was answered with a status other than 0) into words: which check
 * refused it, the limit, how full a table is, who owns the object, which offset, port or rule of
 * the request it was. Works on what the request says, on what this object knows (the owners it
 * opened as), and on what the daemon tells anybody. Nothing is changed, and nobody loses an owner.
 *   command      of the request
 *   record       of the request, as it was after the refusal, record_len its size; as for
 *                zv_acl_rm_client_submit, but that a DUMP's path is not looked at
 *   status       the daemon's answer
 *   text         room of text_bytes; always ends with a NUL, cut where the room is too small. One
 *                line a cause, without a newline at the end; the likeliest stands first
 *   causes_num   (may be null) 1: that line is the cause. More: it is one of them, and from outside
 *                nobody can tell which. 0: no cause was found and the text is the status's own
 *                meaning; or `status` is 0 and the text is empty
 * It speaks of the daemon as it is now: what has changed since the refusal (another client deleted
 * the rule) may hide the cause. Ask at once, before the next command.
 *
 * What it asks the daemon, each only where the answer decides something:
 *   - A DUMP into a file in a directory of its own (mode 0700, in $TMPDIR or /tmp), both removed
 *     before it returns. Not asked where the daemon runs as another user than root and the caller's
 *     own, as the text would end in its log; that also happens where the daemon sees other files
 *     than the caller (a container), and where it comes to the request only after the time limit,
 *     when the directory is gone. Without the dump, and past the 65535 bytes at which one is cut,
 *     owners and bindings are unknown and become possible causes.
 *   - Rule reads of single offsets, without their activity: at most 80, mostly one to three. Where
 *     an offset lies past the end of its region, 33 of them at most look for that end.
 *   - One read with activity, at an offset that no region has: it fails, and tells on the way
 *     whether the client is an owner's.
 *   - Counter reads, at most 20.
 * A read that finds nothing leaves error lines in the daemon's log. Each question is one round
 * trip; the client's time limit holds for all of them together.
 *
 * Returns 0; EINVAL for null arguments, an unknown command, a wrong record_len or no room (nothing
 * is written then); EBUSY while answers are outstanding; ENOMEM; or why the daemon did not answer,
 * as for any command. After the last three too the text holds what can be told without asking. */
ZV_ACL_RM_EXPORT int zv_acl_rm_client_explain(zv_acl_rm_client_t *client, uint32_t command,
                                              const void *record, uint32_t record_len,
                                              zv_acl_rm_status_t status, char *text,
                                              uint32_t text_bytes, uint32_t *causes_num);

#ifdef __cplusplus
}
#endif

#endif
