/* Rules read back from the switch, as a file that can be loaded again. */
#include "render_text.h"
#include "rule_print.h"

namespace aclrmctl {

namespace {

FilterRule file_rule(const RuleView &view) {
    FilterRule rule = decode_match(view.key_type, view.key, view.mask);
    rule.priority = view.offset;
    rule.verdict = static_cast<Verdict>(view.verdict);
    rule.targets = view.targets;
    return rule;
}

}  // namespace

std::string rule_file_text(const RuleGetAnswer &answer) {
    std::vector<FilterRule> rules;
    std::vector<bool> invalid;
    for (const RuleView &view : answer.rules) {
        rules.push_back(file_rule(view));
        invalid.push_back(!view.valid);
    }
    return answer.asked.format == RuleFormat::kJson
               ? json_text(rules, invalid)
               : policy_text(rules, invalid, "ACL " + std::to_string(answer.asked.acl_id));
}

}  // namespace aclrmctl
