// Start-up, and the connection to the switch that the first OPEN or INIT makes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

using Names = std::vector<std::string>;
using nlohmann::json;

DaemonOptions with_arguments(std::vector<std::string> arguments) {
    DaemonOptions options;
    options.arguments = std::move(arguments);
    return options;
}

TEST(Startup, CallsThePlatformInItsOrder) {
    DaemonProcess daemon;
    EXPECT_EQ(daemon.call_names_since(0),
              (Names{"zv_rpc_change_main_exit_signal_state", "cl_thread_init", "cl_qpool_init",
                     "zv_rpc_register_log_function", "zv_rpc_core_td_init",
                     "zv_rpc_api_rpc_command_db_init", "zv_net_init"}));
}

TEST(Startup, PassesTheArgumentsThatThePlatformExpects) {
    DaemonProcess daemon(with_arguments({"-v", "2"}));
    const auto args = [&](const char *call) {
        const auto calls = daemon.calls(call);
        return calls.size() == 1 ? calls[0].at("args") : json();
    };
    EXPECT_EQ(args("zv_rpc_change_main_exit_signal_state").value("state", 9), 0);
    EXPECT_EQ(args("cl_thread_init").value("name", ""), "aclRm");
    EXPECT_EQ(args("zv_rpc_core_td_init").value("socket_path", ""), "/var/run/zv_acl_rm.sock");
    EXPECT_EQ(args("zv_rpc_core_td_init").value("max_message", 0), 8000);
    EXPECT_EQ(args("zv_rpc_api_rpc_command_db_init").value("count", 0), 16);
    EXPECT_EQ(args("zv_net_init").value("verbosity", 9), 2);
    EXPECT_EQ(args("zv_net_init").value("flags", 9), 0);
}

TEST(Startup, LogsOneLineUnlessAskedForMore) {
    DaemonProcess daemon;
    EXPECT_EQ(daemon.log(),
              (std::vector<LogLine>{{"ZV_ACL_RM", "NOTICE", "Creating Terminator thread done."}}));
}

TEST(Startup, TellsItsStepsAtInfoLevel) {
    DaemonProcess daemon(with_arguments({"-v", "4"}));
    std::vector<LogLine> lines = daemon.log();
    std::erase_if(lines, [](const LogLine &line) { return line.module != "ZV_ACL_RM"; });
    EXPECT_EQ(lines,
              (std::vector<LogLine>{{"ZV_ACL_RM", "INFO", "Creating Terminator MUTEX."},
                                    {"ZV_ACL_RM", "INFO", "Locking Terminator MUTEX."},
                                    {"ZV_ACL_RM", "INFO", "Creating Terminator thread."},
                                    {"ZV_ACL_RM", "NOTICE", "Creating Terminator thread done."},
                                    {"ZV_ACL_RM", "INFO", "calling acl_rm_rpc_init_procedure."},
                                    {"ZV_ACL_RM", "INFO", "ACL RM DB init done."}}));
}

TEST(Startup, DoesNotOpenTheSwitch) {
    DaemonProcess daemon;
    EXPECT_TRUE(daemon.calls("zv_api_open").empty());
}

TEST(Startup, MakesItsSocketForOwnerAndGroup) {
    DaemonProcess daemon;
    struct stat status = {};
    ASSERT_EQ(stat(daemon.socket_path().c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 0777u, 0660u);
}

// Started by hand on the root of another daemon.
struct SecondDaemon {
    TempDir files;
    ChildProcess process;

    explicit SecondDaemon(DaemonProcess &first)
        : process({daemon_path()}, {{"ZV_PLATFORM_ROOT", first.root().path().string()}},
                  files.file("stdout"), files.file("stderr")) {}
    std::vector<LogLine> log() const { return parse_log(read_file(files.file("stderr"))); }
};

TEST(Startup, ASecondDaemonEndsAndLeavesTheFirstAlone) {
    DaemonProcess first;
    TestClient client(first);
    SecondDaemon second(first);
    EXPECT_EQ(second.process.wait(30000), ExitStatus::exit(1));
    EXPECT_EQ(second.log(),
              (std::vector<LogLine>{{"ZV_ACL_RM", "NOTICE", "Creating Terminator thread done."},
                                    error_line(1, "failed to call zv_core_td_init 1", "ACL_RM_RPC"),
                                    {"ZV_ACL_RM", "ERROR", "RPC procedure failed."},
                                    passed_up_line(1)}));
    EXPECT_EQ(client.init(3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(RpcConnection::open(first.socket_path()).has_value());
}

TEST(Startup, ReplacesTheSocketOfADaemonThatDied) {
    DaemonProcess first;
    first.stop(SIGKILL, ExitStatus::killed(SIGKILL));
    EXPECT_FALSE(RpcConnection::open(first.socket_path()).has_value());
    SecondDaemon second(first);
    std::optional<RpcConnection> connection;
    for (int i = 0; i < 30000 && !connection && !second.process.wait(1); ++i) {
        connection = RpcConnection::open(first.socket_path());
    }
    ASSERT_TRUE(connection.has_value());
    EXPECT_TRUE(connection->call(0, {}).has_value());
    second.process.signal(SIGTERM);
    EXPECT_EQ(second.process.wait(30000), ExitStatus::exit(0));
}

// --- the connection to the switch

TEST(SwitchConnection, IsOpenedByTheFirstOpenAndNeverAgain) {
    DaemonProcess daemon(with_arguments({"-v", "4"}));
    TestClient client = TestClient::unopened(daemon, 7);
    EXPECT_EQ(client.open(0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.calls("zv_api_open").size(), 1u);
    daemon.expect_log({"ZV_ACL_RM", "INFO", "ACL RM is connected to SDK."});
    EXPECT_EQ(client.open(0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.open(1), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.init(3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.calls("zv_api_open").size(), 1u);
    daemon.expect_no_log({"ZV_ACL_RM", "INFO", "ACL RM is connected to SDK."});
}

TEST(SwitchConnection, IsOpenedByInitToo) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 7);
    EXPECT_EQ(client.init(3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.calls("zv_api_open").size(), 1u);
    EXPECT_EQ(client.open(0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.calls("zv_api_open").size(), 1u);
}

TEST(SwitchConnection, IsOpenedEvenIfTheChipIsUnknown) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 7);
    EXPECT_EQ(client.init(0), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(daemon.calls("zv_api_open").size(), 1u);
    EXPECT_EQ(client.init(3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.calls("zv_api_open").size(), 1u);
}

TEST(SwitchConnection, IsTriedAgainByTheNextOpenAfterAFailure) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 7);
    daemon.control().fail("zv_api_open", 5);
    EXPECT_EQ(client.open(0), ZV_ACL_RM_STATUS_ERROR);
    daemon.expect_log(error_line(1, "Can't open an handle to the SDK, error: [5]"));
    daemon.expect_log(error_line(1, "ACL RM connect to sdk failure"));
    daemon.expect_no_error_lines();

    EXPECT_EQ(client.open(0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.calls("zv_api_open").size(), 2u);
    EXPECT_EQ(client.open(0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.calls("zv_api_open").size(), 2u);
}

TEST(SwitchConnection, InitThatCannotOpenItLoadsNoLimits) {
    DaemonOptions options;
    options.rpc_verbosity = 4;
    DaemonProcess daemon(options);
    TestClient client = TestClient::unopened(daemon, 7);
    daemon.control().fail("zv_api_open", 1);
    EXPECT_EQ(client.init(3), ZV_ACL_RM_STATUS_ERROR);
    daemon.expect_log(error_line(1, "Can't open an handle to the SDK, error: [1]"));
    daemon.expect_log(error_line(1, "ACL RM connect to sdk failure"));
    daemon.expect_log({"ACL_RM_RPC", "INFO", "failed in acl_rm_init. acl_ret_status:=1."});

    EXPECT_EQ(client.open(0), ZV_ACL_RM_STATUS_SUCCESS);
    const acl_rm_acl acl = client.make_acl(4);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 1)),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(error_line(4, "To many rules [1] to configure in one action"));
}

}  // namespace
}  // namespace zv_test
