/* Single rules: written, deleted, read back, moved. Whole files are rule_load.cpp's. */
#include <algorithm>
#include <cstring>

#include "daemon_link.h"
#include "exit_codes.h"
#include "perform_parts.h"
#include "rule_encode.h"
#include "rule_records.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

constexpr const char *kReadAndCleared = "read and cleared";

std::string of_acl(uint32_t acl_id) {
    return " of ACL " + std::to_string(acl_id);
}

RuleView common_view(const acl_rm_rule &record) {
    RuleView view;
    view.offset = record.offset;
    view.valid = record.valid != 0;
    view.key_type = record.key.key_type;
    std::memcpy(view.key.data(), record.key.data, view.key.size());
    std::memcpy(view.mask.data(), record.mask.data, view.mask.size());
    view.verdict = verdict_of_action(record.action);
    return view;
}

/* The last 24 bytes of a record mean one thing in a write and another in a read. */
RuleView written_view(const acl_rm_rule &record, const RuleTargets &targets) {
    RuleView view = common_view(record);
    view.targets = targets;
    return view;
}

RuleView read_view(const acl_rm_rule &record, Activity activity) {
    RuleView view = common_view(record);
    const acl_rm_rule_readout &readout = record.readout;
    view.targets.counter_id = readout.counter_id;
    if (readout.forwarding_type == kForwardsToPort) {
        view.targets.forward_port = readout.log_port;
    } else if (readout.forwarding_type == kForwardsToMcGroup) {
        view.targets.forward_mc = readout.mc_pbs_id; /* the group's id is its PBS id */
    }
    if (activity != Activity::kNone) {
        view.active = readout.activity != 0;
    }
    return view;
}

std::optional<Failure> delete_some(const Settings &settings, const RuleDeleteRequest &request,
                                   size_t first, size_t count, zv_acl_rm_client_t *client) {
    zv_acl_rm_acl_rule_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
    params.acl_id = request.acl_id;
    params.rules_num = static_cast<uint32_t>(count);
    for (size_t i = 0; i < count; i++) {
        params.rules[i].offset = request.offsets[first + i];
    }
    auto failure =
        call_daemon(settings, client,
                    "deleting the rules at " + piece_text("offset", request.offsets, first, count) +
                        of_acl(request.acl_id),
                    zv_acl_rm_api_acl_rule_set, &params);
    set_hint(&failure, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
             "where one of these offsets holds no rule, none of them is deleted");
    return failure;
}

/* Reads rules first to first + count - 1 of the list and appends them to *rules. */
std::optional<Failure> get_some(const Settings &settings, const RuleGetRequest &request,
                                size_t first, size_t count, zv_acl_rm_client_t *client,
                                std::vector<RuleView> *rules) {
    zv_acl_rm_acl_rule_get_params_t params{};
    params.acl_id = request.acl_id;
    params.rules_num = static_cast<uint32_t>(count);
    for (size_t i = 0; i < count; i++) {
        params.rules[i].offset = request.offsets[first + i];
        params.rules[i].readout.activity_request = static_cast<uint32_t>(request.activity);
    }
    auto failure =
        call_daemon(settings, client,
                    "reading the rules at " + piece_text("offset", request.offsets, first, count) +
                        of_acl(request.acl_id),
                    zv_acl_rm_api_acl_rule_get, &params);
    if (!failure) {
        for (size_t i = 0; i < count; i++) {
            rules->push_back(read_view(params.rules[i], request.activity));
        }
        return failure;
    }
    if (failure->status && request.activity == Activity::kReadAndClear && count > 1) {
        failure->details.emplace_back(
            "the activity of those of these rules before the failing one is cleared");
        mark_uncertain(&*failure, kReadAndCleared, request.offsets, first + count);
    }
    return failure;
}

/* What the switch has forgotten by now cannot be read again. */
void keep_what_was_read(const RuleGetAnswer &answer, Failure *failure) {
    if (failure->partial && !answer.rules.empty()) {
        failure->finished = std::make_shared<FinishedPart>(FinishedPart{answer});
    }
}

}  // namespace

Answer perform_rule_add(const Settings &settings, const RuleAddRequest &request) {
    zv_acl_rm_acl_rule_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    params.acl_id = request.acl_id;
    params.rules_num = 1;
    encode_whole_rule(request.rule, &params.rules[0]);
    const RuleTargets &targets = request.rule.targets;
    auto failure = call_daemon(settings,
                               "writing a rule at priority " +
                                   std::to_string(request.rule.priority) + of_acl(request.acl_id),
                               zv_acl_rm_api_acl_rule_set, &params);
    if (!failure) {
        return RuleAddAnswer{request.acl_id, written_view(params.rules[0], targets),
                             request.masked};
    }
    if (targets.counter_id != 0 && !targets.forward_mc) { /* a missing group is found before */
        set_hint(&failure, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                 "the switch may have it; a good rule at its priority mends that");
    }
    return *failure;
}

Answer perform_rule_delete(const Settings &settings, const RuleDeleteRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    uint32_t commands_num = 0;
    const auto send = [&](size_t first, size_t count) {
        commands_num++;
        return delete_some(settings, request, first, count, client.get());
    };
    if (auto failure =
            send_in_pieces(request.offsets, ZV_ACL_RM_RULES_PER_RECORD, "deleted", "rule", send)) {
        return *failure;
    }
    return RuleDeleteAnswer{request, commands_num};
}

Answer perform_rule_get(const Settings &settings, const RuleGetRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    RuleGetAnswer answer{request, {}};
    if (request.all) {
        if (auto failure =
                find_offsets(settings, request.acl_id, client.get(), &answer.asked.offsets)) {
            return *failure;
        }
    }
    const RuleGetRequest &asked = answer.asked;
    const auto send = [&](size_t first, size_t count) {
        return get_some(settings, asked, first, count, client.get(), &answer.rules);
    };
    const char *done = asked.activity == Activity::kReadAndClear ? kReadAndCleared : kOnlyRead;
    if (auto failure =
            send_in_pieces(asked.offsets, ZV_ACL_RM_RULES_PER_RECORD, done, "rule", send)) {
        keep_what_was_read(answer, &*failure);
        return *failure;
    }
    return answer;
}

Answer perform_rule_move(const Settings &settings, const RuleMoveRequest &request) {
    zv_acl_rm_acl_rule_move_block_params_t params{};
    params.acl_id = request.acl_id;
    params.block_start = request.from;
    params.block_size = request.count;
    params.new_start = request.to;
    if (auto failure = call_daemon(settings,
                                   "moving " + counted(request.count, "rule") + " from offset " +
                                       std::to_string(request.from) + " to " +
                                       std::to_string(request.to) + of_acl(request.acl_id),
                                   zv_acl_rm_api_acl_rule_move_block, &params)) {
        return *failure;
    }
    return RuleMoveAnswer{request};
}

}  // namespace aclrmctl
