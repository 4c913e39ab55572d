/* The account of a load that failed or was stopped. */
#ifndef ACLRMCTL_RULE_REPORT_H
#define ACLRMCTL_RULE_REPORT_H

#include "daemon_link.h"
#include "rule_plan.h"
#include "rule_sender.h"

namespace aclrmctl {

/* Finds out what is in the switch, takes it back where that is wanted, and says it all. */
Failure failed_load(const LoadPlan &plan, const SendResult &sent, Client client);

}  // namespace aclrmctl

#endif
