// Signals, and the tear-down that ends the daemon.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tests/daemon_e2e/plugin_paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

using Lines = std::vector<LogLine>;
using Names = std::vector<std::string>;

DaemonOptions with_arguments(std::vector<std::string> arguments) {
    DaemonOptions options;
    options.arguments = std::move(arguments);
    return options;
}

LogLine caught(int signal_number) {
    return {"ZV_ACL_RM", "NOTICE",
            "Signal " + std::to_string(signal_number) + " caught using thread [0-9]+ context\\."};
}

const LogLine kTermination = {"ZV_ACL_RM", "NOTICE", "starting zv_acl_rm termination..."};

struct StopSignal : testing::TestWithParam<int> {};

TEST_P(StopSignal, EndsTheDaemonWithStatusZero) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const size_t mark = daemon.trace_mark();
    daemon.stop(GetParam(), ExitStatus::exit(0));
    daemon.wait_for_log_matching(caught(GetParam()));
    daemon.expect_log(kTermination);
    EXPECT_EQ(daemon.call_names_since(mark),
              (Names{"zv_rpc_change_main_exit_signal_state", "zv_rpc_api_rpc_command_db_deinit",
                     "zv_api_close", "zv_net_deinit"}));
    EXPECT_FALSE(std::filesystem::exists(daemon.socket_path()));
}

INSTANTIATE_TEST_SUITE_P(EachSignal, StopSignal, testing::Values(SIGINT, SIGTERM, SIGABRT, SIGHUP));

TEST(Termination, DoesNotCloseASwitchThatWasNeverOpened) {
    DaemonProcess daemon;
    const size_t mark = daemon.trace_mark();
    daemon.stop();
    EXPECT_EQ(daemon.call_names_since(mark),
              (Names{"zv_rpc_change_main_exit_signal_state", "zv_rpc_api_rpc_command_db_deinit",
                     "zv_net_deinit"}));
}

TEST(Termination, TellsTheRpcLibraryToStop) {
    DaemonProcess daemon;
    daemon.stop();
    const auto calls = daemon.calls("zv_rpc_change_main_exit_signal_state");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[1].at("args").at("state"), 1);
}

TEST(Termination, TellsItsStepsAtInfoLevel) {
    DaemonOptions options = with_arguments({"-v", "4"});
    options.rpc_verbosity = 4;
    DaemonProcess daemon(options);
    const size_t before = daemon.log().size();
    daemon.stop();
    Lines lines = daemon.log();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    ASSERT_EQ(lines.size(), 6u) << daemon.err();
    EXPECT_EQ(lines[0].level, "NOTICE");
    EXPECT_EQ(Lines(lines.begin() + 1, lines.end()),
              (Lines{{"ZV_ACL_RM", "INFO", "Un-Locking Terminator MUTEX."},
                     kTermination,
                     {"ZV_ACL_RM", "INFO", "calling acl_rm_rpc_deinit."},
                     {"ACL_RM_RPC", "INFO", "call to zv_api_rpc_command_db_deinit."},
                     {"ACL_RM_RPC", "INFO", "finish acl_rm_rpc_deinit."}}));
}

TEST(Termination, ReleasesWhatTheAclsHoldBeforeItClosesTheSwitch) {
    DaemonProcess daemon;
    TestClient client(daemon);
    client.make_acl(8);
    client.make_acl(16);
    client.make_acl(0);  // holds nothing
    const size_t mark = daemon.trace_mark();
    daemon.stop();
    EXPECT_EQ(daemon.call_names_since(mark),
              (Names{"zv_rpc_change_main_exit_signal_state", "zv_rpc_api_rpc_command_db_deinit",
                     "cl_free", "cl_free", "zv_api_close", "zv_net_deinit"}));
}

TEST(Termination, LeavesTheSwitchAsItIs) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 8)), ZV_ACL_RM_STATUS_SUCCESS);
    const size_t mark = daemon.trace_mark();
    daemon.stop();
    EXPECT_TRUE(daemon.calls("zv_api_acl_set", mark).empty());
    EXPECT_TRUE(daemon.calls("zv_api_acl_region_set", mark).empty());
    EXPECT_TRUE(daemon.calls("zv_api_acl_rules_set", mark).empty());
}

TEST(Termination, NeedsNoClientToGoAway) {
    DaemonProcess daemon;
    RpcConnection idle = daemon.connect();
    daemon.stop();
    EXPECT_FALSE(idle.receive().has_value());
}

TEST(Termination, SecondSignalHasNoFurtherEffect) {
    DaemonProcess daemon;
    const size_t mark = daemon.trace_mark();
    daemon.signal(SIGTERM);
    daemon.signal(SIGINT);
    daemon.signal(SIGHUP);
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(0));
    EXPECT_EQ(daemon.count_log(kTermination), 1u);
    EXPECT_EQ(daemon.calls("zv_net_deinit", mark).size(), 1u);
}

TEST(Termination, ManySignalsAreAsGoodAsOne) {
    DaemonProcess daemon;
    for (int i = 0; i < 200; ++i) {
        daemon.signal(i % 2 == 0 ? SIGTERM : SIGUSR1);
    }
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(0));
    EXPECT_EQ(daemon.count_log(kTermination), 1u);
}

// --- signals that stop nothing

TEST(Signals, Usr1IsLoggedAndChangesNothing) {
    DaemonProcess daemon(with_arguments({"-v", "4"}));
    TestClient client(daemon);
    const size_t mark = daemon.trace_mark();
    for (int i = 0; i < 2; ++i) {
        daemon.signal(SIGUSR1);
        daemon.wait_for_log_matching(caught(SIGUSR1));
    }
    daemon.expect_no_log({"ZV_ACL_RM", "INFO", "Un-Locking Terminator MUTEX."});
    EXPECT_EQ(client.init(3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.call_names_since(mark), Names{});
}

TEST(Signals, PipeIsIgnored) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const size_t lines = daemon.log().size();
    daemon.signal(SIGPIPE);
    EXPECT_EQ(client.init(3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.log().size(), lines);
}

TEST(Signals, AClientThatGoesAwayWithoutItsReplyDisturbsNobody) {
    DaemonProcess daemon;
    for (int i = 0; i < 50; ++i) {
        RpcConnection hasty = daemon.connect();
        EXPECT_TRUE(hasty.send(make_request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET,
                                            Bytes(sizeof(zv_acl_rm_acl_rule_get_params_t)))));
    }
    // Each of them was carried out or dropped; the daemon refused those it saw.
    daemon.allow_error_lines();
    TestClient client(daemon);
    EXPECT_TRUE(daemon.running());
}

// What the kernel says of the signals a process catches or ignores.
uint64_t signal_mask(pid_t pid, const std::string &field) {
    std::istringstream status(read_file("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(field + ":", 0) == 0) {
            return std::stoull(line.substr(field.size() + 1), nullptr, 16);
        }
    }
    return 0;
}

uint64_t bit(int signal_number) {
    return uint64_t{1} << (signal_number - 1);
}

TEST(Signals, AreCaughtAndIgnoredAsPromised) {
    DaemonProcess daemon;
    const uint64_t wanted = bit(SIGINT) | bit(SIGTERM) | bit(SIGABRT) | bit(SIGHUP) | bit(SIGUSR1);
    EXPECT_EQ(signal_mask(daemon.pid(), "SigCgt") & wanted, wanted);
    EXPECT_EQ(signal_mask(daemon.pid(), "SigCgt") & bit(SIGPIPE), 0u);
    EXPECT_EQ(signal_mask(daemon.pid(), "SigIgn") & bit(SIGPIPE), bit(SIGPIPE));
}

TEST(Terminator, RunsOnAThreadOfItsName) {
    DaemonProcess daemon;
    std::vector<std::string> names;
    const auto tasks = "/proc/" + std::to_string(daemon.pid()) + "/task";
    for (const auto &task : std::filesystem::directory_iterator(tasks)) {
        names.push_back(read_file(task.path() / "comm"));
    }
    EXPECT_EQ(std::count(names.begin(), names.end(), "aclRm\n"), 1);
}

// --- tear-downs that fail

// A served daemon with an open switch and a connector, to which `call` fails during the tear-down.
struct FailingTearDown : testing::Test {
    TempDir files;
    size_t mark = 0;

    std::unique_ptr<DaemonProcess> stopped_with(const char *call, uint32_t status,
                                                ExitStatus expected) {
        DaemonOptions options = with_arguments({"--connector=" + connector_path()});
        options.environment = {{"ZV_ACL_RM_CONNECTOR_FILE", files.file("hooks")}};
        auto daemon = std::make_unique<DaemonProcess>(options);
        TestClient client(*daemon);
        daemon->control().fail(call, status);
        mark = daemon->trace_mark();
        daemon->stop(SIGTERM, expected);
        return daemon;
    }
    std::string hooks() { return read_file(files.file("hooks")); }
};

TEST_F(FailingTearDown, OfTheRpcServerSkipsEverythingElse) {
    auto daemon = stopped_with("zv_rpc_api_rpc_command_db_deinit", 5, ExitStatus::exit(1));
    daemon->expect_log(
        error_line(1, "failed to call zv_api_rpc_command_db_deinit 1", "ACL_RM_RPC"));
    daemon->expect_log({"ZV_ACL_RM", "ERROR", "acl_rm_rpc_deinit failed."});
    EXPECT_EQ(daemon->call_names_since(mark),
              (Names{"zv_rpc_change_main_exit_signal_state", "zv_rpc_api_rpc_command_db_deinit"}));
    EXPECT_EQ(hooks(), "aclrmd_init\n");
}

TEST_F(FailingTearDown, OfTheSwitchLeavesTheNetworkLibraryAndTheConnectorAlone) {
    auto daemon = stopped_with("zv_api_close", 2, ExitStatus::exit(1));
    daemon->expect_log(error_line(1, "Failed to close ZV SDK Handle"));
    EXPECT_EQ(daemon->call_names_since(mark),
              (Names{"zv_rpc_change_main_exit_signal_state", "zv_rpc_api_rpc_command_db_deinit",
                     "zv_api_close"}));
    EXPECT_EQ(hooks(), "aclrmd_init\n");
}

TEST_F(FailingTearDown, OfTheNetworkLibraryIsLoggedAndTheRestGoesOn) {
    auto daemon = stopped_with("zv_net_deinit", 9, ExitStatus::exit(0));
    daemon->expect_log({"ZV_ACL_RM", "ERROR", "error 9 deinitializing netlib"});
    EXPECT_EQ(hooks(), "aclrmd_init\naclrmd_deinit\n");
}

}  // namespace
}  // namespace zv_test
