#include "tests/fire/story/fault_count.h"

#include <algorithm>
#include <array>

namespace zv_fire {

bool is_failable(std::string_view call) {
    constexpr std::array<std::string_view, 28> kFailable = {
        "zv_log_init",
        "zv_log_close",
        "zv_rpc_core_td_init",
        "zv_rpc_api_rpc_command_db_init",
        "zv_rpc_api_rpc_command_db_deinit",
        "zv_rpc_core_td_start_loop",
        "zv_net_init",
        "zv_net_deinit",
        "zv_net_ports_get_all",
        "zv_api_open",
        "zv_api_close",
        "zv_api_acl_region_set",
        "zv_api_acl_set",
        "zv_api_acl_rules_set",
        "zv_api_acl_rules_get",
        "zv_api_acl_rule_activity_get",
        "zv_api_acl_rule_block_move_set",
        "zv_api_acl_group_set",
        "zv_api_acl_port_bind_set",
        "zv_api_acl_rif_bind_set",
        "zv_api_acl_policy_based_switching_set",
        "zv_api_acl_policy_based_switching_get",
        "zv_api_flow_counter_set",
        "zv_api_flow_counter_get",
        "zv_api_flow_counter_clear_set",
        "cl_thread_init",
        "cl_malloc",
        "cl_qpool_init",
    };
    return std::find(kFailable.begin(), kFailable.end(), call) != kFailable.end();
}

void FaultCount::arm(const nlohmann::json &list) {
    faults_.clear();
    if (!list.is_array()) {
        return;
    }
    for (const nlohmann::json &fault : list) {
        faults_.push_back({fault.at("call"), fault.value("nth", uint64_t{1}),
                           fault.value("times", int64_t{1}), fault.value("late", false)});
    }
}

Hit FaultCount::count(const std::string &call) {
    Hit hit = Hit::kNone;
    if (faults_.empty() || !is_failable(call)) {
        return hit;
    }
    for (Fault &fault : faults_) {
        if (fault.call != "*" && fault.call != call) {
            continue;
        }
        ++fault.seen_num;
        const bool due = fault.seen_num >= fault.nth;
        const bool lasts =
            fault.times < 0 || fault.seen_num - fault.nth < static_cast<uint64_t>(fault.times);
        if (due && lasts && hit == Hit::kNone) {
            hit = fault.late ? Hit::kLate : Hit::kEarly;
        }
    }
    if (hit != Hit::kNone) {
        ++hits_num_;
    }
    return hit;
}

}  // namespace zv_fire
