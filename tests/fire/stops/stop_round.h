// stop_round.h - one round: a daemon of its own, a moment, signals, and how it ended.
#ifndef ZV_TESTS_FIRE_STOPS_STOP_ROUND_H
#define ZV_TESTS_FIRE_STOPS_STOP_ROUND_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/fire/stops/plan.h"
#include "tests/fire/support/free_daemon.h"
#include "tests/support/rpc_connection.h"

namespace zv_fire {

using Clock = std::chrono::steady_clock;

struct Outcome {
    std::vector<std::string> failures;
    // Died of the signal, as any process does before it catches signals.
    bool before_signals_were_caught = false;
    double end_ms = 0;      // from the first signal to the end
    uint32_t replies = 0;   // that came for what had been sent
    uint32_t refusals = 0;  // of these: told that the daemon shuts down
};

// A daemon with its files, brought to the plan's moment.
class Subject {
  public:
    Subject(const zv_test::TempDir &place, const Launch &launch, const Plan &plan,
            const std::string &name);

    FreeDaemon &daemon() { return daemon_; }
    // Returns when the moment has come; false when the daemon does not get there.
    bool bring_to_moment(Outcome &outcome);
    // Sends the plan's signals with their delays, and waits for the end.
    void signal_and_wait(Outcome &outcome);
    void wait_for_end(Outcome &outcome, Clock::time_point signalled);
    // What must hold when it ended by a stop signal; `socket_is_gone` asks for the file as well.
    void check_end(Outcome &outcome, bool socket_is_gone = true);
    // What must hold of one that was refused the place: it ends by itself and hurts nobody.
    void check_refused(Outcome &outcome);

    // A plain stop, with the same demands.
    void stop(Outcome &outcome);
    // Opens, makes an ACL, destroys it; false when anything of it fails.
    bool works();

  private:
    bool open_switch();
    bool send_command();
    bool send_dump();
    bool send_flood();
    void take_replies(Outcome &outcome);
    void check_logs(Outcome &outcome);
    void check_no_errors(Outcome &outcome);
    void check_calls(Outcome &outcome);
    std::string hooks() const { return zv_test::read_file(hooks_path_); }
    static Launch with_plugins(const Launch &launch, const Plan &plan, const std::string &hooks,
                               const std::string &log);

    const zv_test::TempDir &place_;
    Plan plan_;
    std::string name_;
    std::string hooks_path_;
    std::string log_path_;
    FreeDaemon daemon_;
    std::vector<zv_test::RpcConnection> connections_;
    uint32_t acl_id_ = 0;
    std::optional<zv_test::ExitStatus> end_;
};

// Stops at the plan's moment; demands a good end in a second.
Outcome stop_round(const Launch &launch, const Plan &plan);
// Kills at the plan's moment; demands that the next daemon there serves.
Outcome kill_round(const Launch &launch, const Plan &plan);
// Two daemons, or a daemon and a stranger, at one place (neighbours.cpp).
Outcome neighbour_round(const Launch &launch, const Plan &plan);

// Spins: the moment is what is tested, and a sleep would miss it.
void spin_for(std::chrono::microseconds time);

}  // namespace zv_fire

#endif
