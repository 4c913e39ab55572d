/* What can be found out before a load without changing anything: a load that these checks stop has
 * sent no rule. */
#ifndef ACLRMCTL_RULE_PREFLIGHT_H
#define ACLRMCTL_RULE_PREFLIGHT_H

#include <set>

#include "daemon_link.h"
#include "rule_plan.h"

namespace aclrmctl {

/* In this order: the ACL is there, ours, and takes rules; the counters exist; the ACL has room up
 * to the last priority; no offset that is needed holds a rule. Over a rule the switch would write
 * before the daemon refuses. */
std::optional<Failure> check_before_load(const LoadPlan &plan, zv_acl_rm_client_t *client);

/* The offsets of an ACL that hold rules, from a dump of the daemon's cache; nothing where there is
 * no dump, or not all of the rules are in it. */
std::optional<std::set<uint32_t>> recorded_offsets(const Settings &settings, uint32_t acl_id);

}  // namespace aclrmctl

#endif
