// fire_sweep: each platform call of each scenario fails once, in every way, and the model says what
// has to become of it.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <sstream>

#include "tests/fire/story/program.h"
#include "tests/fire/story/story_run.h"
#include "tests/fire/support/command_line.h"
#include "tests/fire/sweep/scenario.h"

namespace zv_fire {
namespace {

using nlohmann::json;

constexpr size_t kFewestRuns = 20000;
// A story of more requests than this costs a second: its calls fail with one status, and once.
constexpr size_t kHeavySteps = 300;
constexpr uint32_t kStatuses[] = {5, 4, 77};  // no room, another known one, one that is none

struct Options {
    std::string scenario;
    uint64_t call = 0;  // 0: every call
    uint32_t status = 5;
    bool late = false;
    int64_t times = 1;
    size_t every = 1;
    unsigned jobs = 2;
    uint64_t seed = 1;
    std::string json_path;
    std::string daemon;
    bool verbose = false;
    bool list = false;
};

struct Fault {
    uint64_t call;  // the how-manieth
    uint32_t status;
    bool late;
    int64_t times;
};

struct Job {
    size_t scenario;
    Fault fault;
    std::string call;  // the name of the first call to fail, as the run without faults made it
};

class Sweep {
  public:
    explicit Sweep(const Options &options) : options_(options) {}
    int run();

  private:
    void collect();
    void run_clean();
    void run_faulty();
    void thin_out();
    void add_jobs(size_t scenario, const StoryRun &run);
    void look_at(const Job &job, const StoryRun &run);
    void tell(const std::string &name, const std::string &repeat, const StoryRun &run);
    StoryOptions story_options() const;
    int finish(double seconds);

    const Options &options_;
    std::vector<Scenario> scenarios_;
    std::vector<Story> stories_;
    std::vector<Job> jobs_;
    std::map<std::string, size_t> hits_;  // of each platform call
    std::atomic<size_t> requests_{0};
    size_t runs_num_ = 0, possible_num_ = 0, failures_num_ = 0;
    std::mutex mutex_;
};

StoryOptions Sweep::story_options() const {
    StoryOptions options;
    options.program = options_.daemon;
    options.tells_all = options_.verbose;
    options.checks_cache = true;
    return options;
}

void Sweep::collect() {
    for (const auto &topic : {session_scenarios, acl_scenarios, rule_scenarios, binding_scenarios,
                              forwarding_scenarios, long_scenarios, matrix_scenarios}) {
        for (const Scenario &scenario : topic()) {
            if (options_.scenario.empty() || options_.scenario == scenario.name) {
                scenarios_.push_back(scenario);
                Script script;
                scenario.write(script);
                stories_.push_back(script.story());
            }
        }
    }
}

void Sweep::tell(const std::string &name, const std::string &repeat, const StoryRun &run) {
    const std::lock_guard lock(mutex_);
    ++failures_num_;
    std::ostringstream text;
    text << "\nFAILED " << name << ", request " << run.steps_num() << "\n";
    for (const std::string &difference : run.differences()) {
        text << "  - " << difference << "\n";
    }
    text << "  again: fire_sweep --scenario " << repeat << " --verbose\n";
    std::cout << text.str() << std::flush;
}

// A heavy story fills tables first; only what follows is worth a run each.
void Sweep::add_jobs(size_t scenario, const StoryRun &run) {
    const auto &calls = run.failable_calls();
    const bool fills = std::any_of(calls.begin(), calls.end(),
                                   [](const StoryRun::Failable &call) { return call.quiet; });
    const bool heavy = stories_[scenario].steps.size() > kHeavySteps;
    bool filled = !fills;
    for (size_t i = 0; i < calls.size(); ++i) {
        filled = filled || calls[i].quiet;
        if (!filled || calls[i].quiet) {
            continue;
        }
        for (const uint32_t status : kStatuses) {
            for (const bool late : {false, true}) {
                for (const int64_t times : {1, -1}) {
                    if (!heavy || (status == kStatuses[0] && times == 1)) {
                        jobs_.push_back({scenario, {i + 1, status, late, times}, calls[i].call});
                    }
                }
            }
        }
    }
}

void Sweep::run_clean() {
    const auto make_work = [&]() -> Work {
        auto place = std::make_shared<Place>();
        return [this, place](size_t index) {
            StoryOptions options = story_options();
            options.skip = scenarios_[index].skip;
            const auto run = run_story(*place, stories_[index], options);
            requests_ += run->steps_num();
            if (!run->differences().empty()) {
                tell(scenarios_[index].name, scenarios_[index].name, *run);
            }
            const std::lock_guard lock(mutex_);
            add_jobs(index, *run);
            return true;
        };
    };
    run_parallel(options_.jobs, stories_.size(), make_work);
    runs_num_ += stories_.size();
}

// The same runs each time: an order of our own, the first of which are taken.
void Sweep::thin_out() {
    std::sort(jobs_.begin(), jobs_.end(), [](const Job &a, const Job &b) {
        return std::tie(a.scenario, a.fault.call, a.fault.status, a.fault.late, a.fault.times) <
               std::tie(b.scenario, b.fault.call, b.fault.status, b.fault.late, b.fault.times);
    });
    possible_num_ = jobs_.size();
    const size_t wanted = std::max(jobs_.size() / options_.every, kFewestRuns);
    if (wanted >= jobs_.size()) {
        return;
    }
    std::mt19937_64 random(options_.seed);
    for (size_t i = jobs_.size(); i > 1; --i) {
        std::swap(jobs_[i - 1], jobs_[random() % i]);
    }
    jobs_.resize(wanted);
}

void Sweep::look_at(const Job &job, const StoryRun &run) {
    requests_ += run.steps_num();
    const Fault &fault = job.fault;
    const std::string name = scenarios_[job.scenario].name;
    std::ostringstream repeat;
    repeat << name << " --call " << fault.call << " --status " << fault.status
           << (fault.late ? " --late" : "") << " --times " << fault.times;
    if (!run.differences().empty()) {
        tell(repeat.str(), repeat.str(), run);
        return;
    }
    const std::lock_guard lock(mutex_);
    if (run.hits_num() == 0) {
        ++failures_num_;
        std::cout << "\nFAILED " << repeat.str() << ": no call met the fault\n";
    } else {
        ++hits_[job.call];
    }
}

void Sweep::run_faulty() {
    Progress progress("runs", jobs_.size());
    const auto make_work = [&]() -> Work {
        auto place = std::make_shared<Place>();
        return [this, place, &progress](size_t index) {
            const Job &job = jobs_[index];
            StoryOptions options = story_options();
            options.faults = json::array({{{"call", "*"},
                                           {"nth", job.fault.call},
                                           {"status", job.fault.status},
                                           {"late", job.fault.late},
                                           {"times", job.fault.times}}});
            look_at(job, *run_story(*place, stories_[job.scenario], options));
            progress.add(1);
            return true;
        };
    };
    run_parallel(options_.jobs, jobs_.size(), make_work);
    runs_num_ += jobs_.size();
}

int Sweep::finish(double seconds) {
    json figures = {{"scenarios", scenarios_.size()},
                    {"runs", runs_num_},
                    {"possible_runs", possible_num_},
                    {"requests", requests_.load()},
                    {"calls_failed", hits_}};
    printf("%zu scenarios, %zu runs of %zu possible, %zu requests, %zu failures, %.1f s\n",
           scenarios_.size(), runs_num_, possible_num_ + scenarios_.size(), requests_.load(),
           failures_num_, seconds);
    for (const auto &[call, num] : hits_) {
        printf("  %-40s failed in %zu runs\n", call.c_str(), num);
    }
    write_result(options_.json_path, "fire_sweep", seconds, failures_num_, figures);
    return failures_num_ == 0 ? 0 : 1;
}

int Sweep::run() {
    const auto begun = std::chrono::steady_clock::now();
    collect();
    if (scenarios_.empty()) {
        std::cerr << "no such scenario; --list names them\n";
        return 2;
    }
    if (options_.list) {
        for (const Scenario &scenario : scenarios_) {
            std::cout << scenario.name << '\n';
        }
        return 0;
    }
    if (options_.call != 0) {
        for (size_t i = 0; i < scenarios_.size(); ++i) {
            jobs_.push_back({i,
                             {options_.call, options_.status, options_.late, options_.times},
                             "call " + std::to_string(options_.call)});
        }
        possible_num_ = jobs_.size();
    } else {
        run_clean();
        thin_out();
    }
    run_faulty();
    return finish(std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count());
}

}  // namespace
}  // namespace zv_fire

int main(int argc, char *argv[]) {
    zv_fire::Options options;
    zv_fire::CommandLine line(
        "Fails each platform call of each scenario, one at a time and in every way, and "
        "compares what the daemon does with the model.");
    line.option("--scenario", options.scenario, "only this one");
    line.option("--call", options.call, "only this call, counted from the daemon's start");
    line.option("--status", options.status, "the status it fails with (with --call)");
    line.flag("--late", options.late, "it does its work before it fails (with --call)");
    line.option("--times", options.times, "how many calls fail, -1: all from there on");
    line.count("--every", options.every, "run only one in so many, but at least 20000");
    line.option("--seed", options.seed, "which ones --every leaves");
    line.count("--jobs", options.jobs, "how many run at the same time");
    line.option("--json", options.json_path, "writes the figures to this file");
    line.option("--daemon", options.daemon, "another build of the daemon");
    line.flag("--verbose", options.verbose, "tells every request and call");
    line.flag("--list", options.list, "names the scenarios");
    if (const auto status = line.parse(argc, argv)) {
        return *status;
    }
    return zv_fire::Sweep(options).run();
}
