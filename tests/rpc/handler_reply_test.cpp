// Successes, and the failures that only one handler has.
#include <gtest/gtest.h>

#include <cstring>

#include "core/acl_rm_cache.h"
#include "core/acl_rm_owner.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/rpc/handler_rows.h"
#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_rm_resource.h"

namespace {

using namespace zv_unit;

constexpr uint64_t HANDLE = 0x1122334455667788;

class HandlerReplyTest : public ServingFixture {
  protected:
    template <class Record>
    static Reply send(uint32_t command_id, Record *record) {
        return call(promise_of(command_id), record, sizeof(*record));
    }
    static void open(uint32_t owner = 2) {
        zv_acl_rm_open_params_t record = {HANDLE, owner, 0};
        ASSERT_EQ(send(2, &record).status, ZV_ACL_RM_STATUS_SUCCESS);
    }
    static void init(uint32_t chip_type = 3) {
        zv_acl_rm_init_params_t record = {HANDLE, chip_type, 0};
        ASSERT_EQ(send(3, &record).status, ZV_ACL_RM_STATUS_SUCCESS);
    }
    static zv_acl_rm_acl_set_params_t acl_request() {
        zv_acl_rm_acl_set_params_t record = {};
        record.client_handle = HANDLE;
        record.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
        record.acl.min_size = 8;
        record.acl.max_size = 8;
        return record;
    }
    static uint32_t create_acl() {
        zv_acl_rm_acl_set_params_t record = acl_request();
        EXPECT_EQ(send(4, &record).status, ZV_ACL_RM_STATUS_SUCCESS);
        return record.acl.acl_id;
    }
    static void expect_no_reply(const Reply &reply) {
        EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(reply.body, nullptr);
        EXPECT_EQ(reply.length, 0u);
    }
    static void expect_reply(const Reply &reply, void *record, uint32_t command_id) {
        const HandlerPromise &row = promise_of(command_id);
        EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(reply.body, static_cast<uint8_t *>(record) + row.reply_offset);
        EXPECT_EQ(reply.length, row.reply_length);
    }
};

TEST_F(HandlerReplyTest, OpenStoresTheHandleAndHasNoReply) {
    zv_acl_rm_open_params_t record = {HANDLE, 2, 0xffffffff};
    expect_no_reply(send(2, &record));
    EXPECT_EQ(acl_rm_clients_handles[2], HANDLE);
    EXPECT_EQ(acl_rm_clients_priority[2], 0u);
    EXPECT_EQ(is_initialized, 1u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(HandlerReplyTest, OpenOfAnOwnerPastTheTableIsRefused) {
    zv_acl_rm_open_params_t record = {HANDLE, 4, 0};
    const Reply reply = send(2, &record);
    EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reply.is_untouched());
}

TEST_F(HandlerReplyTest, InitConnectsAndLoadsTheLimitsAndHasNoReply) {
    zv_acl_rm_init_params_t record = {HANDLE, 3, 0};
    expect_no_reply(send(3, &record));
    EXPECT_EQ(is_initialized, 1u);
    EXPECT_EQ(rm_resource_global.max_rules_per_action, 20u);
    EXPECT_EQ(rm_resource_global.acl_table_limit_a, 400u);
    EXPECT_EQ(rm_resource_global.acl_table_limit_b, 512u);
}

TEST_F(HandlerReplyTest, InitLoadsTheLimitsAnewAndKeepsTheConnection) {
    init(3);
    init(5);
    EXPECT_EQ(rm_resource_global.max_rules_per_action, 0u);
    EXPECT_EQ(recorded_calls("zv_api_open").size(), 1u);
}

TEST_F(HandlerReplyTest, InitDoesNotTouchTheCache) {
    open();
    init();
    const uint32_t acl_id = create_acl();
    init();
    acl_id_info *info = nullptr;
    EXPECT_EQ(look_up(acl_id_2_acl_id_info_table_ht, &acl_id, &info), Lookup::found);
}

TEST_F(HandlerReplyTest, InitOfAnUnknownChipKeepsTheLimits) {
    init(3);
    for (const uint32_t chip_type : {0u, 2u, 4u, 12u, 4294967295u}) {
        rpc_verbosity_level = 4;
        zv_acl_rm_init_params_t record = {HANDLE, chip_type, 0};
        const Reply reply = send(3, &record);
        EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reply.is_untouched());
        EXPECT_EQ(
            take_lines(),
            (Lines{rpc_line(INFO_MASK, "got message zv_acl_rm_api_init.\n"),
                   rpc_line(INFO_MASK, "ACL RM init resources failed. acl_ret_status:=1.\n")}));
        EXPECT_EQ(rm_resource_global.max_rules_per_action, 20u);
    }
}

TEST_F(HandlerReplyTest, InitThatCannotConnectLoadsNoLimits) {
    fail_call("zv_api_open", 1);
    zv_acl_rm_init_params_t record = {HANDLE, 3, 0};
    EXPECT_EQ(send(3, &record).status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(rm_resource_global.max_rules_per_action, 0u);
}

TEST_F(HandlerReplyTest, AclSetAnswersWithTheAclAlone) {
    open();
    init();
    rpc_verbosity_level = 4;
    zv_acl_rm_acl_set_params_t record = acl_request();
    expect_reply(send(4, &record), &record, 4);
    EXPECT_EQ(record.acl.acl_id, 1u);
    EXPECT_EQ(record.acl.region_id, 1u);
    EXPECT_EQ(take_lines(), (Lines{rpc_line(INFO_MASK, "got message zv_acl_rm_api_acl_set.\n"),
                                   rpc_line(INFO_MASK, "acl id to send [1].\n")}));
}

TEST_F(HandlerReplyTest, FailedAclSetSendsNoId) {
    open();
    init();
    rpc_verbosity_level = 4;
    acl_rm_verbosity_level = 0;
    zv_acl_rm_acl_set_params_t record = acl_request();
    record.acl.max_size = 9;
    const Reply reply = send(4, &record);
    EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reply.is_untouched());
    EXPECT_EQ(take_lines(),
              (Lines{rpc_line(INFO_MASK, "got message zv_acl_rm_api_acl_set.\n"),
                     rpc_line(INFO_MASK, "failed in acl_rm_set acl_ret_status:=4.\n")}));
}

TEST_F(HandlerReplyTest, RuleSetAnswersWithTheRecordAndItsOffsets) {
    open();
    init();
    zv_acl_rm_acl_rule_set_params_t record = {};
    record.client_handle = HANDLE;
    record.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    record.acl_id = create_acl();
    record.rules_num = 2;
    record.rules[0].priority = 7;
    record.rules[1].priority = 3;
    expect_reply(send(6, &record), &record, 6);
    EXPECT_EQ(record.rules[0].offset, 7u);
    EXPECT_EQ(record.rules[1].offset, 3u);
    EXPECT_EQ(g_rules_cnt, 2);
}

TEST_F(HandlerReplyTest, RuleSetCountAboveTheArrayIsRefused) {
    open();
    init();
    rm_resource_global.max_rules_per_action = 1000;
    zv_acl_rm_acl_rule_set_params_t record = {};
    record.client_handle = HANDLE;
    record.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    record.acl_id = create_acl();
    record.rules_num = 21;
    const Reply reply = send(6, &record);
    EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reply.is_untouched());
}

TEST_F(HandlerReplyTest, PortBindAnswersWithTheRecord) {
    open();
    init();
    zv_acl_rm_acl_port_bind_params_t record = {};
    record.client_handle = HANDLE;
    record.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    record.acl_id = create_acl();
    record.log_ports[0] = 65537;
    record.log_ports[1] = 65538;
    record.ports_num = 2;
    expect_reply(send(9, &record), &record, 9);
    EXPECT_EQ(recorded_calls("zv_api_acl_port_bind_set").size(), 2u);
}

TEST_F(HandlerReplyTest, PortBindCountAboveTheArrayIsRefused) {
    open();
    init();
    zv_acl_rm_acl_port_bind_params_t record = {};
    record.client_handle = HANDLE;
    record.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    record.acl_id = create_acl();
    record.ports_num = 101;
    const Reply reply = send(9, &record);
    EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reply.is_untouched());
}

TEST_F(HandlerReplyTest, DumpWritesTheNamedFileAndAnswersWithTheRecord) {
    const zv_test::TempDir dir;
    const std::string path = dir.file("dump");
    zv_acl_rm_dump_params_t record = {HANDLE, reinterpret_cast<uint64_t>(path.c_str())};
    expect_reply(send(17, &record), &record, 17);
    EXPECT_NE(zv_test::read_file(path).find("=====ACL_RM Cache dump end====="), std::string::npos);
}

TEST_F(HandlerReplyTest, DumpWithoutAPathIsRefused) {
    zv_acl_rm_dump_params_t record = {HANDLE, 0};
    const Reply reply = send(17, &record);
    EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_TRUE(reply.is_untouched());
    EXPECT_EQ(take_lines(),
              (Lines{failure(3, "file_path is NULL"),
                     rpc_line(ERROR_MASK, "acl_rm_rpc_dump: error 3 performing acl_rm_dump")}));
}

TEST_F(HandlerReplyTest, StatusOfTheCoreIsReturnedUnchanged) {
    open();
    init();
    fail_call("cl_malloc", 1);
    zv_acl_rm_acl_set_params_t record = acl_request();
    EXPECT_EQ(send(4, &record).status, ZV_ACL_RM_STATUS_PARAM_NULL);
    record = acl_request();
    record.client_handle = 1;
    EXPECT_EQ(send(4, &record).status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    record = acl_request();
    g_acl_table_cnt = 399;
    EXPECT_EQ(send(4, &record).status, ZV_ACL_RM_STATUS_NO_RESOURCES);
}

}  // namespace
