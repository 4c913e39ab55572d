#include "rule_records.h"

#include <algorithm>

#include "exit_codes.h"
#include "perform_parts.h"

namespace aclrmctl {

namespace {

std::string rules_of(uint32_t acl_id) {
    return "reading the rules of ACL " + std::to_string(acl_id);
}

zv_acl_rm_acl_rule_get_params_t read_of(uint32_t acl_id, uint32_t first, uint32_t count) {
    zv_acl_rm_acl_rule_get_params_t params{};
    params.acl_id = acl_id;
    params.rules_num = count;
    for (uint32_t i = 0; i < count; i++) {
        params.rules[i].offset = first + i;
    }
    return params;
}

/* The first offset past the ACL's end. */
std::optional<Failure> find_end(const Settings &settings, uint32_t acl_id,
                                zv_acl_rm_client_t *client, uint32_t *end) {
    uint32_t low = 0;
    uint32_t high = UINT32_MAX; /* no switch has that many */
    while (low < high) {
        const uint32_t middle = low + (high - low) / 2;
        OffsetFound found{};
        if (auto failure = probe_offset(settings, acl_id, middle, client, &found)) {
            return failure;
        }
        if (found == OffsetFound::kPastEnd) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    *end = low;
    return std::nullopt;
}

/* An offset that was within the ACL a moment ago: the switch fails, and a list would have holes. */
Failure unread(const Settings &settings, uint32_t acl_id, uint32_t offset) {
    Failure failure =
        *call_failure(settings, rules_of(acl_id) + ", at offset " + std::to_string(offset), 0,
                      ZV_ACL_RM_STATUS_ERROR);
    failure.hint =
        "the ACL has no room for rules, or the switch does not answer: which rules there are "
        "cannot "
        "be told";
    return failure;
}

/* A command of several offsets succeeds only where each of them holds a rule. */
std::optional<Failure> probe_block(const Settings &settings, uint32_t acl_id, uint32_t first,
                                   uint32_t count, zv_acl_rm_client_t *client,
                                   std::vector<uint32_t> *offsets) {
    auto params = read_of(acl_id, first, count);
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_acl_rule_get(client, &params, &status);
    if (auto failure = call_failure(settings, rules_of(acl_id), error, 0)) {
        return failure;
    }
    for (uint32_t offset = first; offset < first + count; offset++) {
        OffsetFound found = OffsetFound::kRule;
        if (status != ZV_ACL_RM_STATUS_SUCCESS) {
            if (auto failure = probe_offset(settings, acl_id, offset, client, &found)) {
                return failure;
            }
        }
        if (found == OffsetFound::kPastEnd) {
            return unread(settings, acl_id, offset);
        }
        if (found == OffsetFound::kRule) {
            offsets->push_back(offset);
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<Failure> read_records(const Settings &settings, uint32_t acl_id,
                                    RuleRecords *records) {
    CacheText cache;
    if (auto failure = read_cache(settings, &cache)) {
        const bool is_gone =
            failure->exit_code == kExitTimeout || failure->exit_code == kExitUnreachable;
        return is_gone ? failure : std::nullopt;
    }
    records->is_counted = !cache.read_up_to.empty();
    records->is_whole = records->is_counted && cache.rules.size() == cache.rules_num;
    records->rules_num = cache.rules_num;
    for (const CachedRule &rule : cache.rules) {
        if (rule.acl_id == acl_id) {
            records->offsets.insert(rule.offset);
        } else {
            records->others_num++;
        }
    }
    if (cache.complete) {
        records->mc_groups.emplace();
        for (const CachedMcGroup &group : cache.mc_groups) {
            records->mc_groups->insert(group.mc_group_id);
        }
    }
    return std::nullopt;
}

/* The switch is asked before the daemon's records, so that an offset that it does not have is
 * refused in another way than one without a rule. A switch that fails refuses like that, too: so
 * the end is what is refused twice. */
std::optional<Failure> probe_offset(const Settings &settings, uint32_t acl_id, uint32_t offset,
                                    zv_acl_rm_client_t *client, OffsetFound *found) {
    for (int attempt = 0; attempt < 2; attempt++) {
        auto params = read_of(acl_id, offset, 1);
        zv_acl_rm_status_t status = 0;
        const int error = zv_acl_rm_api_acl_rule_get(client, &params, &status);
        const bool is_known = status == ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND ||
                              status == ZV_ACL_RM_STATUS_SUCCESS ||
                              status == ZV_ACL_RM_STATUS_ERROR;
        if (auto failure = call_failure(settings, rules_of(acl_id), error, is_known ? 0 : status)) {
            if (failure->status) {
                add_why(client, command_of(&params), &params, sizeof(params), &*failure);
            }
            return failure;
        }
        if (status != ZV_ACL_RM_STATUS_ERROR) {
            *found = status == ZV_ACL_RM_STATUS_SUCCESS ? OffsetFound::kRule : OffsetFound::kNoRule;
            return std::nullopt;
        }
    }
    *found = OffsetFound::kPastEnd;
    return std::nullopt;
}

std::optional<Failure> find_offsets(const Settings &settings, uint32_t acl_id,
                                    zv_acl_rm_client_t *client, std::vector<uint32_t> *offsets) {
    auto none = read_of(acl_id, 0, 0); /* only looks the ACL up */
    if (auto failure =
            call_daemon(settings, client, rules_of(acl_id), zv_acl_rm_api_acl_rule_get, &none)) {
        return failure;
    }
    RuleRecords records;
    if (auto failure = read_records(settings, acl_id, &records)) {
        return failure;
    }
    if (records.is_whole) {
        offsets->assign(records.offsets.begin(), records.offsets.end());
        return std::nullopt;
    }
    uint32_t end = 0;
    if (auto failure = find_end(settings, acl_id, client, &end)) {
        return failure;
    }
    const uint32_t last_told = records.offsets.empty() ? 0 : *records.offsets.rbegin();
    if (end <= last_told) {
        return unread(settings, acl_id, last_told);
    }
    const uint32_t most = records.is_counted ? records.rules_num - records.others_num : kMostRules;
    for (uint32_t first = 0; first < end && offsets->size() < most;
         first += ZV_ACL_RM_RULES_PER_RECORD) {
        const uint32_t count = std::min(ZV_ACL_RM_RULES_PER_RECORD, end - first);
        if (auto failure = probe_block(settings, acl_id, first, count, client, offsets)) {
            return failure;
        }
    }
    return std::nullopt;
}

}  // namespace aclrmctl
