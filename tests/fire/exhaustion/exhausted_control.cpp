// Lines on the switch's control socket without memory: its thread lives in the daemon's process.
#include "tests/fire/exhaustion/exhaustion.h"

namespace zv_fire {

using zv_test::TestClient;

namespace {

struct Line {
    const char *name;
    std::string text;
};

std::string nested(size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

std::vector<Line> lines() {
    const std::string key(256, '0');
    return {
        {"state", R"({"cmd":"state"})"},
        {"usage", R"({"cmd":"usage"})"},
        {"faults", R"({"cmd":"faults","set":[{"call":"zv_net_init","nth":9,"status":5}]})"},
        {"packet", R"({"cmd":"packet","log_port":65537,"direction":0,"key_type":0,"key":")" + key +
                       R"(","length":64})"},
        {"ports", R"({"cmd":"ports","set":[{"log_port":65537,"kind":0,"name":"p1"}]})"},
        {"corrupt", R"({"cmd":"corrupt","region_id":1,"offset":0})"},
        {"trace", R"({"cmd":"trace","lines":5})"},
        {"garbage", "{\"cmd\":[[1,2,{\"a\":[1]}],"},
        {"nested lists", nested(300)},
    };
}

// Whether an allocation failed.
bool exhaust_line(const Line &line, uint64_t nth, const Mode &mode, Report &report) {
    const std::string what = std::string("control ") + line.name + ", allocation " +
                             std::to_string(nth) + " " + mode.name;
    tally.runs++;
    Faults faults;
    zv_test::DaemonProcess daemon(failing_daemon(faults));
    TestClient one(daemon);
    TestClient other(daemon, ZV_ACL_RM_OWNER_TARN_OS);
    const acl_rm_acl acl = one.make_acl(64);
    one.write_rules(acl.acl_id, zv_test::make_rules(0, 3));
    daemon.allow_error_lines();
    const std::string path = daemon.root().file("var/run/zv_switch.sock");

    faults.arm_allocations(nth, mode.times, FIRE_OTHER_THREADS);
    ControlLine asked(path);
    asked.send(line.text);
    // Where all memory is out the answer may have to wait until there is some.
    const bool moved = wait_until(
        [&] { return asked.ended() || !daemon.running() || faults.allocations_failed() > 20; });
    faults.disarm_allocations();
    if (!report.expect(moved && daemon.running(), what + ": the daemon is gone or hangs")) {
        return faults.allocations_failed() > 0;
    }
    const std::optional<std::string> answer = asked.answer();
    report.expect(answer.has_value(), what + ": neither an answer nor an end");
    tally.failed += faults.allocations_failed();
    (answer && answer->find("\"ok\":true") != std::string::npos ? tally.carried_out
                                                                : tally.refused)++;
    daemon.control().state();
    expect_served(report, what, one, other);
    return faults.allocations_failed() > 0;
}

void exhaust(const Line &line, Report &report) {
    for (const Mode &mode : kModes) {
        uint64_t nth = 1;
        while (exhaust_line(line, nth, mode, report)) {
            nth++;
        }
    }
}

}  // namespace

std::vector<Case> control_cases() {
    std::vector<Case> cases;
    for (const Line &line : lines()) {
        cases.push_back({std::string("control: ") + line.name,
                         [line](Report &report) { exhaust(line, report); }});
    }
    return cases;
}

}  // namespace zv_fire
