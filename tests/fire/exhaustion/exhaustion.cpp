// fire_exhaustion - every allocation of the daemon and of the platform under it fails in turn.
//
// Each case takes one thing that the daemon does (a start, a command, a line on the switch's
// control socket, a stop) and does it again and again, each time with a fresh daemon whose nth
// allocation fails, alone or with all that follow it, for n = 1, 2, 3 ... until none fails.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/fire/exhaustion/exhaustion.h"
#include "tests/fire/support/command_line.h"

namespace zv_fire {
Tally tally;
}

int main(int argc, char **argv) {
    std::string json_path;
    std::string only;
    unsigned jobs = 2;
    zv_fire::CommandLine line(
        "Every allocation of the daemon fails in turn: at its start, in each command, at "
        "its end.");
    line.option("--jobs", jobs, "Cases side by side");
    line.option("--only", only, "Only cases whose name contains this");
    line.option("--json", json_path, "Write the figures to this file");
    line.option("--daemon", zv_fire::daemon_program, "Another build of the daemon");
    line.option("--libraries", zv_fire::daemon_libraries, "Its platform libraries");
    if (const auto status = line.parse(argc, argv)) {
        return *status;
    }
    testing::InitGoogleTest();
    unsetenv("ZV_PLATFORM_ROOT");

    zv_fire::Report report("fire_exhaustion", json_path);
    std::vector<zv_fire::Case> cases;
    for (const auto list : {zv_fire::start_cases, zv_fire::request_cases, zv_fire::control_cases}) {
        for (zv_fire::Case &next : list()) {
            cases.push_back(std::move(next));
        }
    }
    zv_fire::run_cases(cases, jobs, only, report);
    report.figure("daemons_started", zv_fire::tally.runs.load());
    report.figure("failed_allocations", zv_fire::tally.failed.load());
    report.figure("refused", zv_fire::tally.refused.load());
    report.figure("carried_out_without_the_memory", zv_fire::tally.carried_out.load());
    report.figure("served_without_terminator", zv_fire::tally.unstoppable.load());
    report.figure("objects_left_in_the_switch_alone", zv_fire::tally.drifts.load());
    return report.finish();
}
