#include "rule_preflight.h"

#include <algorithm>
#include <set>

#include "exit_codes.h"
#include "rule_records.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

const char *const kNothingSent = "nothing was sent";

std::string of_acl(const LoadPlan &plan) {
    return "ACL " + std::to_string(plan.request.acl_id);
}

/* A write of no rules asks for everything that a write asks for. */
std::optional<Failure> check_acl(const LoadPlan &plan, zv_acl_rm_client_t *client) {
    zv_acl_rm_acl_rule_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    params.acl_id = plan.request.acl_id;
    auto failure =
        call_daemon(plan.settings, client, "asking whether " + of_acl(plan) + " takes rules",
                    zv_acl_rm_api_acl_rule_set, &params);
    if (failure && failure->status) {
        failure->details.emplace_back(kNothingSent);
    }
    return failure;
}

/* What the command line gives all rules that name none has no place in the file. */
Failure unknown_target(const LoadPlan &plan, uint32_t index, bool is_of_rule, const char *option,
                       const FilePlace &place, const char *member, const std::string &message) {
    Failure told{kExitRefused, std::string(option) + ": " + message, {}, {}, ""};
    if (is_of_rule) {
        told = place_failure(plan.loaded, kExitRefused, plan.loaded.expanded[index].rule_index,
                             place, member, message);
    }
    told.status = ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND;
    told.details.emplace_back(kNothingSent);
    return told;
}

std::optional<Failure> check_counter(const LoadPlan &plan, uint32_t index, uint32_t counter_id,
                                     zv_acl_rm_client_t *client) {
    zv_acl_rm_counter_get_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_READ;
    params.counter_id = counter_id;
    auto failure =
        call_daemon(plan.settings, client, "reading counter " + std::to_string(counter_id),
                    zv_acl_rm_api_counter_get, &params);
    if (!failure || failure->status != ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND) {
        return failure;
    }
    const FilterRule &rule = plan.source(index);
    Failure told =
        unknown_target(plan, index, rule.targets.counter_id != 0, "--counter", rule.counter_at,
                       "counter", "there is no counter " + std::to_string(counter_id));
    told.hint = "'aclrmctl counter create' makes one, 'aclrmctl show counters' lists them";
    return told;
}

std::optional<Failure> check_counters(const LoadPlan &plan, const RuleRecords &,
                                      zv_acl_rm_client_t *client) {
    std::set<uint32_t> known;
    for (uint32_t i = 0; i < plan.total(); i++) {
        const uint32_t of_rule = plan.source(i).targets.counter_id;
        const uint32_t counter_id =
            of_rule != 0 ? of_rule : plan.request.options.targets.counter_id;
        if (counter_id == 0 || !known.insert(counter_id).second) {
            continue;
        }
        if (auto failure = check_counter(plan, i, counter_id, client)) {
            return failure;
        }
    }
    return std::nullopt;
}

/* Any owner's group may be forwarded to, but only its owner can read it: so the dump is looked at,
 * and where that is cut the group is left to the daemon, which refuses before it writes. */
std::optional<Failure> check_groups(const LoadPlan &plan, const RuleRecords &records,
                                    zv_acl_rm_client_t *) {
    for (uint32_t i = 0; records.mc_groups && i < plan.total(); i++) {
        const FilterRule &rule = plan.source(i);
        const auto group = plan.rule(i).targets.forward_mc;
        if (!group || records.mc_groups->count(*group) != 0) {
            continue;
        }
        Failure told = unknown_target(plan, i, rule.targets.forward_mc.has_value(), "--forward-mc",
                                      rule.forward_at, "forward/mc",
                                      "there is no MC group " + std::to_string(*group));
        told.hint = "'aclrmctl mc create' makes one, 'aclrmctl show mc' lists them";
        return told;
    }
    return std::nullopt;
}

/* A command that runs into the limit leaves rules in the switch that the daemon cannot delete. */
std::optional<Failure> check_limit(const LoadPlan &plan, const RuleRecords &records,
                                   zv_acl_rm_client_t *) {
    const uint32_t left = kMostRules - std::min(records.rules_num, kMostRules);
    if (plan.total() <= left) {
        return std::nullopt;
    }
    Failure told = place_failure(plan.loaded, kExitRefused, plan.loaded.expanded[left].rule_index,
                                 plan.source(left).at, "",
                                 "the daemon has room for " + counted(left, "rule") +
                                     " more, the file has " + std::to_string(plan.total()));
    told.details.push_back("it holds " + counted(records.rules_num, "rule") + " of at most " +
                           std::to_string(kMostRules) + ", those of all ACLs together");
    told.details.emplace_back(kNothingSent);
    told.hint = "'aclrmctl show rules' lists them, 'aclrmctl rule del' makes room";
    return told;
}

/* Moves an offset onto itself, which changes nothing and is refused past the ACL's end. A read
 * would say the same of an offset without a rule only with errors in the daemon's log. */
std::optional<Failure> touch_offset(const LoadPlan &plan, uint32_t offset,
                                    zv_acl_rm_client_t *client, zv_acl_rm_status_t *status) {
    zv_acl_rm_acl_rule_move_block_params_t params{};
    params.acl_id = plan.request.acl_id;
    params.block_start = offset;
    params.block_size = 1;
    params.new_start = offset;
    const int error = zv_acl_rm_api_acl_rule_move_block(client, &params, status);
    return call_failure(plan.settings, "asking for the room of " + of_acl(plan), error, 0);
}

/* The first offset that the switch does not have: the ACL's size. */
std::optional<Failure> find_room(const LoadPlan &plan, uint32_t past, zv_acl_rm_client_t *client,
                                 uint32_t *room) {
    uint32_t low = 0;
    uint32_t high = past; /* is not there */
    while (low < high) {
        const uint32_t middle = low + (high - low) / 2;
        zv_acl_rm_status_t status = 0;
        if (auto failure = touch_offset(plan, middle, client, &status)) {
            return failure;
        }
        if (status == ZV_ACL_RM_STATUS_ERROR) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    *room = low;
    return std::nullopt;
}

/* An offset is refused past the ACL's end, and anywhere while the switch fails; so it is past the
 * end only where it is refused twice. */
std::optional<Failure> check_room(const LoadPlan &plan, const RuleRecords &,
                                  zv_acl_rm_client_t *client) {
    uint32_t highest = 0;
    for (uint32_t i = 0; i < plan.total(); i++) {
        highest = std::max(highest, plan.offset(i));
    }
    zv_acl_rm_status_t status = 0;
    for (int attempt = 0; attempt < 2; attempt++) {
        if (auto failure = touch_offset(plan, highest, client, &status)) {
            return failure;
        }
        if (status != ZV_ACL_RM_STATUS_ERROR) {
            return std::nullopt;
        }
    }
    uint32_t room = 0;
    if (auto failure = find_room(plan, highest, client, &room)) {
        return failure;
    }
    uint32_t index = 0;
    while (index + 1 < plan.total() && plan.offset(index) < room) {
        index++;
    }
    Failure told = place_failure(
        plan.loaded, kExitRefused, plan.loaded.expanded[index].rule_index, plan.source(index).at,
        "",
        room == 0 ? of_acl(plan) + " has no room, or the switch does not answer"
                  : of_acl(plan) + " has room for " + counted(room, "rule") +
                        ", the file needs it up to priority " + std::to_string(highest));
    told.details.emplace_back(kNothingSent);
    told.hint =
        "'rule check' tells the room that a file needs; 'aclrmctl acl resize' gives more to "
        "an ACL of size 0";
    return told;
}

/* Where the dump is cut, each offset is asked for; the daemon's log then has errors for those that
 * are free, which is the lesser evil: the switch writes over a rule before the daemon refuses. */
std::optional<Failure> check_free(const LoadPlan &plan, const RuleRecords &records,
                                  zv_acl_rm_client_t *client) {
    std::vector<uint32_t> taken;
    uint32_t first_index = 0;
    for (uint32_t i = 0; i < plan.total(); i++) {
        bool is_taken = records.offsets.count(plan.offset(i)) != 0;
        if (!is_taken && !records.is_whole) {
            OffsetFound found{};
            if (auto failure = probe_offset(plan.settings, plan.request.acl_id, plan.offset(i),
                                            client, &found)) {
                return failure;
            }
            is_taken = found == OffsetFound::kRule;
        }
        if (is_taken) {
            first_index = taken.empty() ? i : first_index;
            taken.push_back(plan.offset(i));
        }
    }
    if (taken.empty()) {
        return std::nullopt;
    }
    Failure told =
        place_failure(plan.loaded, kExitRefused, plan.loaded.expanded[first_index].rule_index,
                      plan.source(first_index).at, "",
                      "offset " + std::to_string(taken.front()) + " of " + of_acl(plan) +
                          " holds a rule already");
    std::sort(taken.begin(), taken.end());
    told.details.push_back("taken of the offsets needed: " + number_runs(taken));
    told.details.emplace_back(kNothingSent);
    told.hint = "--first-priority puts the file behind them, 'aclrmctl rule del' makes them free";
    return told;
}

}  // namespace

std::optional<Failure> check_before_load(const LoadPlan &plan, zv_acl_rm_client_t *client) {
    if (auto failure = check_acl(plan, client)) {
        return failure;
    }
    RuleRecords records;
    if (auto failure = read_records(plan.settings, plan.request.acl_id, &records)) {
        return failure;
    }
    for (const auto check : {check_counters, check_groups, check_room, check_limit, check_free}) {
        if (auto failure = check(plan, records, client)) {
            return failure;
        }
    }
    return std::nullopt;
}

}  // namespace aclrmctl
