#include "tests/fire/story/fault_count.h"

#include <algorithm>
#include <array>

namespace zv_fire {

bool is_failable(std::string_view call) {
    // The calls of a trace that have no status to fail with; every other one has.
    constexpr std::array<std::string_view, 4> kWithoutStatus = {
        "cl_free", "zv_rpc_change_main_exit_signal_state", "zv_rpc_register_log_function",
        "zv_status_str"};
    return std::find(kWithoutStatus.begin(), kWithoutStatus.end(), call) == kWithoutStatus.end();
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
