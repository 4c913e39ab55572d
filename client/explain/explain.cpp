/* Why a request was refused: one row a check, in the order in which an explanation looks at them.
 *
 * The rows of a command and a status are asked in turn, in the daemon's order, up to the first
 * certain cause. It stands first, before the possible ones that the daemon would have come to
 * earlier; where nothing is certain, all possible ones stand as they come: the likeliest first.
 */
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "client/explain/cause.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

using namespace zv_acl_rm_lib;

namespace {

constexpr uint32_t bit(uint32_t command) {
    return 1u << command;
}

constexpr uint32_t kOpen = bit(ZV_ACL_RM_API_INT_CMD_OPEN);
constexpr uint32_t kInit = bit(ZV_ACL_RM_API_INT_CMD_INIT);
constexpr uint32_t kAclSet = bit(ZV_ACL_RM_API_INT_CMD_ACL_SET);
constexpr uint32_t kResize = bit(ZV_ACL_RM_API_INT_CMD_ACL_RESIZE);
constexpr uint32_t kRuleSet = bit(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET);
constexpr uint32_t kRuleGet = bit(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET);
constexpr uint32_t kMove = bit(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK);
constexpr uint32_t kPort = bit(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET);
constexpr uint32_t kRif = bit(ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET);
constexpr uint32_t kCounterSet = bit(ZV_ACL_RM_API_INT_CMD_COUNTER_SET);
constexpr uint32_t kCounterGet = bit(ZV_ACL_RM_API_INT_CMD_COUNTER_GET);
constexpr uint32_t kMcSet = bit(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET);
constexpr uint32_t kMcGet = bit(ZV_ACL_RM_API_INT_CMD_MC_GRP_GET);
constexpr uint32_t kSystem = bit(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET);
constexpr uint32_t kPortSet = bit(ZV_ACL_RM_API_INT_CMD_PORT_SET);
constexpr uint32_t kDump = bit(ZV_ACL_RM_API_INT_CMD_DUMP);

constexpr uint32_t kCounters = kCounterSet | kCounterGet;
constexpr uint32_t kMcGroups = kMcSet | kMcGet;
constexpr uint32_t kBinds = kPort | kRif | kSystem;
constexpr uint32_t kOnAcl = kAclSet | kResize | kRuleSet | kRuleGet | kMove | kBinds;
constexpr uint32_t kAll = kOnAcl | kCounters | kMcGroups | kPortSet;

struct CauseRow {
    uint32_t commands;
    uint32_t status;
    FindCause find;
};

constexpr CauseRow kCauses[] = {
    {kAll, ZV_ACL_RM_STATUS_ERROR, not_initialized},
    {kRuleSet | kMove, ZV_ACL_RM_STATUS_ERROR, rules_overflowed},
    {kOnAcl, ZV_ACL_RM_STATUS_ERROR, acl_of_another_owner},
    {kMcGroups, ZV_ACL_RM_STATUS_ERROR, mc_group_of_another_owner},
    {kRuleSet, ZV_ACL_RM_STATUS_ERROR, offset_written_twice},
    {kRuleSet, ZV_ACL_RM_STATUS_ERROR, offset_occupied},
    {kRuleSet, ZV_ACL_RM_STATUS_ERROR, forwarding_ports_full},
    {kRuleSet | kRuleGet, ZV_ACL_RM_STATUS_ERROR, offset_past_region},
    {kMove, ZV_ACL_RM_STATUS_ERROR, block_past_region},
    {kSystem, ZV_ACL_RM_STATUS_ERROR, bound_to_system_already},
    {kBinds | kPortSet, ZV_ACL_RM_STATUS_ERROR, other_direction},
    {kCounterSet, ZV_ACL_RM_STATUS_ERROR, counter_type_flags},
    {kAclSet, ZV_ACL_RM_STATUS_ERROR, acl_cache_full},
    {kAclSet, ZV_ACL_RM_STATUS_ERROR, edited_acl_was_bound},
    {kMcSet, ZV_ACL_RM_STATUS_ERROR, mc_groups_full},
    {kInit, ZV_ACL_RM_STATUS_ERROR, unknown_chip},
    {kOpen | kInit, ZV_ACL_RM_STATUS_ERROR, switch_not_opened},
    {kDump, ZV_ACL_RM_STATUS_ERROR, dump_not_written},
    {kAll, ZV_ACL_RM_STATUS_ERROR, switch_refused},

    {kAll, ZV_ACL_RM_STATUS_CMD_UNSUPPORTED, unsupported_cmd},

    {kDump, ZV_ACL_RM_STATUS_PARAM_NULL, dump_without_path},
    {kAll, ZV_ACL_RM_STATUS_PARAM_NULL, memory_ran_out},

    {kOpen, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, unknown_owner},
    {kRuleSet | kRuleGet, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, too_many_rules},
    {kRuleSet | kRuleGet, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, chip_takes_no_rules},
    {kPort | kRif, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, no_ports},
    {kAclSet, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, sizes_differ},
    {kOnAcl, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, unknown_acl},
    {kMcGroups, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, client_is_of13},
    {kMcGroups, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, unknown_mc_group},
    {(kOnAcl & ~kAclSet) | kMcGroups, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, unknown_handle},
    {kAclSet | kMove, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, chip_deletes_no_rules},
    {kRuleSet, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, unknown_key_type},
    {kRuleSet | kMove, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, offset_without_record},
    {kResize, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, rule_past_new_size},
    {kResize, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, size_is_fixed},
    {kBinds, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, too_many_bind_points},

    {kAclSet, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, edited_acl_has_rules},
    {kAclSet | kMcSet, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, unknown_handle},
    {kRuleGet, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, unknown_acl},
    {kRuleSet, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, unknown_mc_group_of_rule},
    {kRuleSet, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, unknown_counter_of_rule},
    {kRuleSet, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, offset_deleted_twice},
    {kRuleSet | kRuleGet, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, no_rule_at_offset},
    {kAclSet | kMove, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, rule_to_port_0},
    {kCounters, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, unknown_counter},
    {kBinds | kPortSet, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, former_id_on_port},

    {kAclSet, ZV_ACL_RM_STATUS_NO_RESOURCES, acls_full},
    {kRuleSet, ZV_ACL_RM_STATUS_NO_RESOURCES, rules_full},
    {kBinds | kPortSet, ZV_ACL_RM_STATUS_NO_RESOURCES, sixteen_acls_on_port},
    {kBinds | kPortSet, ZV_ACL_RM_STATUS_NO_RESOURCES, groups_full},
    {kCounterSet, ZV_ACL_RM_STATUS_NO_RESOURCES, counters_full},
    {kMcSet, ZV_ACL_RM_STATUS_NO_RESOURCES, no_room_for_mc_group},
    {kAll | kDump, ZV_ACL_RM_STATUS_NO_RESOURCES, memory_ran_out},

    {kRuleSet, ZV_ACL_RM_STATUS_NO_HW_RESOURCES, no_room_to_forward},
    {kResize, ZV_ACL_RM_STATUS_NO_HW_RESOURCES, no_room_for_size},
    {kBinds | kPortSet, ZV_ACL_RM_STATUS_NO_HW_RESOURCES, no_room_to_bind},

    {kAll, ZV_ACL_RM_STATUS_NO_BUFFER_SPACE, memory_ran_out},
};

struct Explanation {
    std::string text;
    uint32_t causes_num = 0;
};

Explanation explain(const Refusal &refusal) {
    Explanation explanation;
    for (const CauseRow &row : kCauses) {
        if (row.status != refusal.status || (row.commands & bit(refusal.command)) == 0) {
            continue;
        }
        Finding found = row.find(refusal);
        if (found.certainty == Certainty::none) {
            continue;
        }
        const bool is_certain = found.certainty == Certainty::certain;
        if (is_certain) {
            std::swap(found.text, explanation.text);
        }
        explanation.text.append(explanation.causes_num == 0 ? "" : "\n").append(found.text);
        explanation.causes_num++;
        if (is_certain) {
            break;
        }
    }
    if (explanation.causes_num == 0) {
        explanation.text = zv_acl_rm_status_meaning(refusal.status);
    }
    return explanation;
}

void store(std::string_view explanation, char *text, uint32_t text_bytes) {
    const size_t len = std::min<size_t>(explanation.size(), text_bytes - 1);
    std::memcpy(text, explanation.data(), len);
    text[len] = '\0';
}

}  // namespace

extern "C" int zv_acl_rm_client_explain(zv_acl_rm_client_t *client, uint32_t command,
                                        const void *record, uint32_t record_len,
                                        zv_acl_rm_status_t status, char *text, uint32_t text_bytes,
                                        uint32_t *causes_num) {
    const CommandRow *row = find_row(command);
    if (client == nullptr || row == nullptr || record == nullptr ||
        record_len != row->record_bytes || text == nullptr || text_bytes == 0) {
        return EINVAL;
    }
    uint32_t ignored_num = 0;
    uint32_t *num = causes_num == nullptr ? &ignored_num : causes_num;
    *num = 0;
    if (status == ZV_ACL_RM_STATUS_SUCCESS) {
        store("", text, text_bytes);
        return 0;
    }
    try {
        Inquiry inquiry(client);
        const Refusal refusal{command, status, record, client->handle, client->opened_as, inquiry};
        const Explanation explanation = explain(refusal);
        store(explanation.text, text, text_bytes);
        *num = explanation.causes_num;
        return inquiry.error();
    } catch (const std::bad_alloc &) {
        store(zv_acl_rm_status_meaning(status), text, text_bytes);
        return ENOMEM;
    }
}
