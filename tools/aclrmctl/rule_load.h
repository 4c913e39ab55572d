/* Rule files on their way into an ACL: the check, and the load. */
#ifndef ACLRMCTL_RULE_LOAD_H
#define ACLRMCTL_RULE_LOAD_H

#include "perform.h"
#include "rule_plan.h"

namespace aclrmctl {

/* Reads, expands and counts; `first_priority` belongs to what the file needs room for. Nothing is
 * returned when the file is good and holds at least one rule. */
std::optional<Failure> read_rule_file(const std::string &name, RuleFormat format,
                                      uint32_t first_priority, LoadedFile *loaded);

Answer perform_rule_check(const RuleCheckRequest &request);

/* Reads the whole file and asks what can be asked first, so that nothing is sent for a bad one.
 * After the first batch that fails no further one is sent, the answers under way are taken, and the
 * switch is asked what it holds of the file; with --undo that is deleted again. */
Answer load_rules(const Settings &settings, const RuleLoadRequest &request,
                  const Progress &progress);

}  // namespace aclrmctl

#endif
