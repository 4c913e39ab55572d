#include "core/acl_rm_forwarding.h"

#include <gtest/gtest.h>

#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

acl_rm_rule to_port(uint32_t log_port) {
    acl_rm_rule rule = {};
    rule.forwarding.type = 1;
    rule.forwarding.log_port = log_port;
    rule.forwarding.mc_group_id = 3;
    return rule;
}

acl_rm_rule to_mc_group(uint32_t mc_group_id) {
    acl_rm_rule rule = {};
    rule.forwarding.type = 2;
    rule.forwarding.log_port = 4;
    rule.forwarding.mc_group_id = mc_group_id;
    return rule;
}

class ForwardingTest : public ConnectedFixture {
  protected:
    zv_acl_rm_status_t resolve(const acl_rm_rule &rule) {
        return set_forwarding_port_to_rule(&work_, &rule);
    }
    // action, PBS id, logical port, entry type.
    std::vector<uint32_t> outcome() const {
        return {work_.forwarding_action, work_.pbs_id, work_.forward_log_port,
                work_.pbs_entry_type};
    }
    static size_t pbs_calls() {
        return recorded_calls("zv_api_acl_policy_based_switching_set").size();
    }
    acl_rm_rule_work work_ = {};
};

using Outcome = std::vector<uint32_t>;

TEST_F(ForwardingTest, McGroupLendsItsPbsEntry) {
    cache_mc_group(9, {90, 1});
    EXPECT_EQ(resolve(to_mc_group(9)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(outcome(), (Outcome{6, 90, 0, 2}));
    EXPECT_EQ(pbs_calls(), 0u);
    EXPECT_EQ(entries_num(logical_forward_port_2_forward_pbs_info_ht), 0u);
}

TEST_F(ForwardingTest, UnknownMcGroupIsReported) {
    EXPECT_EQ(resolve(to_mc_group(9)), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{failure(5, "Failed to find MCG id 9")});
    EXPECT_EQ(outcome(), (Outcome{0, 0, 0, 0}));
}

TEST_F(ForwardingTest, MissingMcGroupTableIsAnError) {
    const Missing gone(mcg_id_2_mcg_id_info_table_ht);
    EXPECT_EQ(resolve(to_mc_group(9)), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
}

TEST_F(ForwardingTest, KnownPortLendsItsPbsEntryWithoutACallOrACount) {
    cache_forwarding(65537, {0, 80, 65537, 3});
    EXPECT_EQ(resolve(to_port(65537)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(outcome(), (Outcome{6, 80, 65537, 0}));
    EXPECT_EQ(pbs_calls(), 0u);
    EXPECT_EQ(cached_forwarding(65537)->times_consumed, 3u);
}

TEST_F(ForwardingTest, NewPortGetsAPbsEntryInTheSwitchAlone) {
    EXPECT_EQ(resolve(to_port(65537)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(outcome(), (Outcome{6, 1, 65537, 0}));
    ASSERT_EQ(pbs_calls(), 1u);
    const nlohmann::json args =
        recorded_calls("zv_api_acl_policy_based_switching_set").at(0)["args"];
    EXPECT_EQ(args["cmd"], 1);
    EXPECT_EQ(args["switch_id"], 0);
    EXPECT_EQ(args["entry"],
              (nlohmann::json{{"entry_type", 0}, {"port_count", 1}, {"ports", {65537}}}));
    EXPECT_EQ(entries_num(logical_forward_port_2_forward_pbs_info_ht), 0u);
}

TEST_F(ForwardingTest, NewPortOfEachRuleGetsAnEntryOfItsOwn) {
    EXPECT_EQ(resolve(to_port(65537)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(resolve(to_port(65537)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(outcome(), (Outcome{6, 2, 65537, 0}));
    EXPECT_EQ(pbs_calls(), 2u);
}

TEST_F(ForwardingTest, FullSwitchIsNotified) {
    fail_call("zv_api_acl_policy_based_switching_set", 5);
    EXPECT_EQ(resolve(to_port(65537)), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_EQ(take_lines(),
              Lines{notification(
                  7, "Can't initiate forwarding action for the rule, not enough resources")});
    EXPECT_EQ(outcome(), (Outcome{0, 0, 0, 0}));
}

TEST_F(ForwardingTest, OtherRefusalsAreErrors) {
    for (const uint32_t sdk_status : {1u, 4u, 6u, 4294967295u}) {
        fail_call("zv_api_acl_policy_based_switching_set", sdk_status);
        EXPECT_EQ(resolve(to_port(65537)), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(), Lines{failure(1, "Can't initiate forwarding action for the rule")});
        clear_faults();
    }
}

TEST_F(ForwardingTest, MissingForwardingTableIsAnErrorWithoutACall) {
    const Missing gone(logical_forward_port_2_forward_pbs_info_ht);
    EXPECT_EQ(resolve(to_port(65537)), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
    EXPECT_EQ(pbs_calls(), 0u);
}

TEST_F(ForwardingTest, OtherTypesDoNotForward) {
    for (const uint32_t type : {0u, 3u, 4294967295u}) {
        acl_rm_rule rule = to_port(65537);
        rule.forwarding.type = type;
        EXPECT_EQ(resolve(rule), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(outcome(), (Outcome{0, 0, 0, 0}));
    }
    EXPECT_EQ(pbs_calls(), 0u);
}

class ForwardingUserTest : public CacheFixture {
  protected:
    static acl_rm_rule_work forwarding_work(uint32_t log_port, uint32_t pbs_id) {
        acl_rm_rule_work work = {};
        work.forward_log_port = log_port;
        work.pbs_id = pbs_id;
        return work;
    }
};

TEST_F(ForwardingUserTest, FirstUserEntersTheTable) {
    EXPECT_EQ(count_forwarding_user(forwarding_work(65537, 80)), ZV_ACL_RM_STATUS_SUCCESS);
    const forward_pbs_info *info = cached_forwarding(65537);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->entry_type, 0u);
    EXPECT_EQ(info->forward_pbs_index, 80u);
    EXPECT_EQ(info->forwading_log_port_num, 65537u);
    EXPECT_EQ(info->times_consumed, 1u);
}

TEST_F(ForwardingUserTest, LaterUsersAreCountedAndTheFirstEntryKept) {
    EXPECT_EQ(count_forwarding_user(forwarding_work(65537, 80)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(count_forwarding_user(forwarding_work(65537, 81)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_forwarding(65537)->times_consumed, 2u);
    EXPECT_EQ(cached_forwarding(65537)->forward_pbs_index, 80u);
}

TEST_F(ForwardingUserTest, OneMoreThanCanBeCountedWrapsTheCount) {
    cache_forwarding(65537, {0, 80, 65537, 4294967295u});
    EXPECT_EQ(count_forwarding_user(forwarding_work(65537, 80)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_forwarding(65537)->times_consumed, 0u);
}

TEST_F(ForwardingUserTest, RuleWithoutAPortIsNoUser) {
    const Missing gone(logical_forward_port_2_forward_pbs_info_ht);
    EXPECT_EQ(count_forwarding_user(forwarding_work(0, 90)), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(ForwardingUserTest, MissingTableIsNamed) {
    const Missing gone(logical_forward_port_2_forward_pbs_info_ht);
    EXPECT_EQ(count_forwarding_user(forwarding_work(65537, 80)), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1,
                                          "ht_lookup_zvlib on hash table: "
                                          "logical_forward_port_2_forward_pbs_info_ht")});
}

TEST_F(ForwardingUserTest, The101stPortDoesNotFit) {
    for (uint32_t port = 1; port <= 100; port++)
        ASSERT_EQ(count_forwarding_user(forwarding_work(port, port)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(count_forwarding_user(forwarding_work(101, 101)), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "Insert not successful")}, 1, 1));
    EXPECT_EQ(count_forwarding_user(forwarding_work(100, 100)), ZV_ACL_RM_STATUS_SUCCESS);
}

}  // namespace
