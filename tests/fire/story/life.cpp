#include "tests/fire/story/life.h"

namespace zv_fire {

namespace {

// What a fault in a call of the start leads to.
enum class Then {
    kGoesOn,
    kGoesOnUnlessEarly,  // an early fault ends the daemon with the code
    kServesWithoutStop,  // an early fault leaves nobody who waits for a signal
    kEnds,
};

struct StartCall {
    const char *name;
    bool traced;
    Then then;
    int exit_code;
    bool releases;  // the network library is told, when the daemon ends here
};

constexpr StartCall kStart[] = {
    {"zv_log_init", false, Then::kEnds, 1, false},
    {"zv_rpc_change_main_exit_signal_state", true, Then::kGoesOn, 0, false},
    {"cl_thread_init", true, Then::kServesWithoutStop, 0, false},
    // Without its counters the release ends at its first step.
    {"cl_qpool_init", true, Then::kEnds, 1, false},
    {"zv_rpc_register_log_function", true, Then::kGoesOn, 0, false},
    {"zv_rpc_core_td_init", true, Then::kEnds, 1, true},
    {"zv_rpc_api_rpc_command_db_init", true, Then::kEnds, 1, true},
    {"zv_net_init", true, Then::kEnds, 1, true},
    // It stands in the trace when it returns, which it does not while the daemon serves.
    {"zv_rpc_core_td_start_loop", false, Then::kGoesOnUnlessEarly, 0, true},
};

}  // namespace

Beginning expected_beginning(FaultCount &faults) {
    Beginning beginning;
    for (const StartCall &call : kStart) {
        const Hit hit = faults.count(call.name);
        if (call.traced) {
            beginning.calls.push_back(call.name);
        }
        if (call.then == Then::kServesWithoutStop && hit == Hit::kEarly) {
            beginning.stops_on_signal = false;
        }
        const bool ends = (call.then == Then::kEnds && hit != Hit::kNone) ||
                          (call.then == Then::kGoesOnUnlessEarly && hit == Hit::kEarly);
        if (!ends) {
            continue;
        }
        if (call.then == Then::kGoesOnUnlessEarly) {
            beginning.calls.push_back(call.name);
        }
        if (call.releases) {
            beginning.calls.push_back("zv_net_deinit");
        }
        beginning.serves = false;
        beginning.exit_code = call.exit_code;
        return beginning;
    }
    return beginning;
}

Ending expected_ending(FaultCount &faults, bool switch_is_open) {
    Ending ending;
    ending.calls = {"zv_rpc_change_main_exit_signal_state", "zv_rpc_api_rpc_command_db_deinit"};
    if (faults.count("zv_rpc_api_rpc_command_db_deinit") != Hit::kNone) {
        ending.exit_code = 1;
        return ending;
    }
    if (switch_is_open) {
        ending.calls.push_back("zv_api_close");
        if (faults.count("zv_api_close") != Hit::kNone) {
            ending.exit_code = 1;
            return ending;
        }
    }
    // A failure of the network library is logged and does not hold the release up.
    ending.calls.push_back("zv_net_deinit");
    faults.count("zv_net_deinit");
    faults.count("zv_log_close");
    return ending;
}

}  // namespace zv_fire
