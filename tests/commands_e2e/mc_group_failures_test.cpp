// Multicast groups: what fails in the switch, how it is told, and what stays. Nothing is undone.
#include <gtest/gtest.h>

#include "tests/commands_e2e/failure_table.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

constexpr const char *kSetCall = "zv_api_acl_policy_based_switching_set";
constexpr const char *kGetCall = "zv_api_acl_policy_based_switching_get";

Answer mc_set(World &world, uint32_t cmd, uint32_t mc_group_id, std::vector<uint32_t> log_ports) {
    auto request = patterned<zv_acl_rm_mc_group_set_params_t>();
    request.client_handle = world.open_flow.handle();
    request.cmd = cmd;
    request.mc_group_id = mc_group_id;
    std::copy(log_ports.begin(), log_ports.end(), request.log_ports);
    request.ports_num = static_cast<uint32_t>(log_ports.size());
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, request);
}

Answer mc_get(World &world, uint32_t mc_group_id) {
    auto request = patterned<zv_acl_rm_mc_group_get_params_t>();
    request.client_handle = world.open_flow.handle();
    request.mc_group_id = mc_group_id;
    request.ports_num = 100;
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, request);
}

void make_group(World &world) {
    ASSERT_EQ(mc_set(world, ZV_ACL_RM_ACCESS_CMD_ADD, 0, {kPort, kPort + 1}).status,
              ZV_ACL_RM_STATUS_SUCCESS);
}

// A refusal of a command on group 1, and the switch when it did its work all the same.
FailureOutcome refused(const std::string &text, const char *call, const Digest &late) {
    return {.lines = failed(1, text + " in SDK error: {sdk} ", 1),
            .calls = {call},
            .cache = {"acls 0, rules 0", "mc group 1: owner 0"},
            .early = {"pbs 1: mc 65537 65538"},
            .late = late};
}

FailureOutcome refused_create(uint32_t status, const Lines &lines) {
    return {.status = status,
            .lines = lines,
            .calls = {kSetCall},
            .cache = {"acls 0, rules 0"},
            .early = {},
            .late = {"pbs 1: mc 65537 65538"}};
}

const std::vector<FailureRow> &rows() {
    static const auto &list = *new std::vector<FailureRow>{
        {.name = "Create",
         .prepare = [](World &) {},
         .request =
             [](World &world) {
                 return mc_set(world, ZV_ACL_RM_ACCESS_CMD_ADD, 0, {kPort, kPort + 1});
             },
         .call = kSetCall,
         .on_other = refused_create(ZV_ACL_RM_STATUS_ERROR,
                                    failed(1, "failed to create MC PBS in SDK error: {sdk} ", 1)),
         .on_5 = refused_create(ZV_ACL_RM_STATUS_NO_RESOURCES,
                                notified(6, "failed to create MC PBS in SDK error: 5 ", 1))},
        {.name = "AddPorts",
         .prepare = make_group,
         .request =
             [](World &world) {
                 return mc_set(world, ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, 1, {kPort + 2});
             },
         .call = kSetCall,
         .on_other =
             refused("failed to add ports to MC PBS", kSetCall, {"pbs 1: mc 65537 65538 65539"})},
        {.name = "DeletePorts",
         .prepare = make_group,
         .request =
             [](World &world) {
                 return mc_set(world, ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS, 1, {kPort});
             },
         .call = kSetCall,
         .on_other = refused("failed to delete ports to MC PBS", kSetCall, {"pbs 1: mc 65538"})},
        {.name = "Delete",
         .prepare = make_group,
         .request = [](World &world) { return mc_set(world, ZV_ACL_RM_ACCESS_CMD_DELETE, 1, {}); },
         .call = kSetCall,
         .on_other = refused("failed to delete MC PBS", kSetCall, {})},
        {.name = "Get",
         .prepare = make_group,
         .request = [](World &world) { return mc_get(world, 1); },
         .call = kGetCall,
         .on_other = refused("failed to get MC PBS", kGetCall, {"pbs 1: mc 65537 65538"})},
    };
    return list;
}

ZV_FAILURE_TABLE(McGroupFailures, rows());

// --- after a failure

TEST(McGroupAfterAFailure, CanBeCreatedWithTheNextId) {
    World world;
    world.daemon.control().fail(kSetCall, 1, 1, 1, true);
    const Watch watch(world.daemon);
    EXPECT_EQ(mc_set(world, ZV_ACL_RM_ACCESS_CMD_ADD, 0, {kPort}).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "failed to create MC PBS in SDK error: 1 ", 1));
    make_group(world);
    EXPECT_EQ(cache_digest(world.daemon), (Digest{"acls 0, rules 0", "mc group 2: owner 0"}));
    check_cache(world.daemon, kSkipLeftOvers);
}

TEST(McGroupAfterAFailure, CanBeDeletedWhenTheSwitchHadRefused) {
    World world;
    make_group(world);
    world.daemon.control().fail(kSetCall, 8);
    const Watch watch(world.daemon);
    EXPECT_EQ(mc_set(world, ZV_ACL_RM_ACCESS_CMD_DELETE, 1, {}).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "failed to delete MC PBS in SDK error: 8 ", 1));
    EXPECT_EQ(mc_set(world, ZV_ACL_RM_ACCESS_CMD_DELETE, 1, {}).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(world.daemon), Digest{"acls 0, rules 0"});
    check_cache(world.daemon);
}

// The cache keeps a group that the switch has lost, and nothing can be done with it any more.
TEST(McGroupAfterAFailure, IsOutOfReachWhenTheSwitchHadDeletedIt) {
    World world;
    make_group(world);
    world.daemon.control().fail(kSetCall, 1, 1, 1, true);
    const Watch watch(world.daemon);
    EXPECT_EQ(mc_set(world, ZV_ACL_RM_ACCESS_CMD_DELETE, 1, {}).status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(mc_set(world, ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, 1, {1}).status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(mc_set(world, ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS, 1, {1}).status,
              ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(mc_set(world, ZV_ACL_RM_ACCESS_CMD_DELETE, 1, {}).status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(mc_get(world, 1).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "failed to delete MC PBS in SDK error: 1 ", 1) +
                       failed(1, "failed to add ports to MC PBS in SDK error: 6 ", 1) +
                       failed(1, "failed to delete ports to MC PBS in SDK error: 6 ", 1) +
                       failed(1, "failed to delete MC PBS in SDK error: 6 ", 1) +
                       failed(1, "failed to get MC PBS in SDK error: 6 ", 1));
    EXPECT_EQ(cache_digest(world.daemon), (Digest{"acls 0, rules 0", "mc group 1: owner 0"}));
}

// --- full tables

TEST(McGroupFullSwitch, IsNotifiedAndLeavesTheOthers) {
    World world(nlohmann::json{{"pbs_entries", 1}});
    make_group(world);
    const Watch watch(world.daemon);
    const Answer answer = mc_set(world, ZV_ACL_RM_ACCESS_CMD_ADD, 0, {kPort});
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(notified(6, "failed to create MC PBS in SDK error: 5 ", 1));
    watch.expect_calls({mc_pbs_created({kPort}, 0, 5)});
    check_cache(world.daemon);
}

// A switch with room for more groups than the cache.
TEST(McGroupFullCache, The6401stIsMadeInTheSwitchOnly) {
    DaemonOptions options;
    options.config = {{"pbs_entries", 6500}};
    options.trace = false;
    DaemonProcess daemon(options);
    TestClient client(daemon);
    uint32_t mc_group_id = 0;
    for (uint32_t i = 1; i <= 6400; ++i) {
        ASSERT_EQ(client.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, mc_group_id, {}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        ASSERT_EQ(mc_group_id, i);
    }
    const Watch watch(daemon);
    EXPECT_EQ(client.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, mc_group_id, {}),
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Insert not successful", 2));
    EXPECT_EQ(daemon.control().used("pbs_entries"), 6401u);

    // The one too many is nobody's.
    mc_group_id = 6401;
    const Watch orphan(daemon);
    EXPECT_EQ(client.mc_group_set(ZV_ACL_RM_ACCESS_CMD_DELETE, mc_group_id, {}),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    orphan.expect_lines(failed_by_name(4, 1));

    // The last one that fitted is still known, and a deleted one makes room.
    mc_group_id = 6400;
    EXPECT_EQ(client.mc_group_set(ZV_ACL_RM_ACCESS_CMD_DELETE, mc_group_id, {}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, mc_group_id, {}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(mc_group_id, 6402u);
}

}  // namespace
}  // namespace zv_test
