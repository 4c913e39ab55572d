// Rules that are new: translated, written group by group, remembered.
#include <algorithm>
#include <array>

#include "tests/fire/model/bytes.h"
#include "tests/fire/model/world.h"

namespace zv_model {

using nlohmann::json;

namespace {

constexpr size_t kRulesAt = 16, kRuleLen = 360;
constexpr size_t kPriority = 0, kOffset = 4, kValid = 8, kKeyType = 12, kKey = 16, kMaskType = 144,
                 kMask = 148, kAction = 280, kForwardType = 336, kForwardPort = 340,
                 kForwardGroup = 344, kCounter = 356;
constexpr size_t kBlockLen = 128, kActionLen = 56;
constexpr uint16_t kAllRules = 6400;

}  // namespace

void Service::write_rules(uint32_t acl, uint32_t count) {
    if (world_.rules_num == kAllRules) {
        throw Refusal{kNoResources};
    }
    std::array<Drafts, 4> by_key_type;
    for (uint32_t i = 0; i < count; ++i) {
        const size_t at = kRulesAt + i * kRuleLen;
        const uint32_t key_type = word(at + kKeyType);
        if (key_type >= by_key_type.size()) {
            throw Refusal{kOutOfRange};
        }
        by_key_type[key_type].push_back(drafted(acl, at));
    }
    for (const Drafts &drafts : by_key_type) {
        if (!drafts.empty()) {
            write_drafts(acl, drafts);
        }
    }
}

Service::Draft Service::drafted(uint32_t acl_id, size_t at) {
    const uint32_t offset = word(at + kPriority);
    if (world_.rules.find(rule_key(acl_id, offset)) != nullptr) {
        throw Refusal{kError};
    }
    put(record_, at + kOffset, offset);
    const Acl *acl = world_.acls.find(acl_id);
    if (acl == nullptr) {
        throw Refusal{kNotFound};
    }
    Rule rule{};
    rule.region = acl->region;
    rule.offset = offset;
    draft_forwarding(rule, at);
    rule.counter = word(at + kCounter);

    const auto action_at = record_.begin() + static_cast<std::ptrdiff_t>(at + kAction);
    Bytes action(action_at, action_at + kActionLen);
    if (rule.forwards) {
        put(action, 0, 1u);
        put(action, 8, rule.pbs);
    }
    if (rule.counter != 0) {
        put(action, 4, rule.counter);
    }
    return {rule.region,
            {{"offset", offset},
             {"valid", record_[at + kValid]},
             {"key_type", word(at + kKeyType)},
             {"key", hex_of(&record_[at + kKey], kBlockLen)},
             {"mask_key_type", word(at + kMaskType)},
             {"mask", hex_of(&record_[at + kMask], kBlockLen)},
             {"action", hex_of(action.data(), action.size())}},
            rule};
}

// A port's PBS entry is remembered only when the rule was written: two rules of one batch make two.
void Service::draft_forwarding(Rule &rule, size_t at) {
    const uint32_t type = word(at + kForwardType);
    if (type == 2) {
        const McGroup *group = world_.mc_groups.find(word(at + kForwardGroup));
        if (group == nullptr) {
            throw Refusal{kNotFound};
        }
        rule.forwards = true;
        rule.pbs = group->pbs;
        rule.pbs_type = 2;
    }
    if (type != 1) {
        return;
    }
    rule.port = word(at + kForwardPort);
    rule.forwards = true;
    if (const Forwarding *known = world_.forwardings.find(rule.port)) {
        rule.pbs = known->pbs;
        return;
    }
    const json ports = json::array({rule.port});
    const json args = {{"cmd", kAdd},
                       {"switch_id", 0},
                       {"entry", {{"entry_type", 0}, {"port_count", 1}, {"ports", ports}}}};
    const Call &made = calls_.take("zv_api_acl_policy_based_switching_set", args, {"pbs_id"});
    if (made.status != 0) {
        throw Refusal{made.status == kSwitchFull ? kNoHardware : kError};
    }
    rule.pbs = made.out.at("pbs_id");
}

void Service::write_drafts(uint32_t acl, const Drafts &drafts) {
    json rules = json::array();
    for (const Draft &draft : drafts) {
        rules.push_back(draft.sdk);
    }
    const json args = {{"cmd", kSet},
                       {"region_id", drafts.front().region},
                       {"rules", std::move(rules)},
                       {"count", drafts.size()}};
    if (calls_.take("zv_api_acl_rules_set", args).status != 0) {
        throw Refusal{kError};
    }
    for (const Draft &draft : drafts) {
        count_users(draft.cached);
    }
    for (const Draft &draft : drafts) {
        const Rule &rule = draft.cached;
        if (!world_.rules.insert(rule_key(acl, rule.offset), rule)) {
            throw Refusal{kError};
        }
        ++world_.rules_num;
        set_flag(acl, rule.region, rule.offset, 1);
    }
}

void Service::count_users(const Rule &rule) {
    if (rule.port != 0) {
        if (Forwarding *known = world_.forwardings.find(rule.port)) {
            ++known->users;
        } else if (!world_.forwardings.insert(rule.port, {0, rule.pbs, rule.port, 1})) {
            throw Refusal{kError};
        }
    }
    if (rule.counter != 0) {
        const auto counter = world_.counters.find(rule.counter);
        if (counter == world_.counters.end()) {
            throw Refusal{kNotFound};
        }
        ++counter->second.users;
    }
}

}  // namespace zv_model
