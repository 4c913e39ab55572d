#include "daemon/sdk_connection.h"

#include <gtest/gtest.h>

#include "daemon/logging.h"
#include "tests/daemon/captured_log.h"
#include "tests/daemon/switch_double.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace zv_unit;

class SdkConnectionTest : public testing::Test {
  protected:
    void SetUp() override {
        record_calls(dir_.file("trace"));
        capture_log();
    }
    void TearDown() override { zv_log_close(); }

  private:
    zv_test::TempDir dir_;
};

TEST_F(SdkConnectionTest, StartsClosed) {
    EXPECT_EQ(is_initialized, 0u);
    EXPECT_EQ(recorded_calls("zv_api_open").size(), 0u);
}

TEST_F(SdkConnectionTest, ConnectOpensAHandleThatTheSwitchTakes) {
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(acl_rm_connect_to_sdk(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{line(INFO_MASK, "ACL RM is connected to SDK.\n")});
    EXPECT_EQ(zv_api_close(zv_sdk_handle), 0u);
}

TEST_F(SdkConnectionTest, ConnectReportsTheSdkStatus) {
    fail_call("zv_api_open", 4294967295u);
    EXPECT_EQ(acl_rm_connect_to_sdk(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "Can't open an handle to the SDK, error: [4294967295]")});
}

TEST_F(SdkConnectionTest, InitConnectsOnce) {
    EXPECT_EQ(acl_rm_init(1, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_initialized, 1u);
    EXPECT_EQ(acl_rm_init(2, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(recorded_calls("zv_api_open").size(), 1u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(SdkConnectionTest, FailedInitTellsBothLevelsAndStaysClosed) {
    fail_call("zv_api_open", 1);
    EXPECT_EQ(acl_rm_init(1, 0), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(is_initialized, 0u);
    EXPECT_EQ(take_lines(), (Lines{failure(1, "Can't open an handle to the SDK, error: [1]"),
                                   failure(1, "ACL RM connect to sdk failure")}));
}

TEST_F(SdkConnectionTest, InitTriesAgainAfterAFailure) {
    fail_call("zv_api_open", 1);
    EXPECT_EQ(acl_rm_init(1, 0), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(acl_rm_init(1, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_initialized, 1u);
    EXPECT_EQ(recorded_calls("zv_api_open").size(), 2u);
}

TEST_F(SdkConnectionTest, LostFlagIsNotTakenForConnected) {
    is_initialized = 2;
    EXPECT_EQ(acl_rm_init(1, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_initialized, 1u);
    EXPECT_EQ(recorded_calls("zv_api_open").size(), 1u);
}

}  // namespace
