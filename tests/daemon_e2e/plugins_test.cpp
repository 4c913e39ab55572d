// The two plug-ins: how they are refused, and what the daemon does with them.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/daemon_e2e/plugin_paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

const char kMissing[] = "/nonexistent/plugin.so";

std::string refusal_of(const std::string &argument) {
    DaemonProcess daemon(ending_run({argument}));
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(1));
    EXPECT_EQ(daemon.out(), "");
    EXPECT_TRUE(daemon.trace().empty()) << "the platform was used";
    return daemon.err();
}

std::string missing_file() {
    return std::string(kMissing) + ": cannot open shared object file: No such file or directory.\n";
}

std::string missing_symbol(const std::string &library, const std::string &symbol) {
    return "Could not find symbol " + symbol + ": " + library + ": undefined symbol: " + symbol +
           ".\n";
}

TEST(Plugins, LoggerThatIsNotThereIsRefused) {
    EXPECT_EQ(refusal_of(std::string("--logger=") + kMissing),
              "Could not load ZV ACL RM logger library: " + missing_file());
}

TEST(Plugins, LoggerWithoutItsFunctionIsRefused) {
    EXPECT_EQ(refusal_of("--logger=" + connector_path()),
              missing_symbol(connector_path(), "log_cb"));
}

TEST(Plugins, ConnectorThatIsNotThereIsRefused) {
    EXPECT_EQ(refusal_of(std::string("--connector=") + kMissing),
              "Could not load ZV ACL RM connector library: " + missing_file());
}

TEST(Plugins, ConnectorWithoutItsStartHookIsRefused) {
    EXPECT_EQ(refusal_of("--connector=" + file_logger_path()),
              missing_symbol(file_logger_path(), "aclrmd_init"));
}

TEST(Plugins, ConnectorWithoutItsStopHookIsRefusedThoughItHasTheOther) {
    EXPECT_EQ(refusal_of("--connector=" + half_connector_path()),
              missing_symbol(half_connector_path(), "aclrmd_deinit"));
}

// A daemon with the file logger, the connector, or both; their files lie in a directory that
// outlives it.
struct WithPlugins : testing::Test {
    TempDir files;
    std::string log_path = files.file("log");
    std::string calls_path = files.file("calls");

    DaemonOptions options(std::vector<std::string> arguments) {
        DaemonOptions options;
        options.arguments = std::move(arguments);
        options.environment = {{"ZV_ACL_RM_LOG_FILE", log_path},
                               {"ZV_ACL_RM_CONNECTOR_FILE", calls_path}};
        return options;
    }
    std::string logger_option() { return "--logger=" + file_logger_path(); }
    std::string connector_option() { return "--connector=" + connector_path(); }

    std::vector<LogLine> log() { return parse_log(read_file(log_path)); }
    bool logged(const LogLine &line) {
        const std::vector<LogLine> lines = log();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
};

TEST_F(WithPlugins, TheLoggerGetsEveryLineInPlaceOfStandardError) {
    {
        DaemonProcess daemon(options({logger_option(), "-v4"}));
        TestClient client(daemon);
        daemon.stop();
        EXPECT_EQ(daemon.err(), "");
    }
    EXPECT_TRUE(logged({"ZV_ACL_RM", "NOTICE", "Creating Terminator thread done."}));
    EXPECT_TRUE(logged({"ZV_ACL_RM", "INFO", "ACL RM is connected to SDK."}));
    EXPECT_TRUE(logged({"ZV_ACL_RM", "NOTICE", "starting zv_acl_rm termination..."}));
}

TEST_F(WithPlugins, TheLoggerWritesOneWholeLineForEachCall) {
    {
        DaemonProcess daemon(options({logger_option()}));
        daemon.stop();
    }
    const std::string text = read_file(log_path);
    EXPECT_NE(text.find("[ZV_ACL_RM           ][NOTICE ] : Creating Terminator thread done.\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("\n\n"), std::string::npos) << "an empty line:\n" << text;
    EXPECT_EQ(text.back(), '\n');
}

TEST_F(WithPlugins, TheLoggerIsTheSinkOfTheRpcLibraryToo) {
    {
        DaemonProcess daemon(options({logger_option()}));
        TestClient client(daemon);
        daemon.stop();
    }
    const std::vector<LogLine> lines = log();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                            [](const LogLine &line) { return line.module == "ZV_RPC"; }));
}

TEST_F(WithPlugins, TheLoggerAppendsToWhatIsThere) {
    write_file(log_path, "from before\n");
    { DaemonProcess daemon(options({logger_option()})); }
    EXPECT_EQ(read_file(log_path).rfind("from before\n[ZV_ACL_RM", 0), 0u) << read_file(log_path);
}

TEST_F(WithPlugins, ALoggerThatCannotWriteChangesNothing) {
    log_path = files.file("no/such/directory/log");
    DaemonProcess daemon(options({logger_option()}));
    TestClient client(daemon);
    EXPECT_EQ(daemon.err(), "");
    daemon.stop();
}

TEST_F(WithPlugins, TheConnectorIsStartedOnceAndStoppedOnce) {
    DaemonProcess daemon(options({connector_option()}));
    EXPECT_EQ(read_file(calls_path), "aclrmd_init\n");
    TestClient client(daemon);
    daemon.stop();
    EXPECT_EQ(read_file(calls_path), "aclrmd_init\naclrmd_deinit\n");
}

// Log and connector share standard error here, so the order of their lines is that of the calls.
TEST_F(WithPlugins, TheConnectorStartsOnceTheRpcServerIsBuilt) {
    DaemonOptions shared = options({connector_option(), "-v4"});
    shared.environment.erase("ZV_ACL_RM_CONNECTOR_FILE");
    DaemonProcess daemon(shared);
    const std::string text = daemon.err();
    const size_t server = text.find("calling acl_rm_rpc_init_procedure.\n");
    const size_t start = text.find("\naclrmd_init\n");
    const size_t done = text.find("ACL RM DB init done.\n");
    ASSERT_NE(done, std::string::npos) << text;
    ASSERT_NE(start, std::string::npos) << text;
    EXPECT_LT(server, start);
    EXPECT_LT(start, done);
}

TEST_F(WithPlugins, TheConnectorStopsAfterTheLogIsClosed) {
    DaemonOptions shared = options({connector_option(), "-v9"});
    shared.environment.erase("ZV_ACL_RM_CONNECTOR_FILE");
    DaemonProcess daemon(shared);
    daemon.stop();
    const std::string text = daemon.err();
    const std::string last_line = "\naclrmd_deinit\n";
    ASSERT_GT(text.size(), last_line.size());
    EXPECT_EQ(text.substr(text.size() - last_line.size()), last_line) << text;
}

TEST_F(WithPlugins, BothPluginsServeTogetherInEitherOrder) {
    for (const auto &arguments : {std::vector{logger_option(), connector_option()},
                                  std::vector{connector_option(), logger_option()}}) {
        write_file(log_path, "");
        write_file(calls_path, "");
        DaemonProcess daemon(options(arguments));
        TestClient client(daemon);
        daemon.stop();
        EXPECT_EQ(read_file(calls_path), "aclrmd_init\naclrmd_deinit\n");
        EXPECT_TRUE(logged({"ZV_ACL_RM", "NOTICE", "starting zv_acl_rm termination..."}));
    }
}

TEST_F(WithPlugins, ALoggerRefusedAfterAConnectorNeverStartsTheConnector) {
    DaemonOptions run = options({connector_option(), std::string("--logger=") + kMissing});
    run.wait_until_serving = false;
    DaemonProcess daemon(run);
    EXPECT_EQ(daemon.wait_exit(), ExitStatus::exit(1));
    EXPECT_EQ(read_file(calls_path), "");
}

}  // namespace
}  // namespace zv_test
