// fire_stops - stops the daemon at random moments, many times, and demands a good end each time.
//
// A round is a daemon in a directory of its own, a moment (plan.h), one or two stop signals, and a
// look at what was left: the exit status, how long the end took, the platform calls of the
// tear-down, the connector's hooks, the log, the replies of whoever was connected, the socket's
// file and those of neighbours. With --kill the signal is SIGKILL, and it is the next daemon at
// the same place that is looked at. A failure names its seed: --seed S --count 1 repeats it.
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <map>
#include <thread>

#include "tests/fire/stops/stop_round.h"
#include "tests/fire/support/command_line.h"
#include "tests/fire/support/fire_report.h"
#include "tests/support/daemon_process.h"

namespace zv_fire {
namespace {

struct Options {
    uint64_t seed = 1;
    uint32_t count = 1000;
    uint32_t jobs = 2;
    bool kill = false;
    bool without_abort = false;
    std::string daemon = zv_test::daemon_path();
    std::string library_path;
    std::string json;
};

// A report of a sanitizer ends the daemon with a status that nobody expects, at once.
Launch launch_of(const Options &options) {
    Launch launch;
    launch.program = options.daemon;
    launch.library_path = options.library_path;
    launch.environment = {
        {"ASAN_OPTIONS", "exitcode=66"},
        {"LSAN_OPTIONS", "exitcode=66"},
        {"TSAN_OPTIONS", "exitcode=66:atexit_sleep_ms=0:halt_on_error=1"},
        {"UBSAN_OPTIONS", "exitcode=66:halt_on_error=1:print_stacktrace=1"},
    };
    return launch;
}

// The middle one of some starts; 0 when the daemon does not even start undisturbed.
std::chrono::microseconds time_to_serve(const Launch &launch) {
    std::vector<std::chrono::microseconds> times;
    for (int i = 0; i < 5; ++i) {
        const zv_test::TempDir place;
        const auto start = Clock::now();
        FreeDaemon daemon(place, launch);
        if (!daemon.wait_until_serving()) {
            std::cerr << "the daemon does not serve:\n" << daemon.err();
            return std::chrono::microseconds(0);
        }
        times.push_back(
            std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start));
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

// Sums over all rounds; filled by several threads.
struct Totals {
    std::mutex mutex;
    std::map<std::string, uint64_t> rounds;  // by moment
    uint64_t before_caught = 0;
    uint64_t replies = 0;
    uint64_t refusals = 0;
    Times end_us;

    void add(const Plan &plan, const Outcome &outcome) {
        const std::lock_guard lock(mutex);
        ++rounds[name_of(plan.moment)];
        before_caught += outcome.before_signals_were_caught;
        replies += outcome.replies;
        refusals += outcome.refusals;
        end_us.add(std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double, std::milli>(outcome.end_ms)));
    }
};

// A kill knows no neighbours: those rounds take the moments before them once more.
void leave_out_neighbours(Plan &plan) {
    plan.moment = static_cast<Moment>(static_cast<uint32_t>(plan.moment) %
                                      static_cast<uint32_t>(Moment::kRival));
    plan.with_plugins = plan.with_plugins || plan.moment == Moment::kPluginLoad ||
                        plan.moment == Moment::kPluginStart;
}

Outcome one_round(const Options &options, const Launch &launch, const Plan &plan) {
    if (options.kill) {
        return kill_round(launch, plan);
    }
    return plan.moment >= Moment::kRival ? neighbour_round(launch, plan) : stop_round(launch, plan);
}

void run_rounds(const Options &options, const Launch &launch, std::chrono::microseconds to_serve,
                Report &report, Totals &totals) {
    std::atomic<uint32_t> next{0};
    std::atomic<uint32_t> next_seed{0};
    const auto round = [&] {
        Plan plan = plan_of(options.seed + next_seed++, to_serve);
        if (options.kill) {
            leave_out_neighbours(plan);
        }
        if (options.without_abort) {
            std::replace(plan.signals.begin(), plan.signals.end(), SIGABRT, SIGTERM);
        }
        const Outcome outcome = one_round(options, launch, plan);
        for (const std::string &failure : outcome.failures) {
            report.failure("--seed " + std::to_string(plan.seed) + " --count 1 (" +
                           plan.describe() + "): " + failure);
        }
        totals.add(plan, outcome);
        return outcome;
    };
    const auto work = [&] {
        for (uint32_t i = next++; i < options.count; i = next++) {
            // A signal before the daemon catches any proves nothing of its end: those come on top.
            while (round().before_signals_were_caught) {
            }
            report.progress(std::to_string(i + 1) + " of " + std::to_string(options.count) +
                            " rounds, " + std::to_string(report.failures()) + " failures");
        }
    };
    std::vector<std::thread> workers;
    for (uint32_t i = 0; i < std::max(options.jobs, 1u); ++i) {
        workers.emplace_back(work);
    }
    for (std::thread &worker : workers) {
        worker.join();
    }
}

int run(const Options &options) {
    Report report(options.kill ? "fire_stops_kill" : "fire_stops", options.json);
    const Launch launch = launch_of(options);
    const auto to_serve = time_to_serve(launch);
    if (!report.expect(to_serve.count() > 0, "the daemon does not start")) {
        return report.finish();
    }
    Totals totals;
    run_rounds(options, launch, to_serve, report, totals);
    report.figure("seed", options.seed);
    report.figure("rounds", options.count);
    report.figure("rounds_by_moment_with_those_on_top", totals.rounds);
    report.figure("died_before_signals_were_caught", totals.before_caught);
    report.figure("replies_delivered_or_refused", totals.replies);
    report.figure("replies_shutting_down", totals.refusals);
    report.figure("time_to_serve_ms", static_cast<double>(to_serve.count()) / 1000);
    report.figure("end_ms_median", totals.end_us.percentile_us(50) / 1000);
    report.figure("end_ms_p99", totals.end_us.percentile_us(99) / 1000);
    report.figure("end_ms_max", totals.end_us.max_us() / 1000);
    return report.finish();
}

}  // namespace
}  // namespace zv_fire

int main(int argc, char **argv) {
    zv_fire::Options options;
    zv_fire::CommandLine line(
        "Stops the daemon at random moments and demands a good end each time.");
    line.option("--seed", options.seed, "Seed of the first round; each one after it has the next");
    line.option("--count", options.count, "Rounds");
    line.option("--jobs", options.jobs, "Rounds at a time");
    line.flag("--kill", options.kill,
              "Kill instead, and demand that the next daemon at the place serves");
    line.flag("--without-abort", options.without_abort,
              "TERM in place of ABRT: the thread sanitizer takes an ABRT for the thread's own "
              "fault and runs its handler at once, be it inside its own locks");
    line.option("--daemon", options.daemon, "The daemon's binary");
    line.option("--library-path", options.library_path,
                "Directory of the platform libraries that belong to it");
    line.option("--json", options.json, "Write the figures to this file");
    if (const auto status = line.parse(argc, argv)) {
        return *status;
    }
    return zv_fire::run(options);
}
