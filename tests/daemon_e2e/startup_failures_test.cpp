// Start-ups that fail half-way, and what is torn down then. The faults are armed before the first
// call, so the daemon meets them as it would meet a broken platform.
#include <gtest/gtest.h>

#include "tests/daemon_e2e/plugin_paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

using Lines = std::vector<LogLine>;
using Names = std::vector<std::string>;
using nlohmann::json;

const LogLine kThreadDone = {"ZV_ACL_RM", "NOTICE", "Creating Terminator thread done."};

json fault(const char *call, uint32_t status) {
    return json::array({{{"call", call}, {"status", status}}});
}

// One run with one fault, to its end. The connector records its calls in a file.
class FailingRun {
  public:
    FailingRun(const char *call, uint32_t status) : daemon_(options(call, status)) {
        exit_ = daemon_.wait_exit();
        daemon_.allow_error_lines();  // compared whole below
    }
    ExitStatus exit_status() const { return exit_; }
    Lines log() const { return daemon_.log(); }
    Names calls() const { return daemon_.call_names_since(0); }
    std::string err() const { return daemon_.err(); }
    std::string hooks() const { return read_file(files_.file("hooks")); }

  private:
    DaemonOptions options(const char *call, uint32_t status) {
        DaemonOptions run = ending_run({"--connector=" + connector_path()}, fault(call, status));
        run.environment = {{"ZV_ACL_RM_CONNECTOR_FILE", files_.file("hooks")}};
        return run;
    }

    TempDir files_;
    DaemonProcess daemon_;
    ExitStatus exit_;
};

// The counter database was never made, so the release stops at its first step: the platform is not
// called any more, and neither is the connector.
TEST(StartupFailure, OfTheLogIsToldOnStandardErrorAndReleasesNothing) {
    const FailingRun run("zv_log_init", 1);
    EXPECT_EQ(run.exit_status(), ExitStatus::exit(1));
    EXPECT_EQ(run.err(), "ACL RM ERROR: Log init failed\n");
    EXPECT_EQ(run.calls(), Names{});
    EXPECT_EQ(run.hooks(), "");
}

TEST(StartupFailure, OfTheCounterPoolEndsBeforeTheRpcServerIsBuilt) {
    const FailingRun run("cl_qpool_init", 2);
    EXPECT_EQ(run.exit_status(), ExitStatus::exit(1));
    const Lines lines = run.log();
    ASSERT_EQ(lines.size(), 7u) << run.err();
    EXPECT_EQ(lines[0], kThreadDone);
    // Between the brackets stands the component library's own text for its status 2.
    EXPECT_EQ(lines[1].module, "ACL_RM_DB");
    EXPECT_EQ(lines[1].level, "ERROR");
    EXPECT_EQ(lines[1].text.rfind("ZV_ACL_RM ERROR error;=6, error message:=Counter Pool Init "
                                  "Failure (",
                                  0),
              0u)
        << lines[1].text;
    EXPECT_EQ(lines[1].text.substr(lines[1].text.size() - 2), ").");
    EXPECT_EQ(lines[2], error_line(6, "ACL RM init counter DB failure."));
    EXPECT_EQ(lines[3], error_line(1, "ACL RM internal cache init failure"));
    EXPECT_EQ(lines[4], passed_up_line(1));
    EXPECT_EQ(lines[5],
              error_line(1, "Can't deinit counter DB - DB not initialized).", "ACL_RM_DB"));
    EXPECT_EQ(lines[6], error_line(1, "ACL RM deinit counter DB failure."));
    EXPECT_EQ(run.calls(),
              (Names{"zv_rpc_change_main_exit_signal_state", "cl_thread_init", "cl_qpool_init"}));
    EXPECT_EQ(run.hooks(), "");
}

TEST(StartupFailure, OfTheSocketIsStatusOneWhateverTheLibrarySays) {
    const FailingRun run("zv_rpc_core_td_init", 7);
    EXPECT_EQ(run.exit_status(), ExitStatus::exit(1));
    EXPECT_EQ(run.log(), (Lines{kThreadDone,
                                error_line(1, "failed to call zv_core_td_init 1", "ACL_RM_RPC"),
                                {"ZV_ACL_RM", "ERROR", "RPC procedure failed."},
                                passed_up_line(1)}));
    EXPECT_EQ(run.calls(),
              (Names{"zv_rpc_change_main_exit_signal_state", "cl_thread_init", "cl_qpool_init",
                     "zv_rpc_register_log_function", "zv_rpc_core_td_init", "zv_net_deinit"}));
    EXPECT_EQ(run.hooks(), "aclrmd_deinit\n") << "stopped, though it was never started";
}

TEST(StartupFailure, OfTheCommandTableEndsBeforeTheConnectorStarts) {
    const FailingRun run("zv_rpc_api_rpc_command_db_init", 2);
    EXPECT_EQ(run.exit_status(), ExitStatus::exit(1));
    EXPECT_EQ(run.log(),
              (Lines{kThreadDone,
                     error_line(1, "failed to call zv_api_rpc_command_db 1", "ACL_RM_RPC"),
                     {"ZV_ACL_RM", "ERROR", "RPC procedure failed."},
                     passed_up_line(1)}));
    EXPECT_EQ(run.calls(),
              (Names{"zv_rpc_change_main_exit_signal_state", "cl_thread_init", "cl_qpool_init",
                     "zv_rpc_register_log_function", "zv_rpc_core_td_init",
                     "zv_rpc_api_rpc_command_db_init", "zv_net_deinit"}));
    EXPECT_EQ(run.hooks(), "aclrmd_deinit\n");
}

TEST(StartupFailure, OfTheNetworkLibraryStopsTheConnectorAgain) {
    const FailingRun run("zv_net_init", 42);
    EXPECT_EQ(run.exit_status(), ExitStatus::exit(1));
    EXPECT_EQ(run.log(),
              (Lines{kThreadDone, {"ZV_ACL_RM", "ERROR", "error 42 initializing netlib"}}));
    const Names calls = run.calls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(Names(calls.end() - 2, calls.end()), (Names{"zv_net_init", "zv_net_deinit"}));
    EXPECT_EQ(run.hooks(), "aclrmd_init\naclrmd_deinit\n");
}

TEST(StartupFailure, ALoopThatReturnsEndsTheDaemonInGoodOrder) {
    const FailingRun run("zv_rpc_core_td_start_loop", 4);
    EXPECT_EQ(run.exit_status(), ExitStatus::exit(0));
    EXPECT_EQ(run.log(), Lines{kThreadDone});
    const Names calls = run.calls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(Names(calls.end() - 2, calls.end()),
              (Names{"zv_rpc_core_td_start_loop", "zv_net_deinit"}));
    EXPECT_EQ(run.hooks(), "aclrmd_init\naclrmd_deinit\n");
}

TEST(StartupFailure, OfTheTerminatorThreadIsLoggedAndTheDaemonServesOn) {
    DaemonOptions options;
    options.faults = fault("cl_thread_init", 5);
    DaemonProcess daemon(options);
    EXPECT_EQ(
        daemon.log(),
        (Lines{kThreadDone, {"ZV_ACL_RM", "ERROR", "cl_thread_init (terminator) error: 5."}}));
    daemon.expect_log({"ZV_ACL_RM", "ERROR", "cl_thread_init (terminator) error: 5."});
    // Nobody waits for the signal; the daemon logs it and goes on.
    daemon.signal(SIGTERM);
    daemon.wait_for_log_matching(
        {"ZV_ACL_RM", "NOTICE", "Signal 15 caught using thread [0-9]+ context\\."});
    TestClient client(daemon);
    EXPECT_TRUE(daemon.running());
    daemon.stop(SIGKILL, ExitStatus::killed(SIGKILL));
}

// --- signals that cannot be caught

struct SignalSetUp : testing::TestWithParam<int> {};

TEST_P(SignalSetUp, ThatFailsEndsStartUpBeforeTheCacheIsBuilt) {
    if (replaces_libc_functions()) {
        GTEST_SKIP() << "the sanitizer has its own sigaction";
    }
    DaemonOptions options = ending_run({});
    options.environment = {{"LD_PRELOAD", interposer_path()},
                           {"ZV_TEST_FAIL_SIGACTION", std::to_string(GetParam())}};
    DaemonProcess daemon(options);
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(1));
    daemon.allow_error_lines();
    EXPECT_EQ(daemon.log(),
              (Lines{kThreadDone, error_line(1, "sigaction error: 4294967295"),
                     error_line(1, "Could not register signal handler"),
                     error_line(1, "Can't deinit counter DB - DB not initialized).", "ACL_RM_DB"),
                     error_line(1, "ACL RM deinit counter DB failure.")}));
    EXPECT_EQ(daemon.call_names_since(0),
              (Names{"zv_rpc_change_main_exit_signal_state", "cl_thread_init"}));
}

INSTANTIATE_TEST_SUITE_P(EachSignal, SignalSetUp,
                         testing::Values(SIGINT, SIGTERM, SIGABRT, SIGHUP, SIGUSR1, SIGPIPE));

TEST(StartupFailure, OfTheSignalsForWantOfHardwareIsANotificationByName) {
    DaemonOptions options = ending_run({});
    options.program = daemon_without_signals_path();
    DaemonProcess daemon(options);
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(7));
    daemon.allow_error_lines();
    EXPECT_EQ(daemon.log(),
              (Lines{kThreadDone, notification_line(7, status_name(7)),
                     error_line(1, "Can't deinit counter DB - DB not initialized).", "ACL_RM_DB"),
                     error_line(1, "ACL RM deinit counter DB failure.")}));
}

// --- verbosity 0: the daemon's own module says nothing, whatever fails

void expect_silence(DaemonProcess &daemon) {
    daemon.allow_error_lines();
    for (const LogLine &line : daemon.log()) {
        EXPECT_NE(line.module, "ZV_ACL_RM") << line;
    }
}

TEST(Silence, CoversAStartThatFails) {
    for (const char *call : {"zv_rpc_core_td_init", "zv_net_init"}) {
        DaemonProcess daemon(ending_run({"-v0"}, fault(call, 42)));
        EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(1)) << call;
        expect_silence(daemon);
    }
}

TEST(Silence, CoversAStopThatFails) {
    const struct {
        const char *call;
        int exit_code;
    } stops[] = {{"zv_rpc_api_rpc_command_db_deinit", 1}, {"zv_net_deinit", 0}};
    for (const auto &stop : stops) {
        DaemonOptions options;
        options.arguments = {"-v0"};
        options.faults = fault(stop.call, 42);
        DaemonProcess daemon(options);
        daemon.stop(SIGTERM, ExitStatus::exit(stop.exit_code));
        expect_silence(daemon);
    }
}

}  // namespace
}  // namespace zv_test
