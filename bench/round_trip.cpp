// Round trip: what the daemon adds to the cost of the socket. Unit: microseconds from before the
// send to after the receive, and ratios of those between the daemon and a bare echo.
//
// One client process holds a connection to the server under test and one to the echo; all three run
// on one core. Blocks of 100 requests go to each by turns, and the figure is the median over all
// pairs of neighbouring blocks of the ratio of their medians (p50). Neighbours share whatever else
// the machine does at the time, so the ratio is steady where times are not: an echo against another
// echo, which is measured too, must give 1.00. A daemon with 6,400 rules is held against an empty
// one in the same way. p99 is the median of 7 runs' p99.
//
// Both servers are started anew for every round: where a process lies in memory shifts its times by
// a few per cent, and a 20-rule write can be repeated only 320 times before the daemon is full.
#include <string.h>
#include <time.h>

#include <string>
#include <vector>

#include "bench/die.h"
#include "bench/requests.h"
#include "bench/server_process.h"
#include "bench/statistics.h"
#include "bench/wire.h"

namespace {

using bench::Message;
using bench::ServerProcess;
using bench::Session;

constexpr uint32_t BLOCK_REQUESTS = 100;
constexpr uint32_t WARM_UP_REQUESTS = 20;
constexpr uint32_t RUNS = 7;

enum class Kind { open, port_bind, rule_set };

// The server under test, and the one that it is held against.
enum class Pair { daemon_and_echo, echo_and_echo, full_and_empty_daemon };

struct Series {
    const char *name;
    Kind kind;
    uint32_t record_bytes;
    Pair pair;
    uint32_t rounds_per_run;  // with fresh servers each; an even number
    uint32_t blocks_per_round;
};

// RUNS * rounds * blocks is at least 40 blocks a side. Rule writes: 3 blocks and the warm-up are
// the 320 batches that a daemon takes.
constexpr Series SERIES[] = {
    {"OPEN", Kind::open, 16, Pair::daemon_and_echo, 2, 4},
    {"port bind", Kind::port_bind, 424, Pair::daemon_and_echo, 2, 4},
    {"20-rule write", Kind::rule_set, 7224, Pair::daemon_and_echo, 2, 3},
    {"echo / echo", Kind::open, 16, Pair::echo_and_echo, 2, 4},
    {"echo / echo", Kind::port_bind, 424, Pair::echo_and_echo, 2, 4},
    {"echo / echo", Kind::rule_set, 7224, Pair::echo_and_echo, 2, 3},
    {"full / empty", Kind::open, 16, Pair::full_and_empty_daemon, 2, 4},
    {"full / empty", Kind::port_bind, 424, Pair::full_and_empty_daemon, 2, 4},
};

struct Result {
    double ratio;  // median of the blocks' p50 ratios
    double tested_p50_us;
    double echo_p50_us;
    double tested_p99_us;  // median of the runs' p99
    double echo_p99_us;
    size_t blocks;  // a side
};

double now_us() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

// Sends requests of one kind over one connection. The client's own work between two requests is the
// same for both sides: the record is made anew for each, also for the echo.
class Side {
  public:
    Side(int fd, Kind kind, bool is_echo, Session *session)
        : fd_(fd), kind_(kind), is_echo_(is_echo), session_(session) {}

    double round_trip() {
        make_request();
        const double start = now_us();
        bench::exchange(fd_, request_, &reply_);
        const double took = now_us() - start;
        if (!is_echo_ && !bench::succeeded(reply_)) {
            bench::die("a request failed: transport %u, status %u", reply_.header.transport,
                       reply_.header.status);
        }
        return took;
    }

    std::vector<double> block(uint32_t requests) {
        std::vector<double> times;
        times.reserve(requests);
        for (uint32_t i = 0; i < requests; i++) {
            times.push_back(round_trip());
        }
        return times;
    }

  private:
    void make_request() {
        switch (kind_) {
            case Kind::open:
                return session_->make_open(&request_);
            case Kind::port_bind:
                return session_->make_port_bind(&request_);
            case Kind::rule_set:
                return session_->make_rule_set(&request_);
        }
    }

    int fd_;
    Kind kind_;
    bool is_echo_;
    Session *session_;
    Message request_ = {};
    Message reply_ = {};
};

struct Samples {
    std::vector<double> ratios;
    std::vector<double> tested_p50;
    std::vector<double> echo_p50;
};

// As many rules as the daemon remembers.
void fill(int fd, Session *session) {
    Side side(fd, Kind::rule_set, false, session);
    side.block(bench::MAX_BATCHES);
}

// is_odd: the echo is started first and goes first, lest either be an advantage; over a run, whose
// number of rounds is even, the two sides are treated alike.
void run_round(const Series &series, int core, bool is_odd, Samples *samples,
               std::vector<double> *tested_times, std::vector<double> *echo_times) {
    const bool is_echo = series.pair == Pair::echo_and_echo;
    const bool against_echo = series.pair != Pair::full_and_empty_daemon;
    const auto tested_command = is_echo ? bench::echo_command() : bench::daemon_command();
    const auto echo_command = against_echo ? bench::echo_command() : bench::daemon_command();
    ServerProcess first_started(
        {.command = is_odd ? echo_command : tested_command, .environment = {}, .core = core});
    ServerProcess then_started(
        {.command = is_odd ? tested_command : echo_command, .environment = {}, .core = core});
    ServerProcess &tested = is_odd ? then_started : first_started;
    ServerProcess &echo = is_odd ? first_started : then_started;
    // Of the two sessions one may have no daemon behind it; its requests then carry empty ids.
    Session tested_session(is_echo ? -1 : tested.fd());
    Session echo_session(against_echo ? -1 : echo.fd());
    if (!against_echo) {
        fill(tested.fd(), &tested_session);
    }
    Side tested_side(tested.fd(), series.kind, is_echo, &tested_session);
    Side echo_side(echo.fd(), series.kind, against_echo, &echo_session);
    tested_side.block(WARM_UP_REQUESTS);
    echo_side.block(WARM_UP_REQUESTS);
    for (uint32_t i = 0; i < series.blocks_per_round; i++) {
        const bool tested_first = (i % 2 == 0) != is_odd;
        std::vector<double> first = (tested_first ? tested_side : echo_side).block(BLOCK_REQUESTS);
        std::vector<double> second = (tested_first ? echo_side : tested_side).block(BLOCK_REQUESTS);
        std::vector<double> &tested_block = tested_first ? first : second;
        std::vector<double> &echo_block = tested_first ? second : first;
        tested_times->insert(tested_times->end(), tested_block.begin(), tested_block.end());
        echo_times->insert(echo_times->end(), echo_block.begin(), echo_block.end());
        samples->tested_p50.push_back(bench::median(tested_block));
        samples->echo_p50.push_back(bench::median(echo_block));
        samples->ratios.push_back(samples->tested_p50.back() / samples->echo_p50.back());
    }
}

Result measure(const Series &series, int core) {
    Samples samples;
    std::vector<double> tested_p99;
    std::vector<double> echo_p99;
    for (uint32_t run = 0; run < RUNS; run++) {
        std::vector<double> tested_times;
        std::vector<double> echo_times;
        for (uint32_t round = 0; round < series.rounds_per_run; round++) {
            run_round(series, core, round % 2 != 0, &samples, &tested_times, &echo_times);
        }
        tested_p99.push_back(bench::quantile(tested_times, 0.99));
        echo_p99.push_back(bench::quantile(echo_times, 0.99));
    }
    const size_t blocks = samples.ratios.size();
    return {bench::median(samples.ratios),   bench::median(samples.tested_p50),
            bench::median(samples.echo_p50), bench::median(tested_p99),
            bench::median(echo_p99),         blocks};
}

void print_text(const Series &series, const Result &result) {
    printf("%-14s %6u %6.3f %10.2f %10.2f %10.2f %10.2f %7zu\n", series.name, series.record_bytes,
           result.ratio, result.tested_p50_us, result.echo_p50_us, result.tested_p99_us,
           result.echo_p99_us, result.blocks);
    fflush(stdout);
}

void print_json(const Series &series, const Result &result, bool is_first) {
    printf(
        "%s{\"name\":\"%s\",\"record_bytes\":%u,\"p50_ratio\":%.4f,\"p50_us\":%.3f,"
        "\"echo_p50_us\":%.3f,\"p99_us\":%.3f,\"echo_p99_us\":%.3f,\"blocks\":%zu}",
        is_first ? "[" : ",\n", series.name, series.record_bytes, result.ratio,
        result.tested_p50_us, result.echo_p50_us, result.tested_p99_us, result.echo_p99_us,
        result.blocks);
}

}  // namespace

int main(int count, char **arguments) {
    bool as_json = false;
    int core = bench::last_core();
    for (int i = 1; i < count; i++) {
        if (strcmp(arguments[i], "--json") == 0) {
            as_json = true;
        } else if (strcmp(arguments[i], "--core") == 0 && i + 1 < count) {
            core = atoi(arguments[++i]);
        } else {
            bench::die("usage: %s [--json] [--core N]", arguments[0]);
        }
    }
    bench::pin_to(core);
    if (!as_json) {
        printf("all processes on core %d, blocks of %u requests by turns; times in microseconds\n",
               core, BLOCK_REQUESTS);
        printf("%-14s %6s %6s %10s %10s %10s %10s %7s\n", "request", "bytes", "ratio", "p50",
               "echo p50", "p99", "echo p99", "blocks");
    }
    bool is_first = true;
    for (const Series &series : SERIES) {
        const Result result = measure(series, core);
        as_json ? print_json(series, result, is_first) : print_text(series, result);
        is_first = false;
    }
    if (as_json) {
        printf("]\n");
    }
    return 0;
}
