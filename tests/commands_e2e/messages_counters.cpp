// COUNTER_SET and COUNTER_GET, MC_GRP_SET and MC_GRP_GET.
#include <gtest/gtest.h>

#include "tests/commands_e2e/message_situations.h"
#include "tests/commands_e2e/requests.h"

namespace zv_test {

namespace {

uint32_t counter_get(TestClient &client, uint32_t cmd, uint32_t counter_id) {
    zv_acl_rm_counter_get_params_t params = {};
    params.cmd = cmd;
    params.counter_id = counter_id;
    return client.counter_get(params);
}

uint32_t mc_set(TestClient &client, uint32_t cmd, uint32_t mc_group_id = 1) {
    return client.mc_group_set(cmd, mc_group_id, {kPort});
}

std::vector<LogLine> play_ordinary_counters() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    uint32_t counter_id = 0;
    EXPECT_EQ(client.create_counter({1, 0}, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(counter_get(client, ZV_ACL_RM_ACCESS_CMD_READ, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(mc_set(client, ZV_ACL_RM_ACCESS_CMD_ADD), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(mc_set(client, ZV_ACL_RM_ACCESS_CMD_DELETE), ZV_ACL_RM_STATUS_SUCCESS);
    return stopped(daemon);
}

std::vector<LogLine> play_refused_counters() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    uint32_t counter_id = 0;
    EXPECT_EQ(client.create_counter({1, 1}, counter_id), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().fail("zv_api_flow_counter_set", 2);
    EXPECT_EQ(client.create_counter({1, 0}, counter_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.destroy_counter(7), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    const zv_acl_rm_counter_set_params_t request = {0, 99, {1, 0}, 1};
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_COUNTER_SET, request).status,
              ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    EXPECT_EQ(client.create_counter({1, 0}, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(counter_get(client, 98, 1), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    EXPECT_EQ(counter_get(client, ZV_ACL_RM_ACCESS_CMD_READ_CLEAR, 1),
              ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    daemon.control().fail("zv_api_flow_counter_get", 6);
    EXPECT_EQ(counter_get(client, ZV_ACL_RM_ACCESS_CMD_READ, 1), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().fail("zv_api_flow_counter_clear_set", 6);
    EXPECT_EQ(counter_get(client, ZV_ACL_RM_ACCESS_CMD_CLEAR, 1), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().fail("zv_api_flow_counter_set", 2);
    EXPECT_EQ(client.destroy_counter(1), ZV_ACL_RM_STATUS_ERROR);
    const uint32_t acl_id = client.make_acl(1).acl_id;
    EXPECT_EQ(client.write_rules(acl_id, {count_with(make_rule(0), 1)}), ZV_ACL_RM_STATUS_SUCCESS);
    daemon.control().fail("zv_api_flow_counter_set", 2);
    EXPECT_EQ(client.delete_rules(acl_id, {0}), ZV_ACL_RM_STATUS_ERROR);
    return stopped(daemon);
}

std::vector<LogLine> play_the_256th_counter() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    uint32_t counter_id = 0;
    for (int i = 0; i < 255; ++i) {
        EXPECT_EQ(client.create_counter({1, 0}, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    }
    daemon.control().fail("zv_api_flow_counter_set", 2, 2);
    EXPECT_EQ(client.create_counter({1, 0}, counter_id), ZV_ACL_RM_STATUS_NO_RESOURCES);
    return stopped(daemon);
}

std::vector<LogLine> play_refused_mc_groups() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    TestClient of13(daemon, ZV_ACL_RM_OWNER_OF13);
    constexpr const char *kSetCall = "zv_api_acl_policy_based_switching_set";
    EXPECT_EQ(mc_set(client, ZV_ACL_RM_ACCESS_CMD_EDIT), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    daemon.control().fail(kSetCall, 5);
    EXPECT_EQ(mc_set(client, ZV_ACL_RM_ACCESS_CMD_ADD), ZV_ACL_RM_STATUS_NO_RESOURCES);
    daemon.control().fail(kSetCall, 2);
    EXPECT_EQ(mc_set(client, ZV_ACL_RM_ACCESS_CMD_ADD), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(mc_set(client, ZV_ACL_RM_ACCESS_CMD_ADD), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(mc_set(of13, ZV_ACL_RM_ACCESS_CMD_DELETE), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    for (const uint32_t cmd : {ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS,
                               ZV_ACL_RM_ACCESS_CMD_DELETE}) {
        daemon.control().fail(kSetCall, 2);
        EXPECT_EQ(mc_set(client, cmd), ZV_ACL_RM_STATUS_ERROR);
    }
    std::vector<uint32_t> log_ports;
    daemon.control().fail("zv_api_acl_policy_based_switching_get", 2);
    EXPECT_EQ(client.mc_group_get(1, 100, log_ports), ZV_ACL_RM_STATUS_ERROR);
    auto request = zv_acl_rm_mc_group_get_params_t{client.handle(), 1, {}, 102};
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, request).status,
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    return stopped(daemon);
}

std::vector<Message> of_refused_counters() {
    return {
        error_line(
            1,
            "Counter problem: One and only one counter type is supported in the current release."),
        rpc("INFO", "failed in acl_rm_rpc_counter_bind. acl_ret_status:=1."),
        passed_up_line(1),
        error_line(1, "Fail to allocate new counter."),
        error_line(5, "Could not find counter id (7) in Counters DB."),
        error_line(2, "Command (99) is unsupported."),
        error_line(2, "Command (98) is unsupported."),
        rpc("INFO", "failed in acl_rm_rpc_counter_get. acl_ret_status:=2."),
        error_line(2, "Read & Clear is not supported in the current release."),
        error_line(1, "Fail to get counter: [Entry not found]."),
        error_line(1, "Fail to read counter."),
        error_line(1, "Fail to clear counter: [Entry not found]."),
        error_line(1, "Fail to destroy counter ID (1)."),
        error_line(1, "Fail to clear counter for counter ID (1)."),
        error_line(1, "Fail to clear counter ID (1) in counter DB."),
    };
}

std::vector<Message> of_refused_mc_groups() {
    return {
        error_line(2, "Command unsupported, cmd type is:2"),
        rpc("INFO", "failed in acl_rm_acl_mc_group_set. acl_ret_status:=2."),
        notification_line(6, "failed to create MC PBS in SDK error: 5 "),
        notification_line(6, "ZV_ACL_RM_STATUS_NO_RESOURCES"),
        error_line(1, "failed to create MC PBS in SDK error: 2 "),
        passed_up_line(1),
        passed_up_line(4),
        error_line(1, "failed to add ports to MC PBS in SDK error: 2 "),
        error_line(1, "failed to delete ports to MC PBS in SDK error: 2 "),
        error_line(1, "failed to delete MC PBS in SDK error: 2 "),
        error_line(1, "failed to get MC PBS in SDK error: 2 "),
        rpc("INFO", "failed in acl_rm_acl_mc_group_get. acl_ret_status:=1."),
        error_line(4, "Wrong ports number [102], the record holds [100]"),
    };
}

}  // namespace

std::vector<Situation> counter_situations() {
    return {
        {"OrdinaryCounters",
         play_ordinary_counters,
         {rpc("INFO", "got message acl_rm_rpc_counter_set."),
          rpc("INFO", "got message zv_acl_rm_api_counter_get."),
          core("INFO", "set open-flow as owner of acl."),
          core("DEBUG", "Insert MC group id:[1] to mcg_id_2_mcg_info hash table."),
          // Of the group, in an ACL's words.
          core("DEBUG", "Removed acl id:1 from acl_id_2_acl_info hash table.")}},
        {"RefusedCounters", play_refused_counters, of_refused_counters()},
        {"The256thCounter",
         play_the_256th_counter,
         {error_line(6, "Could not find free counter in counter DB.", "ACL_RM_DB"),
          error_line(6, "Fail to allocate new counter ID (256) in counter DB."),
          error_line(1, "Fail to rollback new counter creation."),
          error_line(6, "Fail to allocate new counter.")}},
        {"RefusedMcGroups", play_refused_mc_groups, of_refused_mc_groups()},
    };
}

}  // namespace zv_test
