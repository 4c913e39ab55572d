#include "rule_survey.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>

#include "rule_encode.h"
#include "switch_control.h"

namespace aclrmctl {

namespace {

bool same_match(const acl_rm_rule &record, const WholeRule &rule) {
    return record.key.key_type == rule.key_type &&
           std::memcmp(record.key.data, rule.key.data(), rule.key.size()) == 0 &&
           std::memcmp(record.mask.data, rule.mask.data(), rule.mask.size()) == 0 &&
           verdict_of_action(record.action) == static_cast<uint32_t>(rule.verdict);
}

bool same_targets(const acl_rm_rule_readout &readout, const RuleTargets &targets) {
    if (readout.counter_id != targets.counter_id) {
        return false;
    }
    if (targets.forward_port) {
        /* A rule to port 0 is read back as one to an MC group. */
        return *targets.forward_port == 0 || (readout.forwarding_type == kForwardsToPort &&
                                              readout.log_port == *targets.forward_port);
    }
    if (targets.forward_mc) {
        return readout.forwarding_type == kForwardsToMcGroup;
    }
    return readout.forwarding_type == 0;
}

Sight compare(const acl_rm_rule &record, const WholeRule &rule) {
    if (record.valid == 1 && same_match(record, rule) &&
        same_targets(record.readout, rule.targets)) {
        return Sight::kSame;
    }
    const acl_rm_key empty{};
    const bool is_empty = record.valid == 0 && std::memcmp(&record.key, &empty, sizeof(empty)) == 0;
    return is_empty ? Sight::kEmpty : Sight::kOther;
}

/* Reads count rules; an errno value, or 0 and the daemon's status. */
int read_rules(const LoadPlan &plan, uint32_t first, uint32_t count, zv_acl_rm_client_t *client,
               zv_acl_rm_acl_rule_get_params_t *params, zv_acl_rm_status_t *status) {
    *params = {};
    params->acl_id = plan.request.acl_id;
    params->rules_num = count;
    for (uint32_t i = 0; i < count; i++) {
        params->rules[i].offset = plan.offset(first + i);
    }
    return zv_acl_rm_api_acl_rule_get(client, params, status);
}

RuleState state_of(Sight sight) {
    switch (sight) {
        case Sight::kSame:
            return RuleState::kInSwitch;
        case Sight::kEmpty:
            return RuleState::kRecordOnly;
        case Sight::kOther:
            return RuleState::kOtherRule;
        case Sight::kNoRecord:
            return RuleState::kNoRecord;
        case Sight::kUnread:
            return RuleState::kUnread;
        case Sight::kGone:
            return RuleState::kGone;
    }
    return RuleState::kGone;
}

/* Whether the ACL can be asked about: a read of no rules only looks the ACL up. */
bool answers(const LoadPlan &plan, zv_acl_rm_client_t *client) {
    zv_acl_rm_acl_rule_get_params_t params;
    zv_acl_rm_status_t status = 0;
    return read_rules(plan, 0, 0, client, &params, &status) == 0 &&
           status == ZV_ACL_RM_STATUS_SUCCESS;
}

/* The rules of the ACL's region in the simulated switch, by offset. */
using SwitchRules = std::map<uint32_t, nlohmann::json>;

std::optional<SwitchRules> ask_for_rules(const LoadPlan &plan, zv_acl_rm_client_t *client) {
    nlohmann::json answer;
    if (!ask_state_of(zv_acl_rm_client_fd(client), plan.settings, &answer)) {
        return std::nullopt;
    }
    const nlohmann::json &state = answer.contains("state") ? answer["state"] : answer;
    std::optional<uint32_t> region_id;
    for (const auto &acl : state.value("acls", nlohmann::json::array())) {
        if (acl.value("acl_id", 0u) == plan.request.acl_id) {
            region_id = acl.value("region_id", 0u);
        }
    }
    if (!region_id) {
        return std::nullopt;
    }
    for (const auto &region : state.value("regions", nlohmann::json::array())) {
        if (region.value("region_id", 0u) != *region_id) {
            continue;
        }
        SwitchRules rules;
        for (const auto &rule : region.value("rules", nlohmann::json::array())) {
            rules[rule.value("offset", 0u)] = rule;
        }
        return rules;
    }
    return std::nullopt;
}

bool is_same_in_switch(const nlohmann::json &held, const WholeRule &rule) {
    return held.value("valid", 0u) == 1 && held.value("key_type", 99u) == rule.key_type &&
           held.value("key", "") == key_to_hex(rule.key) &&
           held.value("mask", "") == key_to_hex(rule.mask) &&
           verdict_of_action_text(held.value("action", "")) == static_cast<uint32_t>(rule.verdict);
}

/* What the simulated switch says of a rule that the daemon did not show. */
RuleState settled(RuleState state, const SwitchRules &rules, uint32_t offset,
                  const WholeRule &rule) {
    const auto found = rules.find(offset);
    if (found == rules.end()) {
        return RuleState::kNotInSwitch;
    }
    if (!is_same_in_switch(found->second, rule)) {
        return RuleState::kOtherRule;
    }
    return state == RuleState::kNoRecord ? RuleState::kUnrecorded : RuleState::kInSwitch;
}

/* Statuses with which a command is refused while it is translated, before anything of it is
 * written. Counters are looked up later, so with them an unknown entry proves nothing; a range is
 * also exceeded by an offset without a flag, but then that rule has a record. */
bool is_refused_before_writing(const LoadPlan &plan, const LoadBatch &batch, bool any_recorded) {
    switch (batch.status) {
        case ZV_ACL_RM_STATUS_NO_HW_RESOURCES:
        case ZV_ACL_RM_STATUS_CMD_UNSUPPORTED:
            return true;
        case ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE:
            return !any_recorded;
        case ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND:
            for (uint32_t i = 0; i < batch.count; i++) {
                if (plan.rule(batch.first + i).targets.counter_id != 0) {
                    return false;
                }
            }
            return true;
        default:
            return false;
    }
}

class Survey {
  public:
    Survey(const LoadPlan &plan, const SendResult &sent, zv_acl_rm_client_t *client,
           bool trusts_answers)
        : plan_(plan),
          sent_(sent),
          client_(client),
          trusts_answers_(trusts_answers),
          states_(plan.total(), RuleState::kNotSent) {}

    std::vector<RuleState> run() {
        for (const LoadBatch &batch : sent_.batches) {
            if (batch.fate != BatchFate::kNotSent) {
                look_at_batch(batch);
            }
        }
        if (client_ != nullptr) {
            settle_states(plan_, client_, &states_);
        }
        return std::move(states_);
    }

  private:
    void look_at_batch(const LoadBatch &batch);
    void set(const LoadBatch &batch, RuleState state) {
        std::fill_n(states_.begin() + batch.first, batch.count, state);
    }
    const LoadPlan &plan_;
    const SendResult &sent_;
    zv_acl_rm_client_t *client_; /* null: the daemon cannot be asked */
    bool trusts_answers_;
    std::vector<RuleState> states_;
};

void Survey::look_at_batch(const LoadBatch &batch) {
    if (client_ == nullptr) {
        set(batch, batch.fate == BatchFate::kWritten && trusts_answers_ ? RuleState::kInSwitch
                                                                        : RuleState::kGone);
        return;
    }
    zv_acl_rm_acl_rule_get_params_t params;
    zv_acl_rm_status_t status = 0;
    if (read_rules(plan_, batch.first, batch.count, client_, &params, &status) == 0 &&
        status == ZV_ACL_RM_STATUS_SUCCESS) {
        for (uint32_t i = 0; i < batch.count; i++) {
            states_[batch.first + i] =
                state_of(compare(params.rules[i], plan_.rule(batch.first + i)));
        }
        return;
    }
    for (uint32_t i = batch.first; i < batch.first + batch.count; i++) {
        states_[i] = state_of(look_at(plan_, i, client_));
    }
    const auto start = states_.begin() + batch.first;
    const bool any_recorded = std::any_of(
        start, start + batch.count, [](RuleState state) { return state != RuleState::kNoRecord; });
    if (batch.fate == BatchFate::kRefused &&
        is_refused_before_writing(plan_, batch, any_recorded)) {
        std::replace(start, start + batch.count, RuleState::kNoRecord, RuleState::kNotInSwitch);
    }
}

/* One rule of the ACL, written or deleted; false where that was refused twice. */
bool set_rules(const LoadPlan &plan, uint32_t cmd, const std::vector<acl_rm_rule> &rules,
               zv_acl_rm_client_t *client) {
    for (int attempt = 0; attempt < 2; attempt++) {
        zv_acl_rm_acl_rule_set_params_t params{};
        zv_acl_rm_status_t status = 0;
        params.cmd = cmd;
        params.acl_id = plan.request.acl_id;
        params.rules_num = static_cast<uint32_t>(rules.size());
        std::copy(rules.begin(), rules.end(), params.rules);
        if (zv_acl_rm_api_acl_rule_set(client, &params, &status) != 0) {
            return false;
        }
        if (status == ZV_ACL_RM_STATUS_SUCCESS) {
            return true;
        }
    }
    return false;
}

/* A rule that matches nothing, at the place of one of the plan's; to delete it needs no more. */
acl_rm_rule empty_rule(const LoadPlan &plan, uint32_t index) {
    acl_rm_rule rule{};
    rule.priority = plan.offset(index);
    rule.offset = plan.offset(index);
    rule.key.key_type = plan.rule(index).key_type;
    rule.mask.key_type = rule.key.key_type;
    return rule;
}

/* A rule with a record, after its deletion was refused: the record goes only after the switch has
 * deleted the rule, so that without one the rule is gone. */
RuleState after_refused_delete(const LoadPlan &plan, uint32_t index, zv_acl_rm_client_t *client) {
    const Sight sight = look_at(plan, index, client);
    return sight == Sight::kNoRecord ? RuleState::kTakenBack : state_of(sight);
}

/* Deletes the rules at these indexes, which have records, in one command, else one by one. */
void delete_recorded(const LoadPlan &plan, const std::vector<uint32_t> &indexes,
                     zv_acl_rm_client_t *client, std::vector<RuleState> *states) {
    std::vector<acl_rm_rule> rules;
    rules.reserve(indexes.size());
    for (const uint32_t index : indexes) {
        rules.push_back(empty_rule(plan, index));
    }
    if (set_rules(plan, ZV_ACL_RM_ACCESS_CMD_DELETE, rules, client)) {
        for (const uint32_t index : indexes) {
            (*states)[index] = RuleState::kTakenBack;
        }
        return;
    }
    for (const uint32_t index : indexes) {
        (*states)[index] = after_refused_delete(plan, index, client);
        const RuleState state = (*states)[index];
        const bool is_left = state == RuleState::kInSwitch || state == RuleState::kRecordOnly ||
                             state == RuleState::kUnread;
        if (is_left && indexes.size() > 1) {
            delete_recorded(plan, {index}, client, states);
        }
    }
}

/* By index: the rules whose commands the daemon has acknowledged. */
std::vector<bool> written_rules(const LoadPlan &plan, const SendResult &sent) {
    std::vector<bool> written(plan.total(), false);
    for (const LoadBatch &batch : sent.batches) {
        std::fill_n(written.begin() + batch.first, batch.count, batch.fate == BatchFate::kWritten);
    }
    return written;
}

/* A rule that matches nothing takes the place of whatever is there, and brings the daemon a record,
 * without which nothing can be deleted. */
void clear_unrecorded(const LoadPlan &plan, uint32_t index, zv_acl_rm_client_t *client,
                      std::vector<RuleState> *states) {
    const std::vector<acl_rm_rule> rule{empty_rule(plan, index)};
    const bool has_record = set_rules(plan, ZV_ACL_RM_ACCESS_CMD_WRITE, rule, client);
    if (!has_record && look_at(plan, index, client) == Sight::kGone) {
        (*states)[index] = RuleState::kGone;
    } else if (has_record && set_rules(plan, ZV_ACL_RM_ACCESS_CMD_DELETE, rule, client)) {
        (*states)[index] = RuleState::kTakenBack;
    } else if (has_record) {
        (*states)[index] = after_refused_delete(plan, index, client);
    }
}

}  // namespace

void settle_states(const LoadPlan &plan, zv_acl_rm_client_t *client,
                   std::vector<RuleState> *states) {
    const auto is_open = [](RuleState state) {
        return state == RuleState::kNoRecord || state == RuleState::kUnread;
    };
    if (std::none_of(states->begin(), states->end(), is_open)) {
        return;
    }
    std::vector<RuleState> found = *states;
    try {
        const std::optional<SwitchRules> rules = ask_for_rules(plan, client);
        for (uint32_t i = 0; rules && i < found.size(); i++) {
            if (is_open(found[i])) {
                found[i] = settled(found[i], *rules, plan.offset(i), plan.rule(i));
            }
        }
    } catch (const nlohmann::json::exception &) { /* a member of another type than expected */
        return;
    }
    *states = std::move(found);
}

Sight look_at(const LoadPlan &plan, uint32_t index, zv_acl_rm_client_t *client) {
    zv_acl_rm_acl_rule_get_params_t params;
    zv_acl_rm_status_t status = 0;
    /* Once more where the switch failed: a second answer is worth the time. */
    for (int attempt = 0; attempt < 2; attempt++) {
        if (read_rules(plan, index, 1, client, &params, &status) != 0) {
            return Sight::kGone;
        }
        if (status == ZV_ACL_RM_STATUS_SUCCESS) {
            return compare(params.rules[0], plan.rule(index));
        }
        if (status == ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND) {
            return Sight::kNoRecord;
        }
    }
    return Sight::kUnread;
}

std::vector<RuleState> survey_rules(const LoadPlan &plan, const SendResult &sent, Client *client) {
    const bool has_unanswered =
        std::any_of(sent.batches.begin(), sent.batches.end(),
                    [](const LoadBatch &batch) { return batch.fate == BatchFate::kUnanswered; });
    if (!sent.is_connected) {
        client->reset();
        if (connect_daemon(plan.settings, client)) {
            client->reset();
        }
    } else if (has_unanswered) {
        /* What is under way may yet be carried out, so that a read would prove nothing. */
        client->reset();
    }
    if (*client && !answers(plan, client->get())) {
        client->reset();
    }
    /* A daemon that is only slow still holds what it has acknowledged. */
    return Survey(plan, sent, client->get(), sent.is_connected && has_unanswered).run();
}

void take_back(const LoadPlan &plan, const SendResult &sent, zv_acl_rm_client_t *client,
               std::vector<RuleState> *states) {
    std::vector<uint32_t> indexes;
    const std::vector<bool> written = written_rules(plan, sent);
    for (uint32_t i = plan.total(); i-- > 0;) {
        const RuleState state = (*states)[i];
        if (state == RuleState::kInSwitch || state == RuleState::kRecordOnly ||
            (state == RuleState::kUnread && written[i])) {
            indexes.push_back(i);
        }
        if (indexes.size() == ZV_ACL_RM_RULES_PER_RECORD || (i == 0 && !indexes.empty())) {
            delete_recorded(plan, indexes, client, states);
            indexes.clear();
        }
    }
    /* Behind the others, which make room in a daemon whose table is full. */
    for (uint32_t i = plan.total(); i-- > 0;) {
        const RuleState state = (*states)[i];
        if (state == RuleState::kUnrecorded || state == RuleState::kNoRecord) {
            clear_unrecorded(plan, i, client, states);
        }
    }
    settle_states(plan, client, states);
}

}  // namespace aclrmctl
