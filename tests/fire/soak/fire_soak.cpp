// fire_soak - a million requests of every kind, and nothing left behind.
//
// Lanes (lane.h) make, use and take away every kind of object. When they have warmed up, and again
// at the end, all objects are gone: then the tables and the switch have to be empty, the daemon has
// to have the descriptors it had, and no more memory than the tolerance. Every tenth of the way the
// cache is compared with the switch while everything is in use.
//
// The first half warms up: until then the allocator's pieces are cut. The tolerance for
// memory is 16 pages, since what it was given back may be cut in another way later. A leak of a
// single byte a request would be 120 pages in half a million requests.
#include <unistd.h>

#include "tests/fire/soak/capacity.h"
#include "tests/fire/soak/lane.h"
#include "tests/fire/support/command_line.h"
#include "tests/fire/support/fire_report.h"
#include "tests/fire/support/other_build.h"
#include "tests/fire/support/process_figures.h"
#include "tests/support/cache_check.h"

namespace zv_fire {
namespace {

using namespace zv_test;

constexpr uint32_t kLanes = 16;
constexpr uint64_t kTolerancePages = 16;
constexpr uint64_t kWarmUpTenths = 5;

struct Options {
    uint64_t seed = 1;
    uint64_t requests = 1000000;
    std::string daemon;
    std::string library_path;
    std::string json;
};

struct Standing {
    Memory memory;
    std::vector<std::string> descriptors;
};

class Soak {
  public:
    Soak(const Options &options, Report &report)
        : options_(options),
          report_(report),
          daemon_(with_room_to_fill(untraced_daemon(options.daemon, options.library_path))) {
        daemon_.allow_error_lines();  // of what is refused on purpose
        for (uint32_t i = 0; i < kLanes; ++i) {
            lanes_.push_back(std::make_unique<Lane>(
                daemon_.socket_path(), daemon_.root().file("lanes.dump"), i, options.seed, report));
        }
    }
    void run();

  private:
    uint64_t requests() const;
    // Runs the lanes until so many requests have been sent in all.
    void work_until(uint64_t requests);
    void check_midway();
    // Lets every life end; nothing is left after it.
    Standing come_to_rest(const char *when);
    void expect_empty(const char *when);
    void tell(const Standing &before, const Standing &after);

    const Options &options_;
    Report &report_;
    DaemonProcess daemon_;
    std::vector<std::unique_ptr<Lane>> lanes_;
    std::vector<uint64_t> anonymous_kib_;  // with everything in use, after each tenth
};

uint64_t Soak::requests() const {
    uint64_t sum = 0;
    for (const auto &lane : lanes_) {
        sum += lane->requests();
    }
    return sum;
}

void Soak::work_until(uint64_t wanted) {
    while (requests() < wanted && report_.failures() < 100) {
        for (const auto &lane : lanes_) {
            lane->turn(true);
        }
        report_.progress(std::to_string(requests()) + " of " + std::to_string(options_.requests) +
                         " requests");
    }
}

void Soak::check_midway() {
    for (const auto &lane : lanes_) {
        lane->take_replies();
    }
    check_cache(daemon_);
}

void Soak::expect_empty(const char *when) {
    const CacheDump dump = daemon_.dump();
    report_.expect(dump.complete && dump.acl_table_cnt == 0 && dump.rules_cnt == 0 &&
                       dump.acls.empty() && dump.rules.empty() && dump.groups.empty() &&
                       dump.bind_points.empty() && dump.forwardings.empty() &&
                       dump.mc_groups.empty(),
                   std::string("the cache is not empty ") + when);
    for (const char *capacity :
         {"tcam_entries", "regions", "acls", "groups", "bindings", "pbs_entries", "counters"}) {
        const uint64_t used = daemon_.control().used(capacity);
        report_.expect(used == 0, "the switch has " + std::to_string(used) + " " + capacity +
                                      " in use " + when);
    }
}

Standing Soak::come_to_rest(const char *when) {
    bool all_rest = false;
    while (!all_rest) {
        all_rest = true;
        for (const auto &lane : lanes_) {
            if (!lane->is_at_rest()) {
                lane->turn(false);
                all_rest = false;
            }
        }
    }
    expect_empty(when);
    return {memory_of(daemon_.pid()), lasting_descriptors_of(daemon_.pid())};
}

void Soak::run() {
    // Checks of the cache belong to the warming up: they ask the control socket, whose thread
    // builds a long text of everything there is.
    Standing before;
    for (uint64_t tenth = 1; tenth <= 10; ++tenth) {
        work_until(options_.requests * tenth / 10);
        check_midway();
        anonymous_kib_.push_back(memory_of(daemon_.pid()).resident_anonymous);
        if (tenth == kWarmUpTenths) {
            before = come_to_rest("after warming up");
        }
    }
    const Standing after = come_to_rest("at the end");
    tell(before, after);
    check_capacities(daemon_, report_);
    expect_empty("after every table was filled");
    report_.expect(lasting_descriptors_of(daemon_.pid()).size() == before.descriptors.size(),
                   "descriptors are left after every table was filled");
    lanes_.clear();
    daemon_.stop();
}

void Soak::tell(const Standing &before, const Standing &after) {
    const uint64_t tolerance = kTolerancePages * static_cast<uint64_t>(getpagesize()) / 1024;
    std::map<uint32_t, uint64_t> by_command;
    for (const auto &lane : lanes_) {
        for (const auto &[command, num] : lane->requests_by_command()) {
            by_command[command] += num;
        }
    }
    nlohmann::ordered_json commands;
    for (const auto &[command, num] : by_command) {
        commands[std::to_string(command)] = num;
    }
    report_.figure("seed", options_.seed);
    report_.figure("requests", requests());
    report_.figure("requests_by_command", commands);
    report_.figure("requests_per_second",
                   static_cast<uint64_t>(static_cast<double>(requests()) / report_.seconds()));
    report_.figure("resident_kib_after_warm_up", before.memory.resident);
    report_.figure("resident_kib_at_end", after.memory.resident);
    report_.figure("anonymous_kib_after_warm_up", before.memory.resident_anonymous);
    report_.figure("anonymous_kib_at_end", after.memory.resident_anonymous);
    report_.figure("anonymous_kib_by_tenth", anonymous_kib_);
    report_.figure("data_kib_after_warm_up", before.memory.data);
    report_.figure("data_kib_at_end", after.memory.data);
    report_.figure("tolerance_kib", tolerance);
    report_.figure("descriptors_after_warm_up", before.descriptors.size());
    report_.figure("descriptors_at_end", after.descriptors.size());
    report_.expect(by_command.size() == 16, "not every command was sent");
    report_.expect(before.descriptors == after.descriptors,
                   "the daemon's descriptors are others than after the warm-up");
    // Pages of the libraries come in when they are first used: only the daemon's own count.
    report_.expect(after.memory.resident_anonymous <= before.memory.resident_anonymous + tolerance,
                   "the daemon has grown from " + std::to_string(before.memory.resident_anonymous) +
                       " to " + std::to_string(after.memory.resident_anonymous) + " KiB");
}

int run(const Options &options) {
    Report report("fire_soak", options.json);
    try {
        Soak(options, report).run();
    } catch (const std::runtime_error &error) {
        report.failure(error.what());
    }
    return report.finish();
}

}  // namespace
}  // namespace zv_fire

int main(int argc, char **argv) {
    zv_fire::Options options;
    zv_fire::CommandLine line(
        "Sends a million requests of every kind and demands that nothing is left behind.");
    line.option("--seed", options.seed, "Seed of the lanes' choices");
    line.option("--requests", options.requests, "How many");
    line.option("--daemon", options.daemon, "Another build of the daemon");
    line.option("--library-path", options.library_path,
                "Directory of the platform libraries that belong to it");
    line.option("--json", options.json, "Write the figures to this file");
    if (const auto status = line.parse(argc, argv)) {
        return *status;
    }
    return zv_fire::run(options);
}
