// ACL_RULE_SET write: each refusal before the switch is asked, in the order of the checks.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

Answer write(DaemonProcess &daemon, const zv_acl_rm_acl_rule_set_params_t &request) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
}

Lines occupied(const std::string &key) {
    return Lines{error_line(1,
                            "key:[" + key + "] was found while trying to check if it not exists")} +
           failed(1, "override new rule is forbidden for command:[6]", 2);
}

TEST(RuleWriteChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{7223}, size_t{7225}}) {
        const Watch watch(daemon);
        const Answer answer = send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines({{"ACL_RM_RPC", "ERROR",
                             "failed to received zv_acl_rm_api_acl_rule_set len " +
                                 std::to_string(length) + "."}});
        watch.expect_calls({});
    }
}

TEST(RuleWriteChecks, AClosedSwitchComesBeforeTheCommand) {
    DaemonProcess daemon;
    auto request = write_request(kNobody, kNoAcl, make_rules(0, 20));
    request.cmd = 5;
    const Watch watch(daemon);
    EXPECT_EQ(write(daemon, request).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "ACL RM is not initialized", 0));
    watch.expect_calls({});
}

TEST(RuleWriteChecks, TheCommandComesBeforeTheCount) {
    DaemonProcess daemon;
    TestClient client(daemon);
    for (const uint32_t cmd : {0u, 1u, 2u, 4u, 5u, 7u, 0xffffffffu}) {
        auto request = write_request(kNobody, kNoAcl, make_rules(0, 20));
        request.cmd = cmd;
        request.rules_num = 21;
        const Watch watch(daemon);
        EXPECT_EQ(write(daemon, request).status, ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        watch.expect_lines(failed(2, "Command unsupported, cmd type is:" + std::to_string(cmd), 0));
        watch.expect_calls({});
    }
}

TEST(RuleWriteChecks, TheCountComesBeforeTheOwner) {
    DaemonProcess daemon;
    TestClient client(daemon);
    for (const uint32_t rules_num : {21u, 22u, 0x80000000u, 0xffffffffu}) {
        auto request = write_request(kNobody, kNoAcl, make_rules(0, 20));
        request.rules_num = rules_num;
        const Watch watch(daemon);
        const Answer answer = write(daemon, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(failed(
            4, "To many rules [" + std::to_string(rules_num) + "] to configure in one action", 0));
        watch.expect_calls({});
    }
}

TEST(RuleWriteChecks, AnUnknownHandleComesBeforeAnUnknownAcl) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const Watch watch(daemon);
    EXPECT_EQ(write(daemon, write_request(kNobody, kNoAcl, make_rules(0, 20))).status,
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4,
                              "Wrong owner of the handle[119] toward ACL_RM, trying to control "
                              "another owner resource",
                              1));
    watch.expect_calls({});
}

TEST(RuleWriteChecks, AnUnknownAclComesBeforeItsRules) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(kNoAcl, {make_rule(0, 4)}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed_by_name(4, 1));
    watch.expect_calls({});
}

TEST(RuleWriteChecks, AnotherOwnersAclComesBeforeItsRules) {
    DaemonProcess daemon;
    TestClient open_flow(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW);
    TestClient pra(daemon, ZV_ACL_RM_OWNER_PRA);
    const acl_rm_acl acl = pra.make_acl(4);
    const Watch watch(daemon);
    EXPECT_EQ(open_flow.write_rules(acl.acl_id, {make_rule(0, 4)}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Wrong owner[0] trying to control another owner[2] resource", 1));
    watch.expect_calls({});
    EXPECT_EQ(pra.write_rules(acl.acl_id, {make_rule(0)}), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon);
}

TEST(RuleWriteChecks, KeyTypesFrom4OnAreRefused) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(4);
    for (const uint32_t key_type : {4u, 5u, 0x80000000u, 0xffffffffu}) {
        const Watch watch(daemon);
        const Answer answer =
            write(daemon, write_request(client.handle(), acl.acl_id, {make_rule(0, key_type)}));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(failed(4, "unsupported rule key type:" + std::to_string(key_type), 1));
        watch.expect_calls({});
    }
    check_cache(daemon);
}

TEST(RuleWriteChecks, ABadKeyTypeAtTheEndStopsTheWholeBatch) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(32);
    std::vector<acl_rm_rule> rules = make_rules(0, 19);
    rules.push_back(make_rule(19, 4));
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, rules), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4, "unsupported rule key type:4", 1));
    watch.expect_calls({});
    EXPECT_EQ(daemon.dump().rules_cnt, 0u);
    check_cache(daemon);
}

TEST(RuleWriteChecks, AnOccupiedOffsetIsRefusedAndItsRuleStays) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    const acl_rm_rule former = match_byte(make_rule(5), 0, 1);
    ASSERT_EQ(client.write_rules(acl.acl_id, {former}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon);
    const Answer answer =
        write(daemon, write_request(client.handle(), acl.acl_id, {make_rule(5, 1)}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(occupied("1_5"));
    watch.expect_calls({});
    nlohmann::json in_switch = sdk_rule(former);
    in_switch["activity"] = 0;
    EXPECT_EQ(daemon.control().state().at("regions").at(0).at("rules"),
              nlohmann::json::array({in_switch}));
    check_cache(daemon);
}

TEST(RuleWriteChecks, ItIsThePriorityThatIsLookedUpAndNotTheOffsetSent) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(client.write_rules(acl.acl_id, {make_rule(5)}), ZV_ACL_RM_STATUS_SUCCESS);
    acl_rm_rule rule = make_rule(6);
    rule.offset = 5;
    EXPECT_EQ(client.write_rules(acl.acl_id, {rule}), ZV_ACL_RM_STATUS_SUCCESS);
    rule.priority = 5;
    rule.offset = 7;
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {rule}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(occupied("1_5"));
    check_cache(daemon);
}

TEST(RuleWriteChecks, AnOccupiedOffsetAtTheEndStopsTheWholeBatch) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(client.write_rules(acl.acl_id, {make_rule(2)}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 3)), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(occupied("1_2"));
    watch.expect_calls({});
    EXPECT_EQ(daemon.dump().rules_cnt, 1u);
    check_cache(daemon);
}

TEST(RuleWriteChecks, TheKeyTypeOfARuleComesBeforeItsOffset) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(client.write_rules(acl.acl_id, {make_rule(5)}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(5, 4)}),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4, "unsupported rule key type:4", 1));
}

TEST(RuleWriteChecks, RulesAreLookedAtInTheirOrder) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(client.write_rules(acl.acl_id, {make_rule(5)}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch offset_first(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(5), make_rule(6, 4)}),
              ZV_ACL_RM_STATUS_ERROR);
    offset_first.expect_lines(occupied("1_5"));
    const Watch key_type_first(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(6, 4), make_rule(5)}),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    key_type_first.expect_lines(failed(4, "unsupported rule key type:4", 1));
}

TEST(RuleWriteChecks, AnOccupiedOffsetComesBeforeTheForwarding) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(client.write_rules(acl.acl_id, {make_rule(5)}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {forward_to_port(make_rule(5), kPort)}),
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(occupied("1_5"));
    watch.expect_calls({});
}

}  // namespace
}  // namespace zv_test
