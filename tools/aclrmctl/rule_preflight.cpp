#include "rule_preflight.h"

#include <algorithm>
#include <set>

#include "cache_text.h"
#include "exit_codes.h"
#include "perform_parts.h"
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
    const std::string message = "there is no counter " + std::to_string(counter_id);
    Failure told{kExitRefused, "--counter: " + message, {}, {}, ""};
    if (rule.targets.counter_id != 0) {
        told = place_failure(plan.loaded, kExitRefused, plan.loaded.expanded[index].rule_index,
                             rule.counter_at, "counter", message);
    }
    told.status = failure->status;
    told.details.emplace_back(kNothingSent);
    told.hint = "'aclrmctl counter create' makes one, 'aclrmctl show counters' lists them";
    return told;
}

std::optional<Failure> check_counters(const LoadPlan &plan, zv_acl_rm_client_t *client) {
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

/* The answer to a read of one offset; an errno value becomes a failure. */
std::optional<Failure> read_offset(const LoadPlan &plan, uint32_t offset,
                                   zv_acl_rm_client_t *client, zv_acl_rm_status_t *status) {
    zv_acl_rm_acl_rule_get_params_t params{};
    params.acl_id = plan.request.acl_id;
    params.rules_num = 1;
    params.rules[0].offset = offset;
    const int error = zv_acl_rm_api_acl_rule_get(client, &params, status);
    return call_failure(plan.settings, "reading " + of_acl(plan), error, 0);
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
std::optional<Failure> check_room(const LoadPlan &plan, zv_acl_rm_client_t *client) {
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
std::optional<Failure> check_free(const LoadPlan &plan, zv_acl_rm_client_t *client) {
    const auto dumped = recorded_offsets(plan.settings, plan.request.acl_id);
    std::vector<uint32_t> taken;
    uint32_t first_index = 0;
    for (uint32_t i = 0; i < plan.total(); i++) {
        bool is_taken = dumped && dumped->count(plan.offset(i)) != 0;
        if (!dumped) {
            zv_acl_rm_status_t status = 0;
            if (auto failure = read_offset(plan, plan.offset(i), client, &status)) {
                return failure;
            }
            is_taken = status == ZV_ACL_RM_STATUS_SUCCESS;
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
    told.details.push_back(counted(taken.size(), "offset") +
                           " of those needed: " + number_runs(taken));
    told.details.emplace_back(kNothingSent);
    told.hint = "--first-priority puts the file behind them, 'aclrmctl rule del' makes them free";
    return told;
}

}  // namespace

std::optional<std::set<uint32_t>> recorded_offsets(const Settings &settings, uint32_t acl_id) {
    const Answer answer = perform_dump(settings, DumpRequest{});
    const auto *dumped = std::get_if<DumpAnswer>(&answer);
    if (dumped == nullptr || !dumped->text) {
        return std::nullopt;
    }
    const CacheText cache = read_cache_text(*dumped->text);
    /* The daemon's own count says whether the list was cut. An empty text counts nothing. */
    if (cache.rules.size() != cache.rules_num || (cache.rules.empty() && !cache.complete)) {
        return std::nullopt;
    }
    std::set<uint32_t> offsets;
    for (const CachedRule &rule : cache.rules) {
        if (rule.acl_id == acl_id) {
            offsets.insert(rule.offset);
        }
    }
    return offsets;
}

std::optional<Failure> check_before_load(const LoadPlan &plan, zv_acl_rm_client_t *client) {
    for (const auto check : {check_acl, check_counters, check_room, check_free}) {
        if (auto failure = check(plan, client)) {
            return failure;
        }
    }
    return std::nullopt;
}

}  // namespace aclrmctl
