/* Rules as files that can be loaded again. */
#ifndef ACLRMCTL_RULE_PRINT_H
#define ACLRMCTL_RULE_PRINT_H

#include <string>
#include <vector>

#include "rule_file.h"

namespace aclrmctl {

/* A rule as a line of the policy format, without an end. */
std::string policy_line(const FilterRule &rule);

/* A rule as an element of the JSON format, on one line. */
std::string json_rule(const FilterRule &rule);

/* A whole file: the rules, and a line on top that says where they come from. A rule the switch does
 * not use (`invalid`, by index) becomes a comment where the format has comments, and is left out
 * where it has none. */
std::string policy_text(const std::vector<FilterRule> &rules, const std::vector<bool> &invalid,
                        const std::string &title);
std::string json_text(const std::vector<FilterRule> &rules, const std::vector<bool> &invalid);

}  // namespace aclrmctl

#endif
