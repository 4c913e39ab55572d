// Starting and stopping without memory, and a reply that has to wait for its client.
#include <signal.h>

#include "tests/fire/exhaustion/exhaustion.h"

namespace zv_fire {

using zv_test::DaemonOptions;
using zv_test::DaemonProcess;
using zv_test::ExitStatus;
using zv_test::RpcConnection;
using zv_test::TestClient;

namespace {

struct Start {
    const char *name;
    void (*adapt)(DaemonOptions &options);
};

const Start kStarts[] = {
    {"plain", [](DaemonOptions & /*options*/) {}},
    {"with faults, a configuration and a trace file",
     [](DaemonOptions &options) {
         options.faults = {{{"call", "zv_net_ports_get_all"}, {"nth", 9}, {"status", 5}}};
         options.config = {{"regions", 100}, {"ports", {{{"log_port", 65537}, {"name", "p1"}}}}};
         options.environment["ZV_TRACE_FILE"] = "/proc/no/such/place";
     }},
    {"with a connector", [](DaemonOptions &options) { options.rpc_verbosity = 4; }},
};

bool answers(const DaemonProcess &daemon) {
    std::optional<RpcConnection> connection = RpcConnection::open(daemon.socket_path());
    return connection && connection->call(0, {}).has_value();
}

void judge_end(Report &report, const std::string &what, uint64_t nth, const Mode &mode,
               DaemonProcess &daemon) {
    const ExitStatus end = daemon.wait_exit();
    tally.refused++;
    // Without its reserve, its first allocation, the C++ runtime cannot throw; nothing of the
    // daemon has run by then.
    const bool no_runtime = nth == 1 && mode.times == kFromThenOn;
    report.expect((end.exited && end.code != 0) || no_runtime,
                  what + ": it did not serve and ended " +
                      (end.exited ? "with exit status " + std::to_string(end.code)
                                  : "by signal " + std::to_string(end.signal)));
    report.expect(!daemon.err().empty(), what + ": it ended without a word");
}

// Whether an allocation failed.
bool start_without_memory(const Start &start, uint64_t nth, const Mode &mode, Report &report) {
    const std::string what = std::string("start ") + start.name + ", allocation " +
                             std::to_string(nth) + " " + mode.name;
    tally.runs++;
    Faults faults;
    DaemonOptions options = failing_daemon(faults);
    options.wait_until_serving = false;
    start.adapt(options);
    faults.arm_allocations(nth, mode.times, FIRE_ANY_THREAD);
    DaemonProcess daemon(options);
    daemon.allow_error_lines();
    const bool settled = wait_until([&] { return !daemon.running() || answers(daemon); });
    const bool failed = faults.allocations_failed() > 0;
    tally.failed += faults.allocations_failed();
    faults.disarm_allocations();
    report.expect(settled, what + ": it neither serves nor ends");
    if (!daemon.running()) {
        judge_end(report, what, nth, mode, daemon);
        return failed;
    }
    tally.carried_out += failed ? 1 : 0;
    {
        TestClient one(daemon);
        TestClient other(daemon, ZV_ACL_RM_OWNER_TARN_OS);
        expect_served(report, what, one, other);
    }
    // Kept: the daemon serves without the thread that would stop it, and says so.
    if (daemon.err().find("cl_thread_init (terminator) error: ") != std::string::npos) {
        tally.unstoppable++;
        daemon.signal(SIGKILL);
        daemon.wait_exit();
        return failed;
    }
    daemon.signal(SIGTERM);
    const bool ended = wait_until([&] { return !daemon.running(); });
    if (!report.expect(ended, what + ": it cannot be stopped")) {
        daemon.signal(SIGKILL);
    }
    const ExitStatus end = daemon.wait_exit();
    report.expect(!ended || end == ExitStatus::exit(0), what + ": it did not end well");
    return failed;
}

bool stop_without_memory(uint64_t nth, const Mode &mode, Report &report) {
    const std::string what = "stop, allocation " + std::to_string(nth) + " " + mode.name;
    tally.runs++;
    Faults faults;
    DaemonProcess daemon(failing_daemon(faults));
    TestClient one(daemon);
    const acl_rm_acl acl = one.make_acl(64);
    one.write_rules(acl.acl_id, zv_test::make_rules(0, 3));
    faults.arm_allocations(nth, mode.times, FIRE_ANY_THREAD);
    const ExitStatus end = daemon.stop();
    report.expect(end == ExitStatus::exit(0), what + ": it did not end well");
    tally.failed += faults.allocations_failed();
    return faults.allocations_failed() > 0;
}

// The client's socket takes no reply, and there is no memory to keep it in.
void reply_without_memory(Report &report) {
    const std::string what = "a reply that waits";
    tally.runs++;
    Faults faults;
    DaemonProcess daemon(failing_daemon(faults));
    TestClient one(daemon);
    TestClient other(daemon, ZV_ACL_RM_OWNER_TARN_OS);
    RpcConnection connection = daemon.connect();
    faults.arm(0, {FIRE_send, EAGAIN, "libzv_rpc"}, FIRE_MAIN_THREAD);
    faults.arm_allocations(1, kFromThenOn, FIRE_MAIN_THREAD);
    const auto reply = connection.call(0, {});
    faults.disarm_allocations();
    faults.disarm_calls();
    report.expect(!reply.has_value(), what + ": answered without memory to keep the reply in");
    report.expect(faults.allocations_failed() > 0, what + ": no allocation failed");
    tally.failed += faults.allocations_failed();
    tally.refused++;
    expect_served(report, what, one, other);
}

template <class Run>
void exhaust(const Run &run) {
    for (const Mode &mode : kModes) {
        uint64_t nth = 1;
        while (run(nth, mode)) {
            nth++;
        }
    }
}

}  // namespace

std::vector<Case> start_cases() {
    std::vector<Case> cases;
    for (const Start &start : kStarts) {
        cases.push_back({std::string("start: ") + start.name, [&start](Report &report) {
                             exhaust([&](uint64_t nth, const Mode &mode) {
                                 return start_without_memory(start, nth, mode, report);
                             });
                         }});
    }
    cases.push_back({"stop", [](Report &report) {
                         exhaust([&](uint64_t nth, const Mode &mode) {
                             return stop_without_memory(nth, mode, report);
                         });
                     }});
    cases.push_back({"reply", reply_without_memory});
    return cases;
}

}  // namespace zv_fire
