#include "platform/sim/faults.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/sim/call.h"
#include "platform/sim/fields.h"
#include "platform/sim/json.h"
#include "platform/sim/report.h"
#include "platform/sim/trace.h"

namespace zv_sim {
namespace {

// Every function of the five libraries that can report a failure. Names outside this table are
// refused when a fault is armed: a misspelt one would otherwise just never hit.
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

// It fails by returning null, whatever status was ordered; in the trace that is this one.
constexpr std::string_view kMalloc = "cl_malloc";
constexpr uint32_t kMallocStatus = 1;

bool is_failable(std::string_view name) {
    return std::find(kFailable.begin(), kFailable.end(), name) != kFailable.end();
}

struct State {
    std::mutex mutex;
    std::vector<Fault> faults;
};

// Calls must be looked at while either reason holds; the caller holds the mutex.
void update_watch(const State &state) {
    g_watch.store(!state.faults.empty() || trace_enabled(), std::memory_order_release);
}

void load_environment(State &state) {
    const char *text = std::getenv("ZV_SIM_FAULTS");
    if (text == nullptr || *text == '\0') {
        return;
    }
    const Json list = Json::parse(text, nullptr, false);
    std::string error = "not valid JSON";
    if (!list.is_discarded()) {
        error = faults_parse(list, "", &state.faults);
    }
    if (!error.empty()) {
        report("ZV_SIM_FAULTS: " + error + "; no fault is armed");
    }
}

State &state() {
    static State &loaded = *[] {
        auto *fresh = new State;
        load_environment(*fresh);
        update_watch(*fresh);
        return fresh;
    }();
    return loaded;
}

std::string parse_one(const Json &item, const std::string &path, Fault *fault) {
    constexpr auto kMax = std::numeric_limits<uint32_t>::max();
    Fields fields(item, path);
    fault->call = fields.text("call");
    if (fields.ok() && fault->call != "*" && !is_failable(fault->call)) {
        fields.complain("call", "no call of this name can fail");
    }
    fault->nth = static_cast<uint32_t>(fields.integer("nth", 1, kMax, 1));
    if (fault->call == kMalloc) {
        fault->status = fields.u32("status", kMallocStatus);
    } else {
        fault->status = fields.u32("status");
    }
    fault->times = fields.integer("times", -1, kMax, 1);
    if (fields.ok() && fault->times == 0) {
        fields.complain("times", "must be -1 or a positive integer");
    }
    fault->late = fields.flag("late", false);
    return fields.finish();
}

// Counts a matching call; whether it is one of those to fail.
bool count_hits(Fault &fault) {
    fault.seen_num++;
    return fault.seen_num >= fault.nth &&
           (fault.times < 0 || fault.seen_num - fault.nth < static_cast<uint64_t>(fault.times));
}

bool is_spent(const Fault &fault) {
    return fault.times >= 0 && fault.seen_num + 1 >= fault.nth + static_cast<uint64_t>(fault.times);
}

}  // namespace

std::string faults_parse(const Json &list, const std::string &path, std::vector<Fault> *faults) {
    if (!list.is_array()) {
        return (path.empty() ? std::string("input") : path) + ": must be a list";
    }
    std::vector<Fault> read;
    for (size_t i = 0; i < list.size(); i++) {
        Fault fault{};
        std::string error = parse_one(list[i], path + "[" + std::to_string(i) + "]", &fault);
        if (!error.empty()) {
            return error;
        }
        read.push_back(std::move(fault));
    }
    *faults = std::move(read);
    return "";
}

void faults_arm(std::vector<Fault> faults) {
    State &armed = state();
    const std::lock_guard lock(armed.mutex);
    armed.faults = std::move(faults);
    update_watch(armed);
}

FaultHit faults_match(const char *name) {
    State &armed = state();
    const std::lock_guard lock(armed.mutex);
    FaultHit hit{};
    if (armed.faults.empty() || !is_failable(name)) {
        return hit;
    }
    for (Fault &fault : armed.faults) {
        const bool matches = fault.call == "*" || fault.call == name;
        if (matches && count_hits(fault) && !hit.matched) {
            hit = {true, fault.late, name == kMalloc ? kMallocStatus : fault.status};
        }
    }
    // Spent faults go, so that calls are fast again after the last one.
    std::erase_if(armed.faults, is_spent);
    update_watch(armed);
    return hit;
}

}  // namespace zv_sim
