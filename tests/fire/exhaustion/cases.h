// cases.h - many independent cases, side by side, each with a daemon of its own.
#ifndef ZV_TESTS_FIRE_EXHAUSTION_CASES_H
#define ZV_TESTS_FIRE_EXHAUSTION_CASES_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/fire/exhaustion/faults.h"
#include "tests/fire/support/fire_report.h"
#include "tests/support/child_process.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_fire {

struct Case {
    std::string name;
    std::function<void(Report &)> run;
};

// Runs those whose name contains `only`, `jobs` at a time. A case that throws has failed.
void run_cases(const std::vector<Case> &cases, unsigned jobs, const std::string &only,
               Report &report);

// A daemon whose calls can fail, without a trace of the platform's calls, which allocates.
zv_test::DaemonOptions failing_daemon(const Faults &faults);

// The build of the daemon under test; empty: the one beside this program.
extern std::string daemon_program;
extern std::string daemon_libraries;

// Until it is so, for at most 20 seconds; whether it became so.
bool wait_until(const std::function<bool()> &is_so);

// Both clients are served: each makes an ACL with a rule and takes it away again.
void expect_served(Report &report, const std::string &what, zv_test::TestClient &one,
                   zv_test::TestClient &other);

// A line for the control socket on a connection of its own.
class ControlLine {
  public:
    explicit ControlLine(const std::string &socket_path);
    ~ControlLine();
    ControlLine(const ControlLine &) = delete;
    ControlLine &operator=(const ControlLine &) = delete;

    bool send(const std::string &line);
    // Whether the answer, or the end of the connection, has come.
    bool ended();
    // The answer's first line, "" for a connection that ended without one. Waits for 20 seconds.
    std::optional<std::string> answer();

  private:
    bool take(int timeout_ms);
    int fd_;
    std::string received_;
    bool closed_ = false;
};

}  // namespace zv_fire

#endif
