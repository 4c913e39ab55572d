// Which lines are written, in which form, and where the daemon's own sink puts them.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "tests/daemon_e2e/plugin_paths.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

using Lines = std::vector<LogLine>;

// A daemon of one verbosity in which one line of each level was caused, as far as it has any.
class AtVerbosity {
  public:
    explicit AtVerbosity(const std::string &level) : daemon_(options(level)) {
        TestClient client(daemon_);
        const acl_rm_acl acl = client.make_acl(4);
        EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 1)), ZV_ACL_RM_STATUS_SUCCESS);
        acl_rm_acl refused = acl_of_size(4);
        EXPECT_EQ(TestClient::unopened(daemon_, 99).create_acl(refused),
                  ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
        daemon_.allow_error_lines();
        lines_ = daemon_.log();
    }

    bool has_level(const std::string &level) const {
        return std::any_of(lines_.begin(), lines_.end(),
                           [&](const LogLine &line) { return line.level == level; });
    }
    std::string levels() const {
        std::string names;
        for (const char *level : {"ERROR", "NOTICE", "INFO", "DEBUG"}) {
            names += has_level(level) ? std::string(level) + " " : "";
        }
        return names;
    }
    const Lines &lines() const { return lines_; }
    DaemonProcess &daemon() { return daemon_; }

  private:
    static DaemonOptions options(const std::string &level) {
        DaemonOptions options;
        options.arguments = {"-v", level};
        return options;
    }
    DaemonProcess daemon_;
    Lines lines_;
};

TEST(Log, NothingIsWrittenAtVerbosityZeroErrorsIncluded) {
    AtVerbosity daemon("0");
    EXPECT_EQ(daemon.daemon().err(), "");
    daemon.daemon().stop();
    EXPECT_EQ(daemon.daemon().err(), "");
}

TEST(Log, EachVerbosityAddsItsLevel) {
    EXPECT_EQ(AtVerbosity("1").levels(), "ERROR ");
    EXPECT_EQ(AtVerbosity("2").levels(), "ERROR ");
    EXPECT_EQ(AtVerbosity("3").levels(), "ERROR NOTICE ");
    EXPECT_EQ(AtVerbosity("4").levels(), "ERROR NOTICE INFO ");
    EXPECT_EQ(AtVerbosity("5").levels(), "ERROR NOTICE INFO DEBUG ");
    EXPECT_EQ(AtVerbosity("9").levels(), "ERROR NOTICE INFO DEBUG ");
}

TEST(Log, WarningsAppearFromVerbosityTwoOn) {
    for (const char *level : {"1", "2"}) {
        DaemonOptions options;
        options.arguments = {"-v", level};
        DaemonProcess daemon(options);
        const std::string nowhere = daemon.root().file("no/such/directory/dump");
        EXPECT_EQ(TestClient::unopened(daemon, 7).dump(nowhere), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(daemon.log("ZV_ACL_RM", "WARN").size(), std::string(level) == "1" ? 0u : 1u);
    }
}

TEST(Log, DebugLinesNameTheirPlaceAndNoOtherLineDoes) {
    const AtVerbosity daemon("5");
    const std::regex place(R"(acl_rm\.c\[\d+\]- \w+: [^]*)");
    size_t debug_lines = 0;
    for (const LogLine &line : daemon.lines()) {
        if (line.module == "ZV_ACL_RM") {
            EXPECT_EQ(std::regex_match(line.text, place), line.level == "DEBUG") << line;
            debug_lines += line.level == "DEBUG";
        }
    }
    EXPECT_GT(debug_lines, 0u);
}

TEST(Log, ADebugLineReadsAsPlaceAndText) {
    const AtVerbosity daemon("5");
    const std::regex wanted(R"(acl_rm\.c\[\d+\]- ht_safe_insert: Insert successful)");
    EXPECT_TRUE(std::any_of(daemon.lines().begin(), daemon.lines().end(), [&](const LogLine &line) {
        return line.level == "DEBUG" && std::regex_match(line.text, wanted);
    }));
}

TEST(Log, InfoLinesOfTheRpcModuleAreNeverWrittenWhateverTheOptionSays) {
    AtVerbosity daemon("9");
    EXPECT_TRUE(daemon.daemon().log("ACL_RM_RPC", "INFO").empty());
    EXPECT_TRUE(daemon.daemon().log("ACL_RM_RPC", "DEBUG").empty());
    EXPECT_TRUE(daemon.daemon().log("ACL_RM_DB", "INFO").empty());
}

TEST(Log, InfoLinesOfTheRpcModuleAreWrittenOnceItsVerbosityIsRaised) {
    DaemonOptions options;
    options.rpc_verbosity = 4;
    DaemonProcess daemon(options);
    daemon.expect_log({"ACL_RM_RPC", "INFO", "start loop."});
    TestClient client(daemon);
    daemon.expect_log({"ACL_RM_RPC", "INFO", "got message zv_acl_rm_api_open."});
    daemon.expect_log({"ACL_RM_RPC", "INFO", "got message zv_acl_rm_api_init."});
    // The other modules keep their own.
    EXPECT_TRUE(daemon.log("ZV_ACL_RM", "INFO").empty());
}

TEST(Log, TheRpcModuleKeepsItsVerbosityWhenTheOptionLowersTheOther) {
    DaemonOptions options;
    options.arguments = {"-v", "0"};
    DaemonProcess daemon(options);
    EXPECT_TRUE(daemon.connect().call(ZV_ACL_RM_API_INT_CMD_OPEN, Bytes(15)).has_value());
    daemon.expect_log({"ACL_RM_RPC", "ERROR", "failed to received zv_acl_rm_api_open len 15."});
    EXPECT_EQ(daemon.log().size(), 1u);
}

// --- the trace ring

std::vector<std::string> ring_lines(DaemonProcess &daemon) {
    const auto answer = daemon.control().checked_call({{"cmd", "trace"}, {"lines", 10000}});
    return answer.value("lines", std::vector<std::string>{});
}

bool any_matches(const std::vector<std::string> &lines, const std::string &pattern) {
    const std::regex wanted(pattern);
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string &line) { return std::regex_search(line, wanted); });
}

TEST(TraceRing, GetsEveryLineWithItsPlace) {
    DaemonProcess daemon;
    const auto lines = ring_lines(daemon);
    EXPECT_TRUE(any_matches(lines, R"(\[NOTICE \] \[ZV_ACL_RM\] - acl_rm_terminator_init\[\d+\]: )"
                                   R"(Creating Terminator thread done\.)"));
    EXPECT_FALSE(any_matches(lines, "Creating Terminator MUTEX")) << "an info line";
}

TEST(TraceRing, GetsWhatTheVerbosityLetsThroughAndNothingElse) {
    DaemonOptions quiet;
    quiet.arguments = {"-v", "0"};
    DaemonProcess silent(quiet);
    EXPECT_FALSE(any_matches(ring_lines(silent), "ZV_ACL_RM"));

    DaemonOptions loud;
    loud.arguments = {"-v", "5"};
    DaemonProcess talkative(loud);
    EXPECT_TRUE(any_matches(ring_lines(talkative),
                            R"(\[INFO   \] \[ZV_ACL_RM\] - acl_rm_terminator_init\[\d+\]: )"
                            R"(Creating Terminator MUTEX\.)"));
}

TEST(TraceRing, OutlivesADaemonThatIsKilled) {
    DaemonOptions options;
    const TempDir files;
    options.environment["ZV_TRACE_FILE"] = files.file("ring");
    DaemonProcess daemon(options);
    daemon.stop(SIGKILL, ExitStatus::killed(SIGKILL));
    EXPECT_NE(read_file(files.file("ring")).find("Creating Terminator thread done."),
              std::string::npos);
}

// --- the sink that the daemon exports

// What arrives when one line of each mask from 0 to 511 low bits goes through the sink.
std::string through_sink(const std::string &outlet, const std::string &preload = "") {
    const TempDir files;
    DaemonOptions options;
    options.arguments = {"--connector=" + verbosity_connector_path()};
    options.environment = {{"ZV_TEST_SINK", outlet},
                           {"ZV_TEST_SINK_FILE", files.file("sink")},
                           {"ZV_TEST_SYSLOG_FILE", files.file("syslog")}};
    if (!preload.empty()) {
        options.environment["LD_PRELOAD"] = preload;
    }
    DaemonProcess daemon(options);
    return read_file(files.file(outlet == "syslog" ? "syslog" : "sink"));
}

// The names of the levels that the masks of 0 to 9 low bits stand for.
const char *const kLevelNames[] = {"NONE   ", "ERROR  ", "WARN   ", "NOTICE ", "INFO   ",
                                   "DEBUG  ", "FUNCS  ", "FRAMES ", "ALL    ", "UNKNOWN"};

TEST(OwnSink, WritesToTheLogFileBeforeAllElse) {
    std::string wanted;
    for (const char *level : kLevelNames) {
        wanted += std::string("[MODULE              ][") + level + "] : 100%s\n";
    }
    EXPECT_EQ(through_sink("file"), wanted);
}

TEST(OwnSink, PassesTheThreeArgumentsToTheHook) {
    std::string wanted;
    for (unsigned level = 0; level < std::size(kLevelNames); ++level) {
        wanted += "hook " + std::to_string((1u << level) - 1) + " MODULE 100%s\n";
    }
    EXPECT_EQ(through_sink("hook"), wanted);
}

TEST(OwnSink, WritesToSyslogWithThePriorityTwoAboveTheLevel) {
    if (replaces_libc_functions()) {
        GTEST_SKIP() << "the sanitizer's own library must be loaded first";
    }
    std::string wanted;
    for (unsigned level = 0; level < std::size(kLevelNames); ++level) {
        wanted += std::to_string(level + 2) + "|[MODULE              ][" + kLevelNames[level] +
                  "] : 100%s\n";
    }
    EXPECT_EQ(through_sink("syslog", interposer_path()), wanted);
}

}  // namespace
}  // namespace zv_test
