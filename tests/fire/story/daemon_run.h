// daemon_run.h - one life of the real daemon, started and stopped some ten thousand times.
//
// Leaner than the harness of the behaviour tests: a place is used by one run after the other, what
// the daemon writes is read on from where reading ended, and nothing is a test failure: whoever
// runs a story collects the differences.
#ifndef ZV_TESTS_FIRE_STORY_DAEMON_RUN_H
#define ZV_TESTS_FIRE_STORY_DAEMON_RUN_H

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/fire/story/step.h"
#include "tests/support/child_process.h"
#include "tests/support/rpc_connection.h"
#include "tests/support/switch_control.h"

namespace zv_fire {

// A directory in memory for the runs of one thread; gone with the object.
class Place {
  public:
    Place();
    ~Place();
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;
    std::string file(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// A file that another process appends to.
class Tail {
  public:
    Tail() = default;
    ~Tail();
    Tail(const Tail &) = delete;
    Tail &operator=(const Tail &) = delete;
    // What was appended since the last call.
    std::string read_on(const std::string &path);

  private:
    int fd_ = -1;
};

class DaemonRun {
  public:
    // Starts it. `faults` are armed from its first call on; null arms none.
    DaemonRun(Place &place, const std::string &program, const nlohmann::json &config,
              const nlohmann::json &faults);

    // Waits until its loop answers; false when it ended instead, or does neither in time.
    bool wait_until_serving();
    std::optional<zv_test::ExitStatus> wait(int timeout_ms) { return process_->wait(timeout_ms); }
    void signal(int number) { process_->signal(number); }

    // One request; empty when no proper reply came.
    std::optional<zv_test::RpcReply> call(const Step &step);
    // The text of its cache, taken on a connection of its own; empty when there is none.
    std::optional<std::string> dump();
    // The answer of the switch's control socket; an empty object when there is none.
    nlohmann::json control(const nlohmann::json &request) { return control_.call(request); }

    // What came since the last call: trace lines, text on standard error.
    std::vector<nlohmann::json> new_calls();
    std::string new_errors() { return err_.read_on(place_.file("stderr")); }
    std::string output() const;

  private:
    static constexpr unsigned kDumper = 1000;  // the connection for our own requests
    zv_test::RpcConnection *connection(unsigned number);

    Place &place_;
    zv_test::SwitchControl control_;
    Tail trace_, err_;
    std::map<unsigned, zv_test::RpcConnection> connections_;
    std::unique_ptr<zv_test::ChildProcess> process_;
};

}  // namespace zv_fire

#endif
