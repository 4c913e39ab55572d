#include <gtest/gtest.h>

#include <cstring>

#include "daemon/logging.h"
#include "tests/daemon/captured_log.h"
#include "zv_log.h"

namespace {

using namespace zv_unit;

constexpr const char *forms_text = "told by the failure";

// Statuses 1 to 8, each in the three ways to report it.
class FailureReportTest : public testing::TestWithParam<uint32_t> {
  protected:
    void SetUp() override { capture_log(); }
    void TearDown() override { zv_log_close(); }
    uint32_t status() const { return GetParam(); }
};

TEST_P(FailureReportTest, FailNotifiesOnlyOfMissingHardwareResources) {
    EXPECT_EQ(core_log.fail(status(), "%s", forms_text), status());
    const Line wanted =
        status() == 7 ? notification(status(), forms_text) : failure(status(), forms_text);
    EXPECT_EQ(take_lines(), Lines{wanted});
}

TEST_P(FailureReportTest, FailOrNotifyNotifiesOfMissingResourcesOfBothKinds) {
    EXPECT_EQ(core_log.fail_or_notify(status(), "%s", forms_text), status());
    const bool is_notified = status() == 6 || status() == 7;
    const Line wanted =
        is_notified ? notification(status(), forms_text) : failure(status(), forms_text);
    EXPECT_EQ(take_lines(), Lines{wanted});
}

TEST_P(FailureReportTest, PassUpNamesTheStatus) {
    EXPECT_EQ(core_log.pass_up(status()), status());
    EXPECT_EQ(take_lines(), Lines{passed_up(status())});
}

TEST_P(FailureReportTest, PassUpLeavesTheErrorTextAlone) {
    core_log.fail(ZV_ACL_RM_STATUS_ERROR, "first");
    core_log.pass_up(status());
    EXPECT_STREQ(error_msg, "first");
}

INSTANTIATE_TEST_SUITE_P(EveryStatus, FailureReportTest, testing::Range(1u, 9u));

class ErrorTextTest : public testing::Test {
  protected:
    void SetUp() override { capture_log(); }
    void TearDown() override { zv_log_close(); }

    // What a failure with a text of that length leaves in the buffer and in the log.
    void expect_kept(size_t length, size_t kept) {
        const std::string text(length, 'e');
        core_log.fail(ZV_ACL_RM_STATUS_ERROR, "%s", text.c_str());
        EXPECT_EQ(error_msg, std::string(kept, 'e')) << length;
        EXPECT_EQ(take_lines(), Lines{failure(1, std::string(kept, 'e'))}) << length;
    }
};

TEST_F(ErrorTextTest, Holds199Characters) {
    expect_kept(198, 198);
    expect_kept(199, 199);
}

TEST_F(ErrorTextTest, IsCutAt199Characters) {
    expect_kept(200, 199);
    expect_kept(5000, 199);
}

TEST_F(ErrorTextTest, ReplacesTheEarlierOne) {
    core_log.fail(ZV_ACL_RM_STATUS_ERROR, "a long text of an earlier failure");
    rpc_log.fail(ZV_ACL_RM_STATUS_ERROR, "short %u", 7u);
    EXPECT_STREQ(error_msg, "short 7");
}

TEST_F(ErrorTextTest, PercentSignsInItAreText) {
    core_log.fail(ZV_ACL_RM_STATUS_ERROR, "%s", "50%d");
    EXPECT_EQ(take_lines(), Lines{failure(1, "50%d")});
}

TEST_F(ErrorTextTest, KeepsItsOwnNewlineBeforeTheLines) {
    core_log.fail(ZV_ACL_RM_STATUS_ERROR, "text\n");
    EXPECT_EQ(take_lines(),
              Lines{line(ERROR_MASK, "ZV_ACL_RM ERROR error;=1, error message:=text\n\n")});
}

TEST_F(ErrorTextTest, GoesOutUnderTheModuleThatReportsIt) {
    rpc_log.fail(ZV_ACL_RM_STATUS_ERROR, "text");
    db_log.fail(ZV_ACL_RM_STATUS_NO_HW_RESOURCES, "text");
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, "text", "ACL_RM_RPC"), notification(7, "text", "ACL_RM_DB")}));
}

TEST_F(ErrorTextTest, IsTracedWithTheFunctionThatReportsIt) {
    core_log.fail(ZV_ACL_RM_STATUS_ERROR, "text");
    const std::string trace = newest_trace_line();
    EXPECT_TRUE(trace.starts_with("[ERROR  ] [ZV_ACL_RM] - TestBody[")) << trace;
    EXPECT_TRUE(trace.ends_with("]: ZV_ACL_RM ERROR error;=1, error message:=text")) << trace;
}

TEST_F(ErrorTextTest, NotificationNeedsTheVerbosityOfANotice) {
    acl_rm_verbosity_level = 2;
    core_log.fail(ZV_ACL_RM_STATUS_NO_HW_RESOURCES, "text");
    core_log.pass_up(ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(take_lines(), Lines{});
    core_log.fail(ZV_ACL_RM_STATUS_ERROR, "text");
    EXPECT_EQ(take_lines().size(), 1u);
}

}  // namespace
