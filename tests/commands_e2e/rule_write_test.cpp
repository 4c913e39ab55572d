// ACL_RULE_SET write when all goes well: the answer, the switch calls, the cache, the switch.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Keys = std::vector<std::string>;

// Every byte different from its neighbours; forwards nowhere and counts nothing.
acl_rm_rule patterned_rule(uint32_t priority, uint32_t key_type) {
    auto rule = patterned<acl_rm_rule>();
    rule.priority = priority;
    rule.offset = 0xdeadbeef;
    rule.key.key_type = key_type;
    rule.mask.key_type = 77;
    rule.forwarding.type = 3;
    rule.forwarding.counter_id = 0;
    return rule;
}

TEST(RuleWrite, AnswersWithTheWholeRecordAndTheOffsetsInIt) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(32);
    const auto request =
        write_request(client.handle(), acl.acl_id, {patterned_rule(31, 2), patterned_rule(0, 0)});
    const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    auto expected = request;
    expected.rules[0].offset = 31;
    expected.rules[1].offset = 0;
    EXPECT_EQ(answer.body, bytes_of(expected));
    EXPECT_EQ(answer.body.size(), 7224u);
}

TEST(RuleWrite, PassesKeyMaskAndActionToTheSwitchUnchanged) {
    DaemonProcess daemon;
    TestClient client(daemon);
    client.make_acl(1);
    const acl_rm_acl acl = client.make_acl(32);
    const acl_rm_rule rule = patterned_rule(17, 1);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {rule}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({rules_written(2, {sdk_rule(rule)})});
    watch.expect_lines({});
    nlohmann::json in_switch = sdk_rule(rule);
    in_switch["activity"] = 0;
    EXPECT_EQ(daemon.control().state().at("regions").at(1).at("rules"),
              nlohmann::json::array({in_switch}));
}

struct ValidFlag : testing::TestWithParam<uint8_t> {};

TEST_P(ValidFlag, IsCopiedAsItIs) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(2);
    acl_rm_rule rule = make_rule(1);
    rule.valid = GetParam();
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {rule}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({rules_written(1, {sdk_rule(rule)})});
    EXPECT_EQ(rule_keys(daemon.dump()), Keys{"1_1"});
}

INSTANTIATE_TEST_SUITE_P(RuleWrite, ValidFlag, testing::Values(0, 1, 2, 255));

TEST(RuleWrite, IsCachedUnderAclAndOffset) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl first = client.make_acl(24);
    for (int i = 0; i < 10; ++i) {
        client.make_acl(0);
    }
    const acl_rm_acl twelfth = client.make_acl(4);
    ASSERT_EQ(twelfth.acl_id, 12u);
    // 1_23 and 12_3 are two rules.
    EXPECT_EQ(client.write_rules(first.acl_id, {make_rule(23)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(twelfth.acl_id, {make_rule(3)}), ZV_ACL_RM_STATUS_SUCCESS);
    const CacheDump dump = daemon.dump();
    EXPECT_EQ(rule_keys(dump), (Keys{"12_3", "1_23"}));
    EXPECT_EQ(dump.rules_cnt, 2u);
    check_cache(daemon);
}

TEST(RuleWrite, MixedKeyTypesGoInUpToFourCallsInTheOrderOfTheTypes) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(64);
    const uint32_t types[] = {3, 1, 0, 2, 0, 3, 1};
    std::vector<acl_rm_rule> rules;
    for (uint32_t i = 0; i < 7; ++i) {
        rules.push_back(match_byte(make_rule(40 - i, types[i]), i, 0x80));
    }
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, rules), ZV_ACL_RM_STATUS_SUCCESS);
    const auto written = [&](std::vector<size_t> indices) {
        std::vector<nlohmann::json> list;
        for (const size_t i : indices) {
            list.push_back(sdk_rule(rules[i]));
        }
        return rules_written(1, list);
    };
    watch.expect_calls({written({2, 4}), written({1, 6}), written({3}), written({0, 5})});
    EXPECT_EQ(daemon.dump().rules_cnt, 7u);
    check_cache(daemon);
}

struct OneKeyType : testing::TestWithParam<uint32_t> {};

TEST_P(OneKeyType, GoesInOneCallAndNeedNotBeTheAcls) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(20);  // of key type 0
    const std::vector<acl_rm_rule> rules = make_rules(0, 20, GetParam());
    std::vector<nlohmann::json> expected;
    std::transform(rules.begin(), rules.end(), std::back_inserter(expected), sdk_rule);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, rules), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({rules_written(1, expected)});
    check_cache(daemon);
}

INSTANTIATE_TEST_SUITE_P(RuleWrite, OneKeyType, testing::Values(0u, 1u, 2u, 3u));

TEST(RuleWrite, NoRulesSucceedAndChangeNothing) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(4);
    // The slots hold what would be refused if it were read.
    auto request = write_request(client.handle(), acl.acl_id, {make_rule(9, 9)});
    request.rules_num = 0;
    const Watch watch(daemon);
    const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_nothing();
    EXPECT_EQ(daemon.dump().rules_cnt, 0u);
    check_cache(daemon);
}

TEST(RuleWrite, SlotsPastTheCountAreNotRead) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(4);
    auto request =
        write_request(client.handle(), acl.acl_id, {make_rule(0), make_rule(1), make_rule(2)});
    request.rules_num = 2;
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request).status,
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(rule_keys(daemon.dump()), (Keys{"1_0", "1_1"}));
    check_cache(daemon);
}

TEST(RuleWrite, FillsARegionToItsLastOffset) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(40);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 20)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(20, 20)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon.dump().rules_cnt, 40u);
    check_cache(daemon);
}

}  // namespace
}  // namespace zv_test
