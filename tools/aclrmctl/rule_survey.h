/* Finding out what the switch holds of a load, and taking it back.
 *
 * The daemon shows a rule only where it has a record of it. Where it has none after a refused write
 * the switch may hold the rule all the same: the daemon's simulated switch is asked by its control
 * socket, of any other it stays unknown. Nothing is guessed; where the daemon's order of work
 * leaves no doubt (all of a command is translated before any is written) that counts as known.
 */
#ifndef ACLRMCTL_RULE_SURVEY_H
#define ACLRMCTL_RULE_SURVEY_H

#include "daemon_link.h"
#include "rule_plan.h"
#include "rule_sender.h"

namespace aclrmctl {

/* What a read of one offset says. */
enum class Sight { kSame, kEmpty, kOther, kNoRecord, kUnread, kGone };

/* Reads one rule back and holds it against the plan's. */
Sight look_at(const LoadPlan &plan, uint32_t index, zv_acl_rm_client_t *client);

/* The state of every rule of the plan, by its index. *client is connected anew where the old
 * connection is gone; it is null afterwards where there is no use in asking the daemon any more. */
std::vector<RuleState> survey_rules(const LoadPlan &plan, const SendResult &sent, Client *client);

/* Asks the simulated switch of the client's daemon about the rules whose state is open, where it
 * can be asked. An answer of another shape than this version's settles nothing. */
void settle_states(const LoadPlan &plan, zv_acl_rm_client_t *client,
                   std::vector<RuleState> *states);

/* Deletes what the load has put into the switch, the last first, and settles what is unknown for
 * want of a record: a rule that matches nothing is written there and deleted, which leaves the
 * offset empty. An acknowledged rule has a record even where it cannot be read. Each refused step
 * is tried twice. *states tells what came of it. */
void take_back(const LoadPlan &plan, const SendResult &sent, zv_acl_rm_client_t *client,
               std::vector<RuleState> *states);

}  // namespace aclrmctl

#endif
