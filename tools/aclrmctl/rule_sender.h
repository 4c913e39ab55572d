/* The batches of a load on their way to the daemon, several under way at once. */
#ifndef ACLRMCTL_RULE_SENDER_H
#define ACLRMCTL_RULE_SENDER_H

#include "daemon_link.h"
#include "perform.h"
#include "rule_plan.h"

namespace aclrmctl {

struct SendResult {
    std::vector<LoadBatch> batches; /* all rules of the plan, in order */
    std::optional<Failure> failure; /* the first one; its exit status is the cause's */
    bool is_connected = true;       /* false: the connection is of no more use */
    uint32_t commands_num = 0;      /* sent */
};

/* The command that carries a batch. */
void fill_batch(const LoadPlan &plan, const LoadBatch &batch,
                zv_acl_rm_acl_rule_set_params_t *params);

/* After the first failure, or a signal that asks to stop, nothing more is sent, and the answers
 * under way are taken. */
SendResult send_rules(const LoadPlan &plan, zv_acl_rm_client_t *client, const Progress &progress);

}  // namespace aclrmctl

#endif
