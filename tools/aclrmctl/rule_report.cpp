#include "rule_report.h"

#include <algorithm>
#include <charconv>

#include "exit_codes.h"
#include "rule_survey.h"

namespace aclrmctl {

namespace {

/* States as runs: rules that follow each other in the file, and in priority. */
LoadOutcome outcome_of(const LoadPlan &plan, const std::vector<RuleState> &states) {
    LoadOutcome outcome;
    outcome.total = plan.total();
    outcome.undo = plan.request.undo;
    for (uint32_t i = 0; i < plan.total(); i++) {
        RuleRun *last = outcome.runs.empty() ? nullptr : &outcome.runs.back();
        if (last != nullptr && last->state == states[i] &&
            last->last_priority + 1 == plan.offset(i)) {
            last->last_priority = plan.offset(i);
            last->last_line = plan.line(i);
            last->rules_num++;
        } else {
            outcome.runs.push_back(
                {states[i], plan.offset(i), plan.offset(i), plan.line(i), plan.line(i), 1});
        }
    }
    return outcome;
}

/* What the daemon does not take back, and no deletion reaches. */
bool leaves_traces(const LoadPlan &plan, const SendResult &sent) {
    for (const LoadBatch &batch : sent.batches) {
        for (uint32_t i = 0; batch.fate == BatchFate::kRefused && i < batch.count; i++) {
            const RuleTargets targets = plan.rule(batch.first + i).targets;
            if (targets.counter_id != 0 || targets.forward_port) {
                return true;
            }
        }
    }
    return false;
}

const LoadBatch *first_refused(const SendResult &sent) {
    const auto refused =
        std::find_if(sent.batches.begin(), sent.batches.end(),
                     [](const LoadBatch &batch) { return batch.fate == BatchFate::kRefused; });
    return refused == sent.batches.end() ? nullptr : &*refused;
}

/* "rule 3 of the request" counts within a command that nobody has seen; a file has lines. */
std::string with_lines(std::string reason, const std::vector<uint32_t> &lines) {
    const std::string before = "rule ";
    const std::string behind = " of the request";
    for (size_t at = 0; (at = reason.find(before, at)) != std::string::npos; at++) {
        uint32_t number = 0;
        const char *const digits = reason.data() + at + before.size();
        const auto read = std::from_chars(digits, reason.data() + reason.size(), number);
        const auto end = static_cast<size_t>(read.ptr - reason.data());
        if (number >= 1 && number <= lines.size() &&
            reason.compare(end, behind.size(), behind) == 0) {
            reason.replace(at, end + behind.size() - at,
                           "the rule of line " + std::to_string(lines[number - 1]));
        }
    }
    return reason;
}

/* Why the first refused command was, as the daemon is now: asked of those of its rules that have no
 * record, since the others would look as if they had been in the way. */
void explain_refusal(const LoadPlan &plan, const SendResult &sent,
                     const std::vector<RuleState> &states, zv_acl_rm_client_t *client,
                     Failure *failure) {
    const LoadBatch *refused = first_refused(sent);
    if (client == nullptr || refused == nullptr || !failure->status) {
        return;
    }
    zv_acl_rm_acl_rule_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    params.acl_id = plan.request.acl_id;
    std::vector<uint32_t> lines;
    for (uint32_t i = refused->first; i < refused->first + refused->count; i++) {
        if (states[i] != RuleState::kInSwitch && states[i] != RuleState::kRecordOnly) {
            encode_whole_rule(plan.rule(i), &params.rules[params.rules_num++]);
            lines.push_back(plan.line(i));
        }
    }
    if (lines.empty()) {
        return;
    }
    add_why(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, &params, sizeof(params), failure);
    /* The daemon has taken a command of ours for this ACL before the first rule was sent. */
    std::erase_if(failure->why, [](const std::string &reason) {
        return reason.find(" belongs to ") != std::string::npos;
    });
    for (std::string &reason : failure->why) {
        reason = with_lines(reason, lines);
    }
}

bool went_on_behind_refused(const SendResult &sent) {
    const LoadBatch *refused = first_refused(sent);
    return refused != nullptr &&
           std::any_of(sent.batches.begin(), sent.batches.end(), [refused](const LoadBatch &batch) {
               return batch.fate == BatchFate::kWritten && batch.first > refused->first;
           });
}

bool is_unrecorded(RuleState state) {
    return state == RuleState::kUnrecorded;
}

std::string hint_for(const LoadPlan &plan, const SendResult &sent, const LoadOutcome &outcome) {
    std::string hint;
    if (count_rules(outcome, is_in_switch) > 0 && !plan.request.undo) {
        hint =
            "'rule load --undo' takes back what a failed load has put there; now "
            "'aclrmctl rule del' does";
    }
    if (count_rules(outcome, is_unrecorded) > 0) {
        hint += std::string(hint.empty() ? "" : ", ") +
                "but a rule without a record can be deleted only after 'aclrmctl rule add' has "
                "written another one at its priority";
    }
    if (went_on_behind_refused(sent) && count_rules(outcome, is_in_switch) > 0) {
        hint +=
            std::string(hint.empty() ? "" : "; ") +
            "commands that were under way behind the failed one were carried out: with "
            "--in-flight 1, or a load before the ACL is bound, no packet meets rules behind a gap";
    }
    return hint;
}

}  // namespace

Failure failed_load(const LoadPlan &plan, const SendResult &sent, Client client) {
    Failure failure = *sent.failure;
    std::vector<RuleState> states = survey_rules(plan, sent, &client);
    explain_refusal(plan, sent, states, client.get(), &failure);
    if (plan.request.undo && client) {
        take_back(plan, sent, client.get(), &states);
    } else if (plan.request.undo) {
        failure.details.emplace_back("nothing was taken back: the daemon does not answer");
    }
    failure.load = outcome_of(plan, states);
    const std::vector<std::string> lines = outcome_lines(*failure.load);
    failure.details.insert(failure.details.begin(), lines.begin(), lines.end());
    if (leaves_traces(plan, sent)) {
        failure.details.emplace_back(
            "a refused command may leave forwarding entries and uses of counters behind");
    }
    failure.load->cause = failure.exit_code;
    if (count_rules(*failure.load, is_in_switch) > 0) {
        failure.exit_code = kExitPartial;
    }
    if (const std::string hint = hint_for(plan, sent, *failure.load); !hint.empty()) {
        failure.hint = hint;
    }
    return failure;
}

}  // namespace aclrmctl
