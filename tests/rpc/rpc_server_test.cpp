#include "rpc/acl_rm_rpc_server.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "daemon/logging.h"
#include "tests/rpc/handler_rows.h"

namespace {

using namespace zv_unit;

TEST(CommandTable, HasSixteenRows) {
    EXPECT_EQ(ACL_RM_COMMANDS_NUM, 16u);
    EXPECT_EQ(handler_promises().size(), 16u);
}

class CommandTableRow : public testing::TestWithParam<uint32_t> {};

TEST_P(CommandTableRow, NamesCommandHandlerAndPriority) {
    const zv_rpc_command_t &row = acl_rm_command_id[GetParam()];
    const HandlerPromise &promised = handler_promises()[GetParam()];
    EXPECT_EQ(row.command_id, promised.command_id);
    EXPECT_EQ(row.command_id, GetParam() + 2);
    EXPECT_STREQ(row.name, promised.command_name);
    EXPECT_EQ(row.handler, promised.handler);
    EXPECT_EQ(row.priority, 2u);
}

INSTANTIATE_TEST_SUITE_P(EachCommand, CommandTableRow, testing::Range(0u, 16u));

class RpcServerTest : public HandlerFixture {
  protected:
    void SetUp() override {
        setenv("ZV_PLATFORM_ROOT", root_.path().c_str(), 1);
        HandlerFixture::SetUp();
        rpc_verbosity_level = 4;
    }
    void TearDown() override {
        clear_faults();
        zv_rpc_api_rpc_command_db_deinit();
        HandlerFixture::TearDown();
    }
    bool has_socket() const {
        struct stat info = {};
        return stat((root_.path() / "var/run/zv_acl_rm.sock").c_str(), &info) == 0 &&
               S_ISSOCK(info.st_mode);
    }
    const Line started_ = rpc_line(INFO_MASK, "start acl_rm_rpc_init_procedure.\n");
    const Line socket_next_ = rpc_line(INFO_MASK, "call to rpc_zv_core_td_init.\n");
    const Line table_next_ = rpc_line(INFO_MASK, "call to zv_api_rpc_command_db.\n");
    const Line deinit_next_ = rpc_line(INFO_MASK, "call to zv_api_rpc_command_db_deinit.\n");

  private:
    zv_test::TempDir root_;
};

TEST_F(RpcServerTest, OpensTheSocketThenRegistersTheTable) {
    EXPECT_EQ(acl_rm_rpc_init_procedure(nullptr), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), (Lines{started_, socket_next_, table_next_,
                                   rpc_line(INFO_MASK, "finish acl_rm_rpc_init_procedure.\n")}));
    EXPECT_TRUE(has_socket());
    const nlohmann::json socket_args = recorded_calls("zv_rpc_core_td_init").at(0)["args"];
    EXPECT_EQ(socket_args["socket_path"], "/var/run/zv_acl_rm.sock");
    EXPECT_EQ(socket_args["max_message"], 8000);
    EXPECT_EQ(recorded_calls("zv_rpc_api_rpc_command_db_init").at(0)["args"]["count"], 16);
}

TEST_F(RpcServerTest, FailedSocketIsFoldedIntoOne) {
    fail_call("zv_rpc_core_td_init", 7);
    EXPECT_EQ(acl_rm_rpc_init_procedure(nullptr), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{started_, socket_next_,
                                   failure(1, "failed to call zv_core_td_init 1", "ACL_RM_RPC")}));
    EXPECT_EQ(recorded_calls("zv_rpc_api_rpc_command_db_init").size(), 0u);
}

TEST_F(RpcServerTest, FailedTableIsFoldedIntoOne) {
    fail_call("zv_rpc_api_rpc_command_db_init", 7);
    EXPECT_EQ(acl_rm_rpc_init_procedure(nullptr), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{started_, socket_next_, table_next_,
                     failure(1, "failed to call zv_api_rpc_command_db 1", "ACL_RM_RPC")}));
}

TEST_F(RpcServerTest, TakesTheTableAway) {
    ASSERT_EQ(acl_rm_rpc_init_procedure(nullptr), ZV_ACL_RM_STATUS_SUCCESS);
    take_lines();
    EXPECT_EQ(acl_rm_rpc_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(),
              (Lines{deinit_next_, rpc_line(INFO_MASK, "finish acl_rm_rpc_deinit.\n")}));
    EXPECT_FALSE(has_socket());
}

TEST_F(RpcServerTest, FailedTakingAwayIsFoldedIntoOne) {
    ASSERT_EQ(acl_rm_rpc_init_procedure(nullptr), ZV_ACL_RM_STATUS_SUCCESS);
    take_lines();
    fail_call("zv_rpc_api_rpc_command_db_deinit", 7);
    EXPECT_EQ(acl_rm_rpc_deinit(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{deinit_next_,
                     failure(1, "failed to call zv_api_rpc_command_db_deinit 1", "ACL_RM_RPC")}));
}

TEST_F(RpcServerTest, LoopThatEndsIsASuccess) {
    ASSERT_EQ(acl_rm_rpc_init_procedure(nullptr), ZV_ACL_RM_STATUS_SUCCESS);
    take_lines();
    fail_call("zv_rpc_core_td_start_loop", 7);
    EXPECT_EQ(acl_rm_rpc_start_loop(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{rpc_line(INFO_MASK, "start loop.\n")});
}

TEST_F(RpcServerTest, SaysNothingAtTheVerbosityItStartsWith) {
    rpc_verbosity_level = 3;
    acl_rm_verbosity_level = 5;
    EXPECT_EQ(acl_rm_rpc_init_procedure(nullptr), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_rpc_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
}

}  // namespace
