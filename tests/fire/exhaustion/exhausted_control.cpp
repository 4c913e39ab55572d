// Lines on the switch's control socket without memory: its thread lives in the daemon's process.
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "tests/fire/exhaustion/exhaustion.h"
#include "tests/fire/support/process_figures.h"

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
        {"nested lists", nested(60)},
    };
}

constexpr int64_t kUnknown = std::numeric_limits<int64_t>::max();

struct LineOutcome {
    bool failed = false;  // an allocation did
    int64_t live = 0;     // allocations of all threads in the end
};

// What all threads hold once the line was carried out without a failure too, so that what it
// changes for good is the same in every run. The control thread lets go after it has answered:
// waited for.
int64_t live_at_rest(const Faults &faults, const std::string &path, const Line &line,
                     int64_t at_most) {
    {
        ControlLine again(path);
        again.send(line.text);
        again.answer();
    }
    int64_t live = kUnknown;
    int looks = 0;  // that found the same
    wait_until([&] {
        const int64_t before = live;
        live = faults.live_of_main() + faults.live_of_others();
        looks = live == before ? looks + 1 : 0;
        // Where the figure is not known yet, it is the one that stays.
        return at_most == kUnknown ? looks == 500 : live <= at_most;
    });
    return live;
}

// `nth` 0: none fails. `at_most`: what such a run holds in the end, or kUnknown.
LineOutcome exhaust_line(const Line &line, uint64_t nth, const Mode &mode, int64_t at_most,
                         Report &report) {
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
    // With those of both clients, and of the test's own connection to the control socket.
    daemon.control().state();
    const size_t descriptors = descriptors_of(daemon.pid()).size();

    faults.arm_allocations(nth, mode.times, FIRE_OTHER_THREADS);
    std::optional<ControlLine> asked(std::in_place, path);
    asked->send(line.text);
    // Where all memory is out the answer may have to wait until there is some.
    const bool moved = wait_until(
        [&] { return asked->ended() || !daemon.running() || faults.allocations_failed() > 20; });
    faults.disarm_allocations();
    if (!report.expect(moved && daemon.running(), what + ": the daemon is gone or hangs")) {
        return {faults.allocations_failed() > 0, 0};
    }
    const std::optional<std::string> answer = asked->answer();
    asked.reset();
    report.expect(answer.has_value(), what + ": neither an answer nor an end");
    tally.failed += faults.allocations_failed();
    (answer && answer->find("\"ok\":true") != std::string::npos ? tally.carried_out
                                                                : tally.refused)++;
    daemon.control().state();
    expect_served(report, what, one, other);
    const int64_t live = live_at_rest(faults, path, line, at_most);
    // Those of the lines asked meanwhile are closed after their clients have gone: waited for.
    const bool same =
        wait_until([&] { return descriptors_of(daemon.pid()).size() <= descriptors; });
    report.expect(same, what + ": descriptors are left open");
    report.expect(live <= at_most, what + ": " + std::to_string(live - at_most) + " blocks leaked");
    return {faults.allocations_failed() > 0, live};
}

void exhaust(const Line &line, Report &report) {
    const int64_t whole = exhaust_line(line, 0, kModes[0], kUnknown, report).live;
    for (const Mode &mode : kModes) {
        uint64_t nth = 1;
        while (exhaust_line(line, nth, mode, whole, report).failed) {
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
