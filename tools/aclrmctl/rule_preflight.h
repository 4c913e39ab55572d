/* What can be found out before a load without changing anything: a load that these checks stop has
 * sent no rule. */
#ifndef ACLRMCTL_RULE_PREFLIGHT_H
#define ACLRMCTL_RULE_PREFLIGHT_H

#include "daemon_link.h"
#include "rule_plan.h"

namespace aclrmctl {

/* In this order: the ACL is there, ours, and takes rules; counters and MC groups exist; the ACL has
 * room up to the last priority, and the daemon for all rules; no offset that is needed holds a
 * rule. Over a rule the switch would write before the daemon refuses. */
std::optional<Failure> check_before_load(const LoadPlan &plan, zv_acl_rm_client_t *client);

}  // namespace aclrmctl

#endif
