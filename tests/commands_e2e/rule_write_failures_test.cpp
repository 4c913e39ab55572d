// ACL_RULE_SET write: what fails once the switch is asked, and what stays behind. Nothing is
// undone.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Keys = std::vector<std::string>;

Lines refused_by_switch(uint32_t sdk_status) {
    return failed(1, "Failed to add rule to a region in SDK , error: " + std::to_string(sdk_status),
                  2);
}

Lines unknown_counter(uint32_t counter_id) {
    const std::string number = std::to_string(counter_id);
    return Lines{error_line(5, "Could not find counter (" + number + ") in counter DB.",
                            "ACL_RM_DB")} +
           failed(5,
                  "Fail to update reference counter for counter ID (" + number + ") in counter DB.",
                  2);
}

size_t rules_in_switch(DaemonProcess &daemon, size_t region_index = 0) {
    return daemon.control().state().at("regions").at(region_index).at("rules").size();
}

TEST(RuleWriteFailures, TheSwitchRefusesOffsetsPastTheRegion) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    for (const uint32_t offset : {8u, 9u, 0x7fffffffu, 0xffffffffu}) {
        const Watch watch(daemon);
        const Answer answer =
            send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                        write_request(client.handle(), acl.acl_id, {make_rule(offset)}));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(refused_by_switch(4));
        watch.expect_calls({rules_written(1, {sdk_rule(make_rule(offset))}, 4)});
    }
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(7)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(rule_keys(daemon.dump()), Keys{"1_7"});
    check_cache(daemon);
}

TEST(RuleWriteFailures, TheSwitchRefusesEveryOffsetOfAnEmptyRegion) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(0);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(0)}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(refused_by_switch(4));
    check_cache(daemon);
}

TEST(RuleWriteFailures, OneOffsetPastTheRegionRefusesItsWholeKeyType) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(0, 1), make_rule(1, 0), make_rule(8, 1)}),
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(refused_by_switch(4));
    EXPECT_EQ(rule_keys(daemon.dump()), Keys{"1_1"});
    check_cache(daemon);
}

struct FailingKeyType : testing::TestWithParam<std::tuple<int, uint32_t, bool>> {};

// One rule of each key type; the switch fails at one of the four calls.
TEST_P(FailingKeyType, LeavesTheEarlierOnesWrittenAndTheLaterOnesNot) {
    const auto [nth, sdk_status, late] = GetParam();
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    daemon.control().fail("zv_api_acl_rules_set", sdk_status, nth, 1, late);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(
                  acl.acl_id, {make_rule(0, 0), make_rule(1, 1), make_rule(2, 2), make_rule(3, 3)}),
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(refused_by_switch(sdk_status));
    Calls calls;
    Keys keys;
    for (uint32_t type = 0; type < static_cast<uint32_t>(nth); ++type) {
        const bool fails = type + 1 == static_cast<uint32_t>(nth);
        calls.push_back(
            rules_written(1, {sdk_rule(make_rule(type, type))}, fails ? sdk_status : 0));
        if (!fails) {
            keys.push_back("1_" + std::to_string(type));
        }
    }
    watch.expect_calls(calls);
    EXPECT_EQ(rule_keys(daemon.dump()), keys);
    EXPECT_EQ(daemon.dump().rules_cnt, keys.size());
    EXPECT_EQ(rules_in_switch(daemon), keys.size() + (late ? 1 : 0));
    check_cache(daemon, late ? kSkipRules : kSkipNothing);
}

INSTANTIATE_TEST_SUITE_P(RuleWriteFailures, FailingKeyType,
                         testing::Combine(testing::Values(1, 2, 3, 4), testing::Values(5u, 1u),
                                          testing::Bool()));

TEST(RuleWriteFailures, AfterOneTheSameBatchCanBeWrittenAgain) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    daemon.control().fail("zv_api_acl_rules_set", 5, 1, 1, true);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 3)), ZV_ACL_RM_STATUS_ERROR);
    for (const LogLine &line : refused_by_switch(5)) {
        daemon.expect_log(line);
    }
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 3)), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon);
}

// Both pass the check for occupied offsets, since the cache is told after the switch.
TEST(RuleWriteFailures, OfTwoRulesAtOnePriorityTheCacheTakesTheFirstAndTheSwitchTheSecond) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    const acl_rm_rule first = match_byte(make_rule(5), 0, 1);
    const acl_rm_rule second = match_byte(make_rule(5), 0, 2);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {first, second, make_rule(6)}),
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "key already found while trying to insert new key.", 3));
    watch.expect_calls(
        {rules_written(1, {sdk_rule(first), sdk_rule(second), sdk_rule(make_rule(6))})});
    EXPECT_EQ(rule_keys(daemon.dump()), Keys{"1_5"});
    EXPECT_EQ(daemon.dump().rules_cnt, 1u);
    const nlohmann::json rules = daemon.control().state().at("regions").at(0).at("rules");
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_EQ(rules[0].at("key"), sdk_rule(second).at("key"));
    EXPECT_EQ(rules[1].at("offset"), 6);
}

TEST(RuleWriteFailures, TwoRulesAtOnePriorityOfDifferentKeyTypesFailInTheSecondType) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(5, 1), make_rule(5, 0), make_rule(6, 2)}),
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "key already found while trying to insert new key.", 3));
    watch.expect_calls({rules_written(1, {sdk_rule(make_rule(5, 0))}),
                        rules_written(1, {sdk_rule(make_rule(5, 1))})});
    EXPECT_EQ(rule_keys(daemon.dump()), Keys{"1_5"});
    check_cache(daemon);
}

TEST(RuleWriteFailures, AnUnknownCounterLeavesItsBatchInTheSwitchOnly) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    const std::vector<acl_rm_rule> rules = {make_rule(0), count_with(make_rule(1), 9),
                                            make_rule(2)};
    const Watch watch(daemon);
    const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                                      write_request(client.handle(), acl.acl_id, rules));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(unknown_counter(9));
    watch.expect_calls({rules_written(
        1, {sdk_rule(rules[0]), counted(sdk_rule(rules[1]), 9), sdk_rule(rules[2])})});
    const CacheDump dump = daemon.dump();
    EXPECT_TRUE(dump.rules.empty());
    EXPECT_EQ(dump.rules_cnt, 0u);
    EXPECT_EQ(rules_in_switch(daemon), 3u);
    check_cache(daemon, kSkipRules);
}

TEST(RuleWriteFailures, AnUnknownCounterLeavesEarlierKeyTypesWritten) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {count_with(make_rule(1, 1), 4294967295u),
                                              make_rule(0, 0), make_rule(2, 2)}),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(unknown_counter(4294967295u));
    EXPECT_EQ(rule_keys(daemon.dump()), Keys{"1_0"});
    EXPECT_EQ(rules_in_switch(daemon), 2u);
}

// The rules before it, and the one that names it, have been counted by then.
TEST(RuleWriteFailures, AnUnknownCounterComesAfterTheForwardingEntryOfItsRule) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    const std::vector<acl_rm_rule> rules = {forward_to_port(make_rule(0), kPort),
                                            count_with(forward_to_port(make_rule(1), kPort + 1), 9),
                                            forward_to_port(make_rule(2), kPort + 2)};
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, rules), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(unknown_counter(9));
    const CacheDump dump = daemon.dump();
    ASSERT_EQ(dump.forwardings.size(), 2u);
    for (const CacheDump::Forwarding &entry : dump.forwardings) {
        EXPECT_EQ(entry.times_consumed, 1u);
        EXPECT_EQ(entry.log_port, kPort + entry.pbs_id - 1);
    }
    EXPECT_EQ(daemon.control().used("pbs_entries"), 3u);
}

TEST(RuleWriteFailures, ALengthIsRefusedWithoutTouchingTheRules) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    const Watch watch(daemon);
    Bytes request = bytes_of(write_request(client.handle(), acl.acl_id, make_rules(0, 1)));
    request.pop_back();
    EXPECT_EQ(send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request).status,
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(
        {{"ACL_RM_RPC", "ERROR", "failed to received zv_acl_rm_api_acl_rule_set len 7223."}});
    check_cache(daemon);
}

}  // namespace
}  // namespace zv_test
