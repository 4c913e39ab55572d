#include "daemon/logging.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

#include "tests/daemon/captured_log.h"
#include "zv_log.h"

namespace {

using namespace zv_unit;

class LoggingTest : public testing::Test {
  protected:
    void SetUp() override { capture_log(); }
    void TearDown() override { zv_log_close(); }
};

TEST(LogLevelNames, AreSevenCharactersFromNoneToAll) {
    const char *const names[] = {"NONE   ", "ERROR  ", "WARN   ", "NOTICE ", "INFO   ",
                                 "DEBUG  ", "FUNCS  ", "FRAMES ", "ALL    "};
    for (uint32_t i = 0; i < std::size(names); i++)
        EXPECT_STREQ(log_level_name(i), names[i]) << i;
}

TEST(LogLevelNames, AreUnknownPastTheTable) {
    EXPECT_STREQ(log_level_name(9), "UNKNOWN");
    EXPECT_STREQ(log_level_name(std::numeric_limits<uint32_t>::max()), "UNKNOWN");
}

TEST(StatusNames, AreTheEnumeratorsOfZeroToNine) {
    const char *const names[] = {"ZV_ACL_RM_STATUS_SUCCESS",
                                 "ZV_ACL_RM_STATUS_ERROR",
                                 "ZV_ACL_RM_STATUS_CMD_UNSUPPORTED",
                                 "ZV_ACL_RM_STATUS_PARAM_NULL",
                                 "ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE",
                                 "ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND",
                                 "ZV_ACL_RM_STATUS_NO_RESOURCES",
                                 "ZV_ACL_RM_STATUS_NO_HW_RESOURCES",
                                 "ZV_ACL_RM_STATUS_NO_BUFFER_SPACE",
                                 "ZV_ACL_RM_STATUS_LAST"};
    for (uint32_t status = 0; status < std::size(names); status++)
        EXPECT_STREQ(zv_acl_rm_status_name(status), names[status]) << status;
}

TEST(StatusNames, AreUnknownPastTheTable) {
    EXPECT_STREQ(zv_acl_rm_status_name(10), "UNKNOWN");
    EXPECT_STREQ(zv_acl_rm_status_name(std::numeric_limits<uint32_t>::max()), "UNKNOWN");
}

TEST(Verbosities, StartAtNotice) {
    EXPECT_EQ(acl_rm_verbosity_level, 3u);
    EXPECT_EQ(rpc_verbosity_level, 3u);
    EXPECT_EQ(acl_rm_db_verbosity_level, 3u);
}

// Each module with each level.
struct ModuleUnderTest {
    const LogModule *module;
    uint32_t *verbosity;
    const char *name;
    const char *source_file;
};

const ModuleUnderTest modules[] = {
    {&core_log, &acl_rm_verbosity_level, "ZV_ACL_RM", "acl_rm.c"},
    {&rpc_log, &rpc_verbosity_level, "ACL_RM_RPC", "acl_rm_rpc_server.c"},
    {&db_log, &acl_rm_db_verbosity_level, "ACL_RM_DB", "acl_rm_db.c"},
};

class ThresholdTest : public testing::TestWithParam<std::tuple<int, uint32_t>> {
  protected:
    void SetUp() override { capture_log(); }
    void TearDown() override { zv_log_close(); }
    const ModuleUnderTest &row() const { return modules[std::get<0>(GetParam())]; }
    uint32_t level() const { return std::get<1>(GetParam()); }
    void write() const {
        row().module->write(static_cast<LogLevel>(level()), LogSite{"some_function", 42}, "text %d",
                            7);
    }
};

TEST_P(ThresholdTest, WritesNothingAnywhereBelowTheLevel) {
    *row().verbosity = level() - 1;
    const std::string trace_before = newest_trace_line();
    write();
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_EQ(newest_trace_line(), trace_before);
}

TEST_P(ThresholdTest, WritesAtTheLevel) {
    *row().verbosity = level();
    write();
    const bool is_debug = level() == 5;
    const std::string prefix =
        is_debug ? std::string(row().source_file) + "[42]- some_function: " : "";
    EXPECT_EQ(take_lines(), Lines{line((1u << level()) - 1, prefix + "text 7", row().name)});
}

TEST_P(ThresholdTest, WritesAboveTheLevel) {
    *row().verbosity = level() + 1;
    write();
    EXPECT_EQ(take_lines().size(), 1u);
}

TEST_P(ThresholdTest, TracesTheLineWithLevelModuleAndPlace) {
    *row().verbosity = level();
    write();
    EXPECT_EQ(newest_trace_line(), "[" + std::string(log_level_name(level())) + "] [" + row().name +
                                       "] - some_function[42]: text 7");
}

TEST_P(ThresholdTest, IgnoresTheOtherModulesVerbosity) {
    for (const ModuleUnderTest &other : modules)
        *other.verbosity = 9;
    *row().verbosity = level() - 1;
    write();
    EXPECT_EQ(take_lines(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(EveryModuleAndLevel, ThresholdTest,
                         testing::Combine(testing::Range(0, 3), testing::Range(1u, 6u)));

TEST_F(LoggingTest, VerbosityZeroSilencesErrorsToo) {
    acl_rm_verbosity_level = 0;
    EXPECT_EQ(core_log.fail(ZV_ACL_RM_STATUS_ERROR, "text"), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(core_log.pass_up(ZV_ACL_RM_STATUS_ERROR), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_STREQ(error_msg, "text");
}

TEST_F(LoggingTest, VerbosityAboveDebugWritesEveryLevel) {
    acl_rm_verbosity_level = std::numeric_limits<uint32_t>::max();
    LOG_LINE(core_log, debug, "text");
    LOG_LINE(core_log, error, "text");
    EXPECT_EQ(take_lines().size(), 2u);
}

TEST_F(LoggingTest, LineThatIsNotWrittenDoesNotEvaluateItsArguments) {
    int evaluated_num = 0;
    LOG_LINE(core_log, info, "%d", ++evaluated_num);
    EXPECT_EQ(evaluated_num, 0);
    LOG_LINE(core_log, notice, "%d", ++evaluated_num);
    EXPECT_EQ(evaluated_num, 1);
}

TEST_F(LoggingTest, DebugLineNamesTheFunctionThatWritesIt) {
    acl_rm_verbosity_level = 5;
    LOG_LINE(core_log, debug, "text\n");
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(is_debug_line(lines[0], "acl_rm.c", "TestBody", "text\n")) << lines[0];
}

TEST_F(LoggingTest, TextKeepsItsNewlineOrItsLackOfOne) {
    LOG_LINE(core_log, error, "with\n");
    LOG_LINE(core_log, error, "without");
    EXPECT_EQ(take_lines(), (Lines{line(ERROR_MASK, "with\n"), line(ERROR_MASK, "without")}));
}

TEST_F(LoggingTest, PercentSignsInArgumentsAreText) {
    LOG_LINE(core_log, error, "%s", "100%s%n");
    EXPECT_EQ(take_lines(), Lines{line(ERROR_MASK, "100%s%n")});
}

TEST_F(LoggingTest, WholeCacheDumpFitsALine) {
    const std::string text(65535, 'x');
    LOG_LINE(core_log, notice, "ACL-RM dump data:\n %s", text.c_str());
    EXPECT_EQ(take_lines(), Lines{line(NOTICE_MASK, "ACL-RM dump data:\n " + text)});
}

TEST_F(LoggingTest, LongerTextIsCutAndDoesNoHarm) {
    const std::string text(200000, 'x');
    LOG_LINE(core_log, notice, "%s", text.c_str());
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, std::string(66 * 1024 - 1, 'x'));
}

TEST(LogBeforeItIsOpen, WritesNothingAndDoesNoHarm) {
    LOG_LINE(core_log, error, "text");
    EXPECT_EQ(core_log.fail(ZV_ACL_RM_STATUS_ERROR, "failed"), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{});
}

}  // namespace
