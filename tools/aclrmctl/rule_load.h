/* Rule files on their way into an ACL: the check, and the loading with several commands under way.
 */
#ifndef ACLRMCTL_RULE_LOAD_H
#define ACLRMCTL_RULE_LOAD_H

#include "answer.h"
#include "perform.h"

namespace aclrmctl {

/* A file read, checked and expanded. */
struct LoadedFile {
    RuleFile file;
    std::vector<ExpandedRule> expanded;
    RuleCheckAnswer checked;
};

/* Nothing is returned when the file is good and holds at least one rule. */
std::optional<Failure> read_rule_file(const std::string &name, LoadedFile *loaded);

/* Reads the whole file first, so that nothing is sent for a bad one. After the first batch that
 * fails no further one is sent, the answers under way are taken, and the failure tells which rules
 * the ACL now holds. */
Answer load_rules(const Settings &settings, const RuleLoadRequest &request,
                  const Progress &progress);

}  // namespace aclrmctl

#endif
