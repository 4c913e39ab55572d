// Public operations of the ACL resource manager: one for each command, called by its handler.
//
// All run on the command thread, one at a time, and return a zv_acl_rm_status_t. What was done
// before a failure stays done, in the switch and in the cache, and the log tells; undone are only a
// group's cached list that the switch refused, a new group that it has no room to bind, and a new
// counter that the database cannot take.
// Every operation but acl_rm_dump returns ERROR with "ACL RM is not initialized" before the first
// OPEN or INIT has connected to the SDK. acl_rm_open_new_client is in acl_rm_owner.h.
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Creates an ACL over a region of its own and stores both ids in `acl`; destroys one with its rules
// and bindings; or gives one another direction, which changes its id (acl_rm_acl.h).
// CMD_UNSUPPORTED; ENTRY_NOT_FOUND for an unknown handle; PARAM_EXCEEDS_RANGE when min_size and
// max_size differ, or for an unknown ACL; NO_RESOURCES when the chip's number of ACLs is reached;
// ERROR for another owner's ACL, or when the switch or the cache refuses; PARAM_NULL when memory
// for the ACL's offsets runs out; destroying one with rules also as acl_rm_delete_rules.
zv_acl_rm_status_t acl_rm_acl_set(uint64_t client_handle, uint32_t cmd, acl_rm_acl *acl);

// Resizes the ACL's region within the bounds of its creation; the present size is no change.
// PARAM_EXCEEDS_RANGE outside the bounds, when a rule lies in what would be cut off, and for an
// unknown handle or ACL; NO_HW_RESOURCES when the switch has no room; PARAM_NULL when memory for
// the offsets runs out, with the region resized; ERROR.
zv_acl_rm_status_t acl_rm_acl_resize(uint64_t client_handle, uint32_t acl_id,
                                     const uint32_t *new_size);

// Writes rules at the offsets that their priorities name, and stores each offset in its rule; or
// deletes the rules at the offsets given (acl_rm_rule_delete.h).
// CMD_UNSUPPORTED; PARAM_EXCEEDS_RANGE for too many rules, an unknown key type, handle or ACL, an
// offset that the ACL has no flag for; ERROR for another owner's ACL, an occupied offset, a refusal
// of the switch; ENTRY_NOT_FOUND for an unknown MC group, or an offset without a rule; NO_RESOURCES
// with 6400 rules cached or without memory; NO_HW_RESOURCES when the switch has no room for a
// forwarding entry; ENTRY_NOT_FOUND for a counter that is none, with the rules in the switch;
// NO_BUFFER_SPACE without memory for a deletion.
zv_acl_rm_status_t acl_rm_acl_rule_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                       acl_rm_rule *rules, const uint32_t *rules_num);

// Reads rules by their offsets. Any client may, but a first record whose activity request is 2 is
// for the owner alone. PARAM_EXCEEDS_RANGE for too many rules; ENTRY_NOT_FOUND for an unknown ACL
// or an offset without a cached rule; ERROR; as __validate_owner_acl where that is asked.
zv_acl_rm_status_t acl_rm_acl_rule_get(uint64_t client_handle, uint32_t acl_id, acl_rm_rule *rules,
                                       uint32_t rules_num);

// Moves a block of rules in the switch and in the cache. As __validate_owner_acl; ERROR when the
// switch refuses; else as __acl_db_modify_offset, with the switch moved.
zv_acl_rm_status_t acl_rm_acl_rule_move_block(uint64_t client_handle, uint32_t acl_id,
                                              uint32_t block_start, uint32_t block_size,
                                              uint32_t new_start);

// Bind the ACL to logical ports or router interfaces, in their order, or unbind it from them.
// CMD_UNSUPPORTED; PARAM_NULL for a missing array or count; PARAM_EXCEEDS_RANGE for a count of 0 or
// above the record's 100, an unknown handle or ACL; ERROR for another owner's ACL, a group of
// another direction, a refusal of the switch; ENTRY_NOT_FOUND for a group with an ACL that the
// cache does not know; NO_RESOURCES when groups, the group's places or memory are used up;
// NO_HW_RESOURCES when the switch's room is.
zv_acl_rm_status_t acl_rm_acl_port_bind_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                            const uint32_t *log_ports, const uint32_t *ports_num);
zv_acl_rm_status_t acl_rm_acl_rif_bind_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                           const uint16_t *rifs, const uint32_t *rifs_num);

// Binds the ACL to every front-panel port, now and as ports come; or unbinds it from everything it
// is bound to. ERROR when it is a system ACL already, or is none; CMD_UNSUPPORTED; NO_RESOURCES; as
// __validate_owner_acl and the bind commands.
zv_acl_rm_status_t acl_rm_acl_system_bind_set(uint64_t client_handle, uint32_t cmd,
                                              uint32_t acl_id);

// Tells that ports came or went: every system ACL, whoever owns it, is bound to or unbound from
// them. The handle is not checked. CMD_UNSUPPORTED; with a system ACL also PARAM_NULL without
// ports, PARAM_EXCEEDS_RANGE above the record's 100; as the bind commands.
zv_acl_rm_status_t acl_rm_port_set(uint64_t client_handle, uint32_t cmd, const uint32_t *log_ports,
                                   uint32_t ports_num);

// Creates a flow counter and stores its id, or destroys one that no rule uses. Any client may.
// PARAM_NULL; CMD_UNSUPPORTED; ENTRY_NOT_FOUND; NO_RESOURCES with 255 counters; ERROR for a type
// that is not one flag, or when the switch refuses.
zv_acl_rm_status_t acl_rm_counter_set(uint64_t client_handle, uint32_t cmd,
                                      const acl_rm_counter_type *type, uint32_t *counter_id);

// Stores a counter's type, and reads or clears its values. Any client may. PARAM_NULL;
// ENTRY_NOT_FOUND; CMD_UNSUPPORTED, with the type stored; ERROR.
zv_acl_rm_status_t acl_rm_counter_get(uint64_t client_handle, uint32_t cmd, uint32_t counter_id,
                                      acl_rm_counter_type *type, uint64_t *values);

// Creates an MC group and stores its id, adds or removes ports, or deletes it. PARAM_NULL;
// CMD_UNSUPPORTED; PARAM_EXCEEDS_RANGE for more than 100 ports, an unknown handle or group;
// ENTRY_NOT_FOUND for an unknown handle that creates; NO_RESOURCES when the switch has no room;
// ERROR.
zv_acl_rm_status_t acl_rm_acl_mc_group_set(uint64_t client_handle, uint32_t cmd,
                                           uint32_t *mc_group_id, uint32_t *log_ports,
                                           const uint32_t *ports_num);

// Reads at most *ports_num ports of a group and stores how many. PARAM_NULL; PARAM_EXCEEDS_RANGE
// for a room above 100, an unknown handle or group; ERROR.
zv_acl_rm_status_t acl_rm_acl_mc_group_get(uint64_t client_handle, uint32_t mc_group_id,
                                           uint32_t *log_ports, uint32_t *ports_num);

// Writes the whole cache as text to the file at `path`, or to the log when the file cannot be used.
// PARAM_NULL without a path; NO_RESOURCES without memory; ERROR when the file takes no text at all
// or a table cannot be walked.
zv_acl_rm_status_t acl_rm_dump(const char *path);
