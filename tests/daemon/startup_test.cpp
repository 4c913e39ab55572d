#include "daemon/startup.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "core/acl_rm_cache.h"
#include "core/db/acl_rm_db.h"
#include "daemon/cli_settings.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "rpc/acl_rm_rpc_server.h"
#include "tests/daemon/captured_log.h"
#include "tests/daemon/switch_double.h"
#include "tests/support/temp_dir.h"
#include "zv_net.h"

namespace {

using namespace zv_unit;

int started_num = 0;
int stopped_num = 0;
bool log_was_open_at_stop = true;

class StartupTest : public testing::Test {
  protected:
    void SetUp() override {
        setenv("ZV_PLATFORM_ROOT", dir_.path().c_str(), 1);
        record_calls(dir_.file("trace"));
        capture_log();
    }
    void TearDown() override {
        clear_faults();
        acl_rm_rpc_deinit();
        zv_log_close();
    }

    // Everything a served daemon has, so that a release meets it.
    void build() {
        ASSERT_EQ(acl_rm_init_internal(), ZV_ACL_RM_STATUS_SUCCESS);
        ASSERT_EQ(acl_rm_init(1, 0), ZV_ACL_RM_STATUS_SUCCESS);
        ASSERT_EQ(zv_net_init(nullptr, 3, 0), 0u);
        take_lines();
    }

    zv_test::TempDir dir_;
};

TEST_F(StartupTest, BuildsCacheThenServerThenRunsTheStartHook) {
    cli_settings.aclrmd_init = [] {
        EXPECT_NE(acl_rule_id_2_region_id_ht, nullptr);
        EXPECT_EQ(recorded_calls("zv_rpc_api_rpc_command_db_init").size(), 1u);
        started_num++;
    };
    EXPECT_EQ(acl_rm_init_internal(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(started_num, 1);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(StartupTest, TellsItsStepsAtInfo) {
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(acl_rm_init_internal(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), (Lines{line(INFO_MASK, "calling acl_rm_rpc_init_procedure.\n"),
                                   line(INFO_MASK, "ACL RM DB init done.\n")}));
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(StartupTest, DoesNotConnectToTheSwitch) {
    EXPECT_EQ(acl_rm_init_internal(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_initialized, 0u);
    EXPECT_EQ(switch_call_names(), std::vector<std::string>{});
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_call_names(), std::vector<std::string>{});
}

TEST_F(StartupTest, FailingCacheEndsItWithError) {
    fail_call("cl_qpool_init", 2);
    EXPECT_EQ(acl_rm_init_internal(), ZV_ACL_RM_STATUS_ERROR);
    const Lines lines = take_lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), failure(1, "ACL RM internal cache init failure"));
    EXPECT_EQ(recorded_calls("zv_rpc_core_td_init").size(), 0u);
    acl_rm_internal_acl_rm_cache_deinit();
}

TEST_F(StartupTest, FailingServerEndsItBeforeTheStartHook) {
    cli_settings.aclrmd_init = [] { started_num++; };
    fail_call("zv_rpc_core_td_init", 9);
    EXPECT_EQ(acl_rm_init_internal(), ZV_ACL_RM_STATUS_ERROR);
    const Lines lines = take_lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), line(ERROR_MASK, "RPC procedure failed.\n"));
    EXPECT_EQ(started_num, 0);
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(StartupTest, ReleaseClosesTheLogBeforeTheStopHook) {
    build();
    cli_settings.aclrmd_deinit = [] {
        LOG_LINE(core_log, error, "from the stop hook");
        log_was_open_at_stop = !take_lines().empty();
        stopped_num++;
    };
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(stopped_num, 1);
    EXPECT_FALSE(log_was_open_at_stop);
}

TEST_F(StartupTest, ReleaseFreesTheCacheAndClosesTheHandleWithTheFlagLeftSet) {
    build();
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rule_id_2_region_id_ht, nullptr);
    EXPECT_EQ(recorded_calls("zv_api_close").size(), 1u);
    EXPECT_EQ(recorded_calls("zv_net_deinit").size(), 1u);
    EXPECT_EQ(is_initialized, 1u);
}

TEST_F(StartupTest, ReleaseWithoutACounterDatabaseReleasesNothing) {
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, "Can't deinit counter DB - DB not initialized).\n", "ACL_RM_DB"),
                     failure(1, "ACL RM deinit counter DB failure.")}));
    EXPECT_EQ(recorded_calls("zv_net_deinit").size(), 0u);
}

TEST_F(StartupTest, ReleaseStopsAtACacheThatCannotBeFreed) {
    build();
    {
        const Missing gone(acl_rule_id_2_region_id_ht);
        EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_ERROR);
    }
    EXPECT_EQ(take_lines(),
              (Lines{line(ERROR_MASK, "ZV_ACL_RM_ERROR, error: 3, failed to free hash table.\n"),
                     passed_up(1)}));
    EXPECT_EQ(recorded_calls("zv_api_close").size(), 0u);
    acl_rm_internal_acl_rm_cache_deinit();
}

TEST_F(StartupTest, ReleaseStopsAtAHandleThatCannotBeClosed) {
    build();
    fail_call("zv_api_close", 1);
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Failed to close ZV SDK Handle")});
    EXPECT_EQ(recorded_calls("zv_net_deinit").size(), 0u);
}

TEST_F(StartupTest, ReleaseGoesOnAfterTheNetworkLibraryFails) {
    build();
    fail_call("zv_net_deinit", 3);
    EXPECT_EQ(acl_rm_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{line(ERROR_MASK, "error 3 deinitializing netlib")});
    EXPECT_EQ(recorded_calls("zv_log_close").size(), 0u);  // never traced
    LOG_LINE(core_log, error, "after the close");
    EXPECT_EQ(take_lines(), Lines{});
}

}  // namespace
