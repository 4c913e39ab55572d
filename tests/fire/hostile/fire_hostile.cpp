// fire_hostile - 64 hostile clients at once, and one that does its work beside them.
//
// Slices with and without the hostile crowd take turns in one run, so that whatever else the
// machine does falls on both; three at a time, so that slow clients have the time to be slow.
// Measured is each request of the good client; demanded that none fails, that its p99 with the
// crowd is at most twice the one without, that no foreign handle moves its objects, that the
// daemon's memory keeps below its bound, and that after each attack it has the descriptors it began
// with. At the end every connection that the daemon takes is held by a client that reads nothing.
#include <poll.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <thread>

#include "tests/fire/hostile/crowd.h"
#include "tests/fire/hostile/good_client.h"
#include "tests/fire/support/command_line.h"
#include "tests/fire/support/fire_report.h"
#include "tests/fire/support/other_build.h"
#include "tests/fire/support/process_figures.h"
#include "tests/support/cache_check.h"

namespace zv_fire {
namespace {

using namespace zv_test;
using std::chrono::milliseconds;

struct Options {
    uint64_t seed = 1;
    double seconds = 10;
    double largest_ratio = 2;
    bool real_time = true;
    std::string only;
    std::string daemon;
    std::string library_path;
    std::string json;
};

constexpr milliseconds kSlice{800};
constexpr size_t kSlicesAtATime = 3;
constexpr uint64_t kConnections = 512;
constexpr uint64_t kMessage = 8000;
// A message each way for every connection the daemon takes, and what an allocator needs to keep
// them apart and does not give back.
constexpr uint64_t kMemoryBoundKib = (kConnections * 2 * kMessage) / 1024 + 1024;

class Battle {
  public:
    Battle(const Options &options, Report &report)
        : options_(options),
          report_(report),
          daemon_(untraced_daemon(options.daemon, options.library_path)) {
        daemon_.allow_error_lines();  // of what is refused
        prepare_field();
    }
    ~Battle() {
        for (const int fd : pipe_) {
            if (fd >= 0) {
                close(fd);
            }
        }
    }

    void run();

  private:
    void prepare_field();
    void slices(GoodClient &good, Crowd &crowd);
    void full_house(GoodClient &good);
    Times slice(GoodClient &good);
    void expect_descriptors_back(const char *when);
    void expect_passed_descriptors_closed();
    void look_at_memory() { most_kib_ = std::max(most_kib_, memory_of(daemon_.pid()).resident); }
    void tell(GoodClient &good, Crowd &crowd);

    const Options &options_;
    Report &report_;
    DaemonProcess daemon_;
    Battlefield field_;
    std::vector<TestClient> owners_;
    acl_rm_acl foreign_ = {};
    int pipe_[2] = {-1, -1};
    size_t descriptors_before_ = 0;
    uint64_t kib_before_ = 0;
    uint64_t most_kib_ = 0;
    Times quiet_, hostile_;       // of all rounds
    std::vector<double> ratios_;  // of the p99 of a hostile slice and a quiet one
};

// The other three owners open, or a replayed handle of 0 would be theirs.
void Battle::prepare_field() {
    field_.socket_path = daemon_.socket_path();
    for (uint32_t owner = 1; owner < ZV_ACL_RM_OWNER_NUM; ++owner) {
        owners_.emplace_back(TestClient(daemon_, owner));
        field_.foreign_handles[owner - 1] = owners_.back().handle();
    }
    foreign_ = owners_[0].make_acl(32);
    field_.foreign_acl = foreign_.acl_id;
    owners_[0].write_rules(foreign_.acl_id, make_rules(0, ZV_ACL_RM_RULES_PER_RECORD));
    if (pipe(pipe_) != 0) {
        report_.failure("no pipe to pass");
    }
    field_.passed_fd = pipe_[1];
}

Times Battle::slice(GoodClient &good) {
    good.begin_slice();
    const auto end = Clock::now() + kSlice;
    while (Clock::now() < end) {
        std::this_thread::sleep_for(milliseconds(20));
        look_at_memory();
    }
    return good.begin_slice();
}

// The daemon closes what its clients closed when it comes round to it: looked for until it is so.
void Battle::expect_descriptors_back(const char *when) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    size_t now = descriptors_of(daemon_.pid()).size();
    while (now != descriptors_before_ && Clock::now() < deadline) {
        std::this_thread::sleep_for(milliseconds(1));
        now = descriptors_of(daemon_.pid()).size();
    }
    report_.expect(now == descriptors_before_, "the daemon has " + std::to_string(now) +
                                                   " descriptors " + when + ", and had " +
                                                   std::to_string(descriptors_before_));
}

void Battle::slices(GoodClient &good, Crowd &crowd) {
    const auto end = Clock::now() + std::chrono::duration<double>(options_.seconds);
    uint32_t rounds = 0;
    while (Clock::now() < end) {
        std::array<Times, kSlicesAtATime> quiet;
        std::array<Times, kSlicesAtATime> hostile;
        // Which comes first changes from round to round.
        for (const bool is_hostile : {rounds % 2 == 0, rounds % 2 != 0}) {
            if (is_hostile) {
                crowd.attack();
            }
            for (Times &times : is_hostile ? hostile : quiet) {
                times = slice(good);
            }
            if (is_hostile) {
                crowd.retreat();
                expect_descriptors_back("after an attack");
            }
        }
        ++rounds;
        for (size_t i = 0; i < kSlicesAtATime; ++i) {
            ratios_.push_back(hostile[i].percentile_us(99) /
                              std::max(quiet[i].percentile_us(99), 0.001));
            quiet_.add(quiet[i]);
            hostile_.add(hostile[i]);
        }
        report_.progress(std::to_string(rounds) + " rounds, " + std::to_string(good.cycles()) +
                         " cycles of the good client, " + std::to_string(field_.requests) +
                         " hostile requests");
    }
    report_.figure("rounds", rounds);
}

// As many connections as the daemon takes, each with a reply that it cannot get rid of.
void Battle::full_house(GoodClient &good) {
    std::vector<std::unique_ptr<Peer>> crowd;
    for (uint64_t i = 0; i < kConnections; ++i) {
        auto peer = std::make_unique<Peer>(field_.socket_path);
        if (peer->connect()) {
            crowd.push_back(std::move(peer));
        }
    }
    const Bytes packet = long_answer_request(field_);
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    uint64_t sent = 1;
    uint64_t idle_rounds = 0;
    const uint64_t cycles_before = good.cycles();
    while (idle_rounds < 200 && Clock::now() < deadline) {
        sent = 0;
        for (const auto &peer : crowd) {
            sent += peer->send(packet);
        }
        idle_rounds = sent == 0 ? idle_rounds + 1 : 0;
        std::this_thread::sleep_for(milliseconds(1));
        look_at_memory();
    }
    // One more than the daemon takes would be closed again: its own descriptors tell.
    const size_t held = lasting_descriptors_of(daemon_.pid()).size() - descriptors_before_;
    report_.figure("connections_held_full", held);
    report_.expect(held == kConnections - owners_.size() - 1,
                   "the daemon holds " + std::to_string(held) + " connections in a full house");
    report_.figure("good_cycles_in_a_full_house", good.cycles() - cycles_before);
    report_.expect(good.cycles() > cycles_before, "the good client is not served in a full house");
    crowd.clear();
    expect_descriptors_back("after a full house");
}

// Once ours are closed the pipe has no writer left, unless the daemon holds one.
void Battle::expect_passed_descriptors_closed() {
    close(pipe_[1]);
    pipe_[1] = -1;
    pollfd end = {pipe_[0], POLLIN, 0};
    report_.expect(poll(&end, 1, 5000) == 1 && (end.revents & POLLHUP) != 0,
                   "a descriptor that was passed is still open");
}

void Battle::run() {
    {
        GoodClient good(daemon_, field_, report_);
        slice(good);
        descriptors_before_ = lasting_descriptors_of(daemon_.pid()).size();
        kib_before_ = memory_of(daemon_.pid()).resident;
        Crowd crowd(field_, options_.seed, options_.only);
        slices(good, crowd);
        full_house(good);
        good.stop();
        tell(good, crowd);
    }
    expect_passed_descriptors_closed();
    // The good client leaves nothing, and nothing of the others' doing is there.
    owners_[0].destroy_acl(foreign_);
    check_cache(daemon_);
    const CacheDump dump = daemon_.dump();
    report_.expect(dump.complete && dump.acls.empty() && dump.rules.empty() &&
                       dump.groups.empty() && dump.mc_groups.empty() && dump.bind_points.empty() &&
                       dump.forwardings.empty(),
                   "the cache is not empty at the end");
    report_.figure("log_lines", daemon_.log().size());
    daemon_.stop();
}

void Battle::tell(GoodClient &good, Crowd &crowd) {
    // The middle one of the slices: what else the machine does spoils some of them, not most.
    std::sort(ratios_.begin(), ratios_.end());
    const double ratio = ratios_.empty() ? 0 : ratios_[ratios_.size() / 2];
    report_.figure("seed", options_.seed);
    report_.figure("hostile_connections", crowd.size());
    report_.figure("hostile_kinds", kinds().size());
    report_.figure("hostile_acts", crowd.acts());
    report_.figure("hostile_requests", field_.requests.load());
    report_.figure("hostile_connects", field_.connects.load());
    report_.figure("hostile_connects_refused", field_.refused_connects.load());
    report_.figure("single_bytes", field_.single_bytes.load());
    report_.figure("single_bytes_on_a_connection", field_.most_single_bytes.load());
    report_.figure("replayed_requests", field_.replayed.load());
    report_.figure("replays_that_succeeded", field_.replays_that_succeeded.load());
    report_.figure("good_cycles", good.cycles());
    report_.figure("good_requests_quiet", quiet_.num());
    report_.figure("good_requests_hostile", hostile_.num());
    report_.figure("p50_quiet_us", quiet_.percentile_us(50));
    report_.figure("p50_hostile_us", hostile_.percentile_us(50));
    report_.figure("p99_quiet_us", quiet_.percentile_us(99));
    report_.figure("p99_hostile_us", hostile_.percentile_us(99));
    report_.figure("p99_ratio", ratio);
    report_.figure("p99_ratios_of_slices", ratios_);
    report_.figure("max_hostile_us", hostile_.max_us());
    report_.figure("resident_kib_before", kib_before_);
    report_.figure("resident_kib_most", most_kib_);
    report_.figure("resident_kib_bound", kib_before_ + kMemoryBoundKib);
    report_.expect(ratio <= options_.largest_ratio,
                   "the good client's p99 is " + std::to_string(ratio) + " times as long");
    report_.expect(most_kib_ <= kib_before_ + kMemoryBoundKib,
                   "the daemon's memory is past its bound");
    report_.expect(field_.replays_that_succeeded == 0, "a replayed request succeeded");
    report_.expect(!options_.only.empty() || (field_.replayed > 0 && field_.refused_connects > 0 &&
                                              field_.most_single_bytes > 1),
                   "the crowd did not do what it should");
    report_.expect(field_.wrong_replies == 0,
                   std::to_string(field_.wrong_replies) + " replies out of order or not delivered");
}

// Puts whatever else runs on the machine behind this program and its daemon, which inherits it: two
// clients of one core beside a compiler measure the compiler. All of ours are equal among each
// other. Only who may do that can; without it the figures need a machine that is otherwise idle.
bool claim_the_cores() {
    const sched_param priority = {1};
    return sched_setscheduler(0, SCHED_FIFO, &priority) == 0;
}

int run(const Options &options) {
    raise_descriptor_limit();
    Report report("fire_hostile", options.json);
    report.figure("real_time", options.real_time && claim_the_cores());
    Battle(options, report).run();
    return report.finish();
}

}  // namespace
}  // namespace zv_fire

int main(int argc, char **argv) {
    zv_fire::Options options;
    zv_fire::CommandLine line("Sets 64 hostile clients on the daemon beside one that works.");
    line.option("--seed", options.seed, "Seed of what the hostile clients do");
    line.option("--seconds", options.seconds, "How long the slices take together");
    line.option("--largest-ratio", options.largest_ratio,
                "Of the good client's p99 with and without the others");
    line.flag("!--no-real-time", options.real_time,
              "Leave the scheduling as it is: for a machine that is otherwise idle");
    line.option("--only", options.only,
                "One kind alone, by its name in kinds.cpp: to find a cause");
    line.option("--daemon", options.daemon, "Another build of the daemon");
    line.option("--library-path", options.library_path,
                "Directory of the platform libraries that belong to it");
    line.option("--json", options.json, "Write the figures to this file");
    if (const auto status = line.parse(argc, argv)) {
        return *status;
    }
    return zv_fire::run(options);
}
