// Forwarding: a rule's request for a logical port or an MC group becomes a PBS id of the switch.
//
// Rules that forward to one logical port share a PBS entry, counted in the table
// logical_forward_port_2_forward_pbs_info_ht. An MC group has a PBS entry of its own and no record
// there. Command thread only.
#pragma once

#include "core/acl_rm_types.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

// Resolves the rule's forwarding into the work record; a rule that does not forward leaves it as it
// is. Creates the port's PBS entry in the switch where the table has none; the table itself changes
// only when the rule has been written, so each rule of one batch makes an entry of its own (kept).
// ENTRY_NOT_FOUND for an unknown MC group; NO_HW_RESOURCES when the switch has no room; ERROR when
// it refuses otherwise or a table is missing.
zv_acl_rm_status_t set_forwarding_port_to_rule(acl_rm_rule_work *work, const acl_rm_rule *rule);

// Counts a written rule in as user of its port's PBS entry, which enters the table with its first.
// A rule without a forwarding port changes nothing. ERROR when the table is missing or full.
zv_acl_rm_status_t count_forwarding_user(const acl_rm_rule_work &work);

// Counts a deleted rule out; the last one takes the PBS entry out of the switch and the table.
// ENTRY_NOT_FOUND for a port without an entry; ERROR when the switch or the table refuses: the
// entry stays, with no users.
zv_acl_rm_status_t release_forwarding_user(uint32_t log_port);
