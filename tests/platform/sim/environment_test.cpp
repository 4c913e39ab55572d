#include <gtest/gtest.h>

#include "tests/platform/sim/child_process.h"

namespace {

using zv_test::ChildProcess;
using zv_test::lines_of;
using zv_test::TempDir;

constexpr const char *kDefaults = "65536 512 512 256 1024 1024 1024 0 33";

TEST(Environment, WithoutAnythingTheDefaultsHold) {
    ChildProcess probe({PROBE_PATH, "zv_api_open"}, {});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(lines_of(probe.output()), (std::vector<std::string>{kDefaults, "0"}));
    EXPECT_EQ(probe.errors(), "");
}

TEST(Environment, TheConfigurationFileIsRead) {
    const TempDir dir;
    zv_test::write_file(dir.file("c.json"),
                        R"({"tcam_entries":1,"regions":2,"acl_destroy_in_use":true,"ports":[]})");
    ChildProcess probe({PROBE_PATH}, {{"ZV_SIM_CONFIG", dir.file("c.json")}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(probe.output(), "1 2 512 256 1024 1024 1024 1 0\n");
    EXPECT_EQ(probe.errors(), "");
}

TEST(Environment, ABadConfigurationIsReportedAndIgnoredAsAWhole) {
    const TempDir dir;
    const std::string path = dir.file("c.json");
    zv_test::write_file(path, R"({"regions":2,"acls":"many"})");
    ChildProcess probe({PROBE_PATH}, {{"ZV_SIM_CONFIG", path}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(probe.output(), std::string(kDefaults) + "\n");
    EXPECT_EQ(probe.errors(), "zv_sim: ZV_SIM_CONFIG: " + path +
                                  ": acls: must be an integer from 0 to 4294967295; the defaults "
                                  "are used\n");
}

TEST(Environment, AMissingConfigurationFileIsReported) {
    const TempDir dir;
    const std::string path = dir.file("absent");
    ChildProcess probe({PROBE_PATH}, {{"ZV_SIM_CONFIG", path}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(probe.errors(),
              "zv_sim: ZV_SIM_CONFIG: " + path + ": cannot be read; the defaults are used\n");
}

TEST(Environment, AConfigurationThatCanBeOpenedAndNotReadIsReported) {
    const TempDir dir;
    const std::string path = dir.file("");
    ChildProcess probe({PROBE_PATH}, {{"ZV_SIM_CONFIG", path}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(probe.output(), std::string(kDefaults) + "\n");
    EXPECT_EQ(probe.errors(),
              "zv_sim: ZV_SIM_CONFIG: " + path + ": cannot be read; the defaults are used\n");
}

TEST(Environment, AConfigurationThatIsNoJsonIsReported) {
    const TempDir dir;
    const std::string path = dir.file("c.json");
    zv_test::write_file(path, R"({"regions":)");
    ChildProcess probe({PROBE_PATH}, {{"ZV_SIM_CONFIG", path}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(probe.errors(),
              "zv_sim: ZV_SIM_CONFIG: " + path + ": not valid JSON; the defaults are used\n");
}

TEST(Environment, FaultsAreArmedFromTheFirstCall) {
    ChildProcess probe({PROBE_PATH, "zv_api_open", "zv_api_open", "zv_api_open"},
                       {{"ZV_SIM_FAULTS", R"([{"call":"zv_api_open","nth":2,"status":5}])"}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(lines_of(probe.output()), (std::vector<std::string>{kDefaults, "0", "5", "0"}));
}

TEST(Environment, BadFaultsAreReportedAndNothingIsArmed) {
    ChildProcess probe({PROBE_PATH, "zv_api_open"},
                       {{"ZV_SIM_FAULTS", R"([{"call":"*","status":5},{"call":"x","status":1}])"}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(lines_of(probe.output()), (std::vector<std::string>{kDefaults, "0"}));
    EXPECT_EQ(
        probe.errors(),
        "zv_sim: ZV_SIM_FAULTS: [1].call: no call of this name can fail; no fault is armed\n");
}

TEST(Environment, FaultsThatAreNoJsonAreReported) {
    ChildProcess probe({PROBE_PATH, "zv_api_open"}, {{"ZV_SIM_FAULTS", "[{"}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(probe.errors(), "zv_sim: ZV_SIM_FAULTS: not valid JSON; no fault is armed\n");
}

TEST(Environment, CallsAreTracedInOrderWithTheStatusThatWasReturned) {
    const TempDir dir;
    ChildProcess probe(
        {PROBE_PATH, "zv_api_open", "cl_free"},
        {{"ZV_SIM_TRACE", dir.file("trace")}, {"ZV_SIM_FAULTS", R"([{"call":"*","status":5}])"}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(zv_test::read_file(dir.file("trace")),
              "{\"seq\":1,\"call\":\"zv_api_open\",\"args\":{},\"status\":5,\"out\":{}}\n"
              "{\"seq\":2,\"call\":\"cl_free\",\"args\":{},\"status\":0,\"out\":{}}\n");
}

TEST(Environment, LogCallsFailButAreNeverTraced) {
    const TempDir dir;
    ChildProcess probe({PROBE_PATH, "zv_log_init", "zv_log_close"},
                       {{"ZV_SIM_TRACE", dir.file("trace")},
                        {"ZV_SIM_FAULTS", R"([{"call":"zv_log_close","status":3}])"}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(lines_of(probe.output()), (std::vector<std::string>{kDefaults, "0", "3"}));
    EXPECT_EQ(zv_test::read_file(dir.file("trace")), "");
}

TEST(Environment, ATraceIsAppendedTo) {
    const TempDir dir;
    zv_test::write_file(dir.file("trace"), "before\n");
    ChildProcess probe({PROBE_PATH, "cl_free"}, {{"ZV_SIM_TRACE", dir.file("trace")}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(lines_of(zv_test::read_file(dir.file("trace"))).at(0), "before");
    EXPECT_EQ(lines_of(zv_test::read_file(dir.file("trace"))).size(), 2u);
}

// The line of the probe's nth call.
std::string trace_line(int nth) {
    return R"({"seq":)" + std::to_string(nth) +
           R"(,"call":"cl_free","args":{},"status":0,"out":{}})" + "\n";
}

TEST(Environment, ATraceLineThatIsTakenInPiecesIsWrittenToItsEnd) {
    const TempDir dir;
    ChildProcess probe({PROBE_PATH, "cl_free", "write=7,1000", "cl_free", "cl_free"},
                       {{"ZV_SIM_TRACE", dir.file("trace")}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(zv_test::read_file(dir.file("trace")), trace_line(1) + trace_line(2) + trace_line(3));
}

TEST(Environment, ATraceLineThatIsTornByAFullDiskEndsBeforeTheNextOne) {
    const TempDir dir;
    ChildProcess probe({PROBE_PATH, "write=1000,20", "cl_free", "cl_free", "write=1000,1000",
                        "cl_free", "cl_free"},
                       {{"ZV_SIM_TRACE", dir.file("trace")}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(zv_test::read_file(dir.file("trace")),
              trace_line(1).substr(0, 20) + "\n" + trace_line(3) + trace_line(4));
}

TEST(Environment, ATraceLineThatIsLostAsAWholeLeavesNoEmptyOne) {
    const TempDir dir;
    ChildProcess probe({PROBE_PATH, "write=1000,0", "cl_free", "write=1000,1000", "cl_free"},
                       {{"ZV_SIM_TRACE", dir.file("trace")}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(zv_test::read_file(dir.file("trace")), trace_line(2));
}

TEST(Environment, ATraceFileThatCannotBeOpenedIsReportedOnce) {
    const TempDir dir;
    const std::string path = dir.file("absent/trace");
    ChildProcess probe({PROBE_PATH, "zv_api_open", "zv_api_open"}, {{"ZV_SIM_TRACE", path}});
    EXPECT_EQ(probe.wait(), 0);
    EXPECT_EQ(probe.errors(), "zv_sim: ZV_SIM_TRACE: " + path +
                                  ": No such file or directory; calls are not traced\n");
}

}  // namespace
