// Public operations of the ACL resource manager: one for each command, called by its handler.
//
// All run on the command thread, one at a time, and return a zv_acl_rm_status_t. None rolls back:
// what was done before a failure stays done, in the switch and in the cache, and the log tells.
// Every operation but acl_rm_dump returns ERROR with "ACL RM is not initialized" before the first
// OPEN or INIT has connected to the SDK. acl_rm_open_new_client is in acl_rm_owner.h.
#pragma once

#include <stdint.h>

#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Creates an ACL over a region of its own and stores both ids in `acl`.
// CMD_UNSUPPORTED; ENTRY_NOT_FOUND for an unknown handle; PARAM_EXCEEDS_RANGE when min_size and
// max_size differ; NO_RESOURCES when the chip's number of ACLs is reached; ERROR when the switch or
// the cache refuses; PARAM_NULL when memory for the ACL's offsets runs out.
zv_acl_rm_status_t acl_rm_acl_set(uint64_t client_handle, uint32_t cmd, acl_rm_acl *acl);

// Writes rules at the offsets that their priorities name, and stores each offset in its rule.
// CMD_UNSUPPORTED; PARAM_EXCEEDS_RANGE for too many rules, an unknown key type, handle or ACL, an
// offset that the ACL has no flag for; ERROR for another owner's ACL, an occupied offset, a refusal
// of the switch; ENTRY_NOT_FOUND for an unknown MC group; NO_RESOURCES with 6400 rules cached;
// NO_HW_RESOURCES when the switch has no room for a forwarding entry.
zv_acl_rm_status_t acl_rm_acl_rule_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                       acl_rm_rule *rules, const uint32_t *rules_num);

// Binds the ACL to logical ports, in their order. CMD_UNSUPPORTED; PARAM_NULL for a missing array
// or count; PARAM_EXCEEDS_RANGE for a count of 0 or above the record's 100, an unknown handle or
// ACL; ERROR for another owner's ACL, a group of another direction, a refusal of the switch;
// NO_RESOURCES when groups or the group's places are used up; NO_HW_RESOURCES when the switch's
// are.
zv_acl_rm_status_t acl_rm_acl_port_bind_set(uint64_t client_handle, uint32_t cmd, uint32_t acl_id,
                                            const uint32_t *log_ports, const uint32_t *ports_num);

// Writes the whole cache as text to the file at `path`, or to the log when the file cannot be used.
// PARAM_NULL without a path; NO_RESOURCES without memory; ERROR when the file takes no text at all
// or a table cannot be walked.
zv_acl_rm_status_t acl_rm_dump(const char *path);
