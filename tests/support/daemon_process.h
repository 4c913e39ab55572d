// daemon_process.h - the real daemon as a child process, with everything it leaves behind.
//
//   TEST(AclSet, CreatesARegionBeforeItsAcl) {
//       DaemonProcess daemon;                       // private root, started, serving
//       TestClient client(daemon);                  // OPENs as open-flow and INITs chip type 3
//       const size_t mark = daemon.trace_mark();
//       const acl_rm_acl acl = client.make_acl(64);
//       EXPECT_EQ(daemon.call_names_since(mark),
//                 (std::vector<std::string>{"zv_api_acl_region_set", "zv_api_acl_set",
//                 "cl_malloc"}));
//       daemon.control().fail("zv_api_acl_rules_set", 5);
//       EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(0)}), ZV_ACL_RM_STATUS_ERROR);
//       daemon.expect_log(error_line(1, "Failed to add rule to a region in SDK , error: 5"));
//       check_cache(daemon);                        // cache_check.h: the cache against the switch
//   }                                               // SIGTERM, exit status 0, no other error line
//
// The destructor stops the daemon, demands exit status 0 and fails the case for every line of
// level ERROR in the log that no expect_log() named. A case that failed shows the daemon's log.
// Each object is used by one thread; any number of daemons may run side by side.
#ifndef ZV_TESTS_SUPPORT_DAEMON_PROCESS_H
#define ZV_TESTS_SUPPORT_DAEMON_PROCESS_H

#include <signal.h>

#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/cache_dump.h"
#include "tests/support/child_process.h"
#include "tests/support/here.h"
#include "tests/support/log_lines.h"
#include "tests/support/rpc_connection.h"
#include "tests/support/switch_control.h"
#include "tests/support/temp_dir.h"

namespace zv_test {

struct DaemonOptions {
    std::vector<std::string> arguments;               // after the program's name, e.g. {"-v", "4"}
    std::map<std::string, std::string> environment;   // added to the test's own
    nlohmann::json faults = nlohmann::json::array();  // armed from the first call on
    nlohmann::json config = nullptr;  // the switch's capacities and ports; null: its defaults
    uint32_t rpc_verbosity = 3;       // other than 3: a connector raises module ACL_RM_RPC to it
    uint32_t db_verbosity = 3;        // the same for module ACL_RM_DB
    bool trace = true;                // record the calls of the platform
    bool control = true;              // serve the switch's control socket
    bool wait_until_serving = true;   // false: for start-ups that are to fail or be disturbed
    std::string library_path;         // another set of the platform's libraries
    std::string program;              // another build of the daemon
};

// The daemon under test: this build's, or the one that ZV_TEST_DAEMON names.
std::string daemon_path();

// For a run that is to end by itself: see wait_exit().
DaemonOptions ending_run(std::vector<std::string> arguments,
                         nlohmann::json faults = nlohmann::json::array());

class DaemonProcess {
  public:
    explicit DaemonProcess(DaemonOptions options = {}, Here here = Here::now());
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess &) = delete;
    DaemonProcess &operator=(const DaemonProcess &) = delete;

    // --- life
    // Waits until a request is answered; false, and a failed case, when it ends before that.
    bool wait_until_serving(Here here = Here::now());
    void signal(int number);
    // Signals, waits and demands that it ends as `expected`.
    ExitStatus stop(int signal_number = SIGTERM, ExitStatus expected = ExitStatus::exit(0),
                    Here here = Here::now());
    // Waits for an end that comes by itself, or by a signal already sent.
    ExitStatus wait_exit(Here here = Here::now());
    bool running() { return !process_->wait(0).has_value(); }
    pid_t pid() const { return process_->pid(); }

    // --- talking to it
    RpcConnection connect(Here here = Here::now());
    SwitchControl &control() { return control_; }
    // Asks for a dump into a file of its own and reads it.
    CacheDump dump(Here here = Here::now());

    // --- what it wrote
    std::string out() const { return read_file(root_.file("stdout")); }
    std::string err() const { return read_file(root_.file("stderr")); }
    std::vector<LogLine> log() const { return parse_log(err()); }
    std::vector<LogLine> log(const std::string &module, const std::string &level) const;
    size_t count_log(const LogLine &line) const;
    // Demands the line among those no earlier call took, and takes it.
    void expect_log(const LogLine &line, Here here = Here::now());
    void expect_no_log(const LogLine &line, Here here = Here::now());
    // For lines that no reply follows (those of a signal): waits until the line is there.
    void wait_for_log(const LogLine &line, Here here = Here::now());
    // The same where the text has a part that no test can know: `line.text` is an extended regular
    // expression (POSIX) for the whole text. Returns the text found, "" and a failed case if there
    // is none.
    std::string wait_for_log_matching(const LogLine &line, Here here = Here::now());
    // Demands that no line of level ERROR is left that expect_log() did not take. The destructor
    // does this too, unless allow_error_lines() was called.
    void expect_no_error_lines(Here here = Here::now());
    void allow_error_lines() { errors_allowed_ = true; }

    // --- the platform calls it made, oldest first
    std::vector<nlohmann::json> trace() const { return trace_since(0); }
    std::vector<nlohmann::json> calls(const std::string &name, size_t mark = 0) const;
    std::vector<std::string> call_names_since(size_t mark) const;
    size_t trace_mark() const;  // where the record ends now
    std::vector<nlohmann::json> trace_since(size_t mark) const;

    // --- its private place
    const TempDir &root() const { return root_; }  // what ZV_PLATFORM_ROOT names
    std::string socket_path() const { return root_.file("var/run/zv_acl_rm.sock"); }

  private:
    std::map<std::string, std::string> environment() const;
    std::vector<std::string> command() const;
    std::optional<size_t> find_untaken(const LogLine &line) const;
    bool wait_until(const std::function<bool()> &is_true);

    DaemonOptions options_;
    TempDir root_;
    SwitchControl control_;
    std::unique_ptr<ChildProcess> process_;
    std::vector<bool> taken_;  // entries of log() that expect_log() took, by position
    bool errors_allowed_ = false;
    int last_signal_ = 0;  // 0 is no signal: sending it does nothing
    bool failed_before_;
    uint32_t dumps_num_ = 0;
};

}  // namespace zv_test

#endif
