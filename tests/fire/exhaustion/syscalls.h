// syscalls.h - the table of fire_syscalls: which call fails how, when, and what is to come of it.
#ifndef ZV_TESTS_FIRE_EXHAUSTION_SYSCALLS_H
#define ZV_TESTS_FIRE_EXHAUSTION_SYSCALLS_H

#include <map>
#include <string>
#include <vector>

#include "tests/fire/exhaustion/cases.h"

namespace zv_fire {

// Who makes a call, as CallFault names it.
inline constexpr const char *kRpc = "libzv_rpc";
inline constexpr const char *kLog = "libzv_log";
inline constexpr const char *kSwitch = "libzv_api";
inline constexpr const char *kDaemon = "zv_acl_rm";

// From the start of the process on.
enum class StartEnd { kServes, kRefuses };

struct StartRow {
    CallFault fault;
    StartEnd end;
    std::string line;  // a part of what it writes; empty: nothing is demanded
    // Needed to get there: a connector, a trace file, one that is there already, the trace of
    // calls, one that must lack no line, a configuration, one that is refused.
    enum Need {
        kNothing,
        kConnector,
        kTraceFile,
        kOldTraceFile,
        kTrace,
        kWholeTrace,
        kConfig,
        kBadConfig
    } need = kNothing;
    bool has_control = true;  // the switch's control socket is there in the end
    bool can_stop = true;     // by a signal
};

// While it serves.
struct ServingRow {
    const char *what;
    std::vector<CallFault> faults;
    // A step of a client's under these faults; "" when it went as it must, else what was wrong.
    std::string (*step)(zv_test::DaemonProcess &daemon, zv_test::TestClient &one);
    std::string line;  // a part of what the daemon writes
    std::map<std::string, std::string> environment = {};
    // At its end only: the loop sees nothing any more but that it is to stop, so that whatever
    // clients send now is left for the end itself.
    bool is_deaf = false;
};

// With a plug-in of the daemon's own, or none, from its start to its end.
struct PluginRow {
    const char *what;
    std::vector<CallFault> faults;
    // Looks at the plug-in's file, or at standard error, when the daemon has ended; "" when it is
    // as it must be.
    std::string (*look)(const std::string &text);
};

std::vector<StartRow> start_rows();
std::vector<StartRow> control_start_rows();
std::vector<ServingRow> serving_rows();
std::vector<ServingRow> control_rows();
std::vector<ServingRow> file_rows();
std::vector<ServingRow> stop_rows();
std::vector<PluginRow> log_rows();
std::vector<PluginRow> logger_rows();
std::vector<PluginRow> connector_rows();

}  // namespace zv_fire

#endif
