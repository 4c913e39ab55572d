// ACL_RULE_SET up to the switch: checks, batches, what is written. What is cached stands in
// rule_cache_test.cpp.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "core/acl_rm.h"
#include "core/acl_rm_rule_set.h"
#include "core/db/acl_rm_db.h"
#include "daemon/device_limits.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"
#include "zv_rm_resource.h"

namespace {

using namespace zv_unit;

using Rules = std::vector<acl_rm_rule>;

class RuleSetTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        acl_id_ = create_acl(64);
        region_id_ = cached_acl(acl_id_)->region_id;
    }
    zv_acl_rm_status_t write(Rules *rules, uint64_t handle = OPEN_FLOW_HANDLE, uint32_t cmd = 6) {
        const auto rules_num = static_cast<uint32_t>(rules->size());
        return acl_rm_acl_rule_set(handle, cmd, acl_id_, rules->data(), &rules_num);
    }
    zv_acl_rm_status_t write_count(uint32_t rules_num, uint64_t handle = OPEN_FLOW_HANDLE) {
        Rules rules(ZV_ACL_RM_RULES_PER_RECORD, rule_at(0));
        for (uint32_t i = 0; i < rules.size(); i++)
            rules[i].priority = i;
        return acl_rm_acl_rule_set(handle, 6, acl_id_, rules.data(), &rules_num);
    }
    static std::vector<nlohmann::json> writes() { return recorded_calls("zv_api_acl_rules_set"); }
    // Offsets of the rules of one write.
    static std::vector<uint32_t> offsets(const nlohmann::json &call) {
        std::vector<uint32_t> found;
        for (const nlohmann::json &rule : call["args"]["rules"])
            found.push_back(rule["offset"]);
        return found;
    }

    uint32_t acl_id_ = 0;
    uint32_t region_id_ = 0;
};

TEST_F(RuleSetTest, ConnectionIsLookedAtBeforeTheCommand) {
    is_initialized = 0;
    Rules rules = {rule_at(0)};
    EXPECT_EQ(write(&rules, OPEN_FLOW_HANDLE, 99), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "ACL RM is not initialized")});
}

TEST_F(RuleSetTest, UnknownCommandsAreRefusedBeforeTheCount) {
    for (const uint32_t cmd : {0u, 2u, 4u, 5u, 7u, 4294967295u}) {
        Rules rules(21, rule_at(0));
        EXPECT_EQ(write(&rules, UNKNOWN_HANDLE, cmd), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        EXPECT_EQ(take_lines(),
                  Lines{failure(2, "Command unsupported, cmd type is:" + std::to_string(cmd))});
    }
}

TEST_F(RuleSetTest, BatchHoldsUpTo20Rules) {
    EXPECT_EQ(write_count(19), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 19);
    acl_id_ = create_acl(64);
    EXPECT_EQ(write_count(20), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 39);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleSetTest, TwentyFirstRuleIsRefusedBeforeTheOwnerIsLookedAt) {
    EXPECT_EQ(write_count(21, UNKNOWN_HANDLE), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{failure(4, "To many rules [21] to configure in one action")});
    EXPECT_EQ(writes().size(), 0u);
}

TEST_F(RuleSetTest, LargestCountIsRefused) {
    EXPECT_EQ(write_count(4294967295u), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "To many rules [4294967295] to configure in one action")});
}

TEST_F(RuleSetTest, CountAboveTheRecordsArrayIsRefusedWhateverTheLimit) {
    rm_resource_global.max_rules_per_action = 4294967295u;
    EXPECT_EQ(write_count(21), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{failure(4, "To many rules [21] to configure in one action")});
}

TEST_F(RuleSetTest, ChipWithoutLimitsTakesNoRuleButAnEmptyBatch) {
    ASSERT_EQ(acl_rm_resources_init(5), 0u);
    EXPECT_EQ(write_count(1), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(write_count(0), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(RuleSetTest, EmptyBatchSucceedsAndChangesNothing) {
    EXPECT_EQ(write_count(0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(writes().size(), 0u);
    EXPECT_EQ(g_rules_cnt, 0);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleSetTest, OwnersFailureIsPassedUp) {
    EXPECT_EQ(write_count(1, PRA_HANDLE), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Wrong owner[2] trying to control another owner[0] resource")},
                        1, 1));
    EXPECT_EQ(write_count(1, UNKNOWN_HANDLE), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(writes().size(), 0u);
}

TEST_F(RuleSetTest, FullTableIsNotifiedBeforeAnyRuleIsLookedAt) {
    g_rules_cnt = 6400;
    Rules rules = {rule_at(0, 9)};
    EXPECT_EQ(write(&rules), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_TRUE(reports(take_lines(),
                        {notification(6, "Not enough resources to create rules, #rules = [6400]")},
                        6, 1));
    EXPECT_EQ(write_count(0), ZV_ACL_RM_STATUS_NO_RESOURCES);
}

TEST_F(RuleSetTest, BatchThatStartsBelowTheCapacityPassesTheTest) {
    g_rules_cnt = 6399;
    EXPECT_EQ(write_count(20), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 6419);
}

TEST_F(RuleSetTest, CountPastTheCapacityPassesTheTestOfEquality) {
    g_rules_cnt = 6401;
    EXPECT_EQ(write_count(1), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(RuleSetTest, BatchIsWrittenOncePerKeyTypeInTheirOrder) {
    Rules rules = {rule_at(0, 3), rule_at(1, 0), rule_at(2, 2),
                   rule_at(3, 1), rule_at(4, 0), rule_at(5, 3)};
    ASSERT_EQ(write(&rules), ZV_ACL_RM_STATUS_SUCCESS);
    const std::vector<nlohmann::json> calls = writes();
    ASSERT_EQ(calls.size(), 4u);
    const std::vector<uint32_t> wanted[] = {{1, 4}, {3}, {2}, {0, 5}};
    for (uint32_t key_type = 0; key_type < 4; key_type++) {
        EXPECT_EQ(offsets(calls[key_type]), wanted[key_type]);
        EXPECT_EQ(calls[key_type]["args"]["cmd"], 15);
        EXPECT_EQ(calls[key_type]["args"]["region_id"], region_id_);
        EXPECT_EQ(calls[key_type]["args"]["count"], wanted[key_type].size());
        EXPECT_EQ(calls[key_type]["args"]["rules"][0]["key_type"], key_type);
    }
}

TEST_F(RuleSetTest, WholeBatchMayBeOfOneKeyType) {
    for (uint32_t key_type = 0; key_type < 4; key_type++) {
        acl_id_ = create_acl(64);
        Rules rules;
        for (uint32_t i = 0; i < 20; i++)
            rules.push_back(rule_at(i, key_type));
        EXPECT_EQ(write(&rules), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(writes().size(), 4u);
}

TEST_F(RuleSetTest, UnknownKeyTypeIsRefusedBeforeAnythingIsWritten) {
    for (const uint32_t key_type : {4u, 5u, 4294967295u}) {
        Rules rules = {rule_at(0), rule_at(1, key_type)};
        EXPECT_EQ(write(&rules), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_TRUE(reports(take_lines(),
                            {failure(4, "unsupported rule key type:" + std::to_string(key_type))},
                            4, 1));
    }
    EXPECT_EQ(writes().size(), 0u);
    EXPECT_EQ(g_rules_cnt, 0);
}

TEST_F(RuleSetTest, OffsetsAreStoredInTheClientsRules) {
    Rules rules = {rule_at(9), rule_at(3)};
    rules[0].offset = 77;
    ASSERT_EQ(write(&rules), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(rules[0].offset, 9u);
    EXPECT_EQ(rules[1].offset, 3u);
}

TEST_F(RuleSetTest, OccupiedOffsetStopsTheBatchBeforeAnythingIsWritten) {
    Rules first = {rule_at(5)};
    ASSERT_EQ(write(&first), ZV_ACL_RM_STATUS_SUCCESS);
    Rules rules = {rule_at(4), rule_at(5)};
    EXPECT_EQ(write(&rules), ZV_ACL_RM_STATUS_ERROR);
    const std::string key = std::to_string(acl_id_) + "_5";
    EXPECT_TRUE(
        reports(take_lines(),
                {failure(1, "key:[" + key + "] was found while trying to check if it not exists"),
                 failure(1, "override new rule is forbidden for command:[6]")},
                1, 2));
    EXPECT_EQ(writes().size(), 1u);
    EXPECT_EQ(cached_rule(acl_id_, 4), nullptr);
}

TEST_F(RuleSetTest, RefusalOfTheSwitchIsReported) {
    fail_call("zv_api_acl_rules_set", 5);
    Rules rules = {rule_at(0)};
    EXPECT_EQ(write(&rules), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Failed to add rule to a region in SDK , error: 5\n")}, 1, 2));
    EXPECT_EQ(cached_rule(acl_id_, 0), nullptr);
    EXPECT_EQ(g_rules_cnt, 0);
}

TEST_F(RuleSetTest, GroupsWrittenBeforeARefusalStay) {
    fail_call("zv_api_acl_rules_set", 1, {.nth = 2});
    Rules rules = {rule_at(0, 2), rule_at(1, 0), rule_at(2, 3)};
    EXPECT_EQ(write(&rules), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(writes().size(), 2u);
    EXPECT_NE(cached_rule(acl_id_, 1), nullptr);
    EXPECT_EQ(cached_rule(acl_id_, 0), nullptr);
    EXPECT_EQ(cached_rule(acl_id_, 2), nullptr);
    EXPECT_EQ(g_rules_cnt, 1);
}

TEST_F(RuleSetTest, ForwardingAndCounterAreSetInTheSwitchsRule) {
    ASSERT_EQ(acl_rm_db_counter_allocate(0, 33), ZV_ACL_RM_STATUS_SUCCESS);
    Rules rules = {rule_at(0), rule_at(1)};
    for (acl_rm_rule &rule : rules)
        memset(rule.action, 0xab, sizeof(rule.action));
    rules[0].forwarding.type = 1;
    rules[0].forwarding.log_port = 65537;
    rules[0].forwarding.counter_id = 33;
    ASSERT_EQ(write(&rules), ZV_ACL_RM_STATUS_SUCCESS);
    const nlohmann::json written = writes().at(0)["args"]["rules"];
    std::string tail;
    for (int i = 0; i < 44; i++)
        tail += "ab";
    // Forward flag, counter, PBS entry 1; the rest is the client's.
    EXPECT_EQ(written[0]["action"],
              "01000000"
              "21000000"
              "01000000" +
                  tail);
    EXPECT_EQ(written[1]["action"], "abababababababababababab" + tail);
}

TEST_F(RuleSetTest, SecondBatchToAPortMakesNoPbsEntry) {
    for (uint32_t i = 0; i < 2; i++) {
        Rules rules = {rule_at(i)};
        rules[0].forwarding.type = 1;
        rules[0].forwarding.log_port = 65537;
        ASSERT_EQ(write(&rules), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(recorded_calls("zv_api_acl_policy_based_switching_set").size(), 1u);
    EXPECT_EQ(cached_forwarding(65537)->times_consumed, 2u);
}

TEST_F(RuleSetTest, PbsEntryMadeForABatchThatFailsStays) {
    Rules rules = {rule_at(0), rule_at(1, 4)};
    rules[0].forwarding.type = 1;
    rules[0].forwarding.log_port = 65537;
    EXPECT_EQ(write(&rules), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(recorded_calls("zv_api_acl_policy_based_switching_set").size(), 1u);
    EXPECT_EQ(cached_forwarding(65537), nullptr);
}

TEST_F(RuleSetTest, WorkArraysThatFindNoMemoryAreNotified) {
    fail_allocation(1);
    EXPECT_EQ(write_count(1), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_FALSE(allocation_failure_is_pending());
    EXPECT_TRUE(reports(take_lines(), {}, 6, 2));
    EXPECT_EQ(writes().size(), 0u);
}

TEST_F(RuleSetTest, SwitchsRulesWithoutMemoryAreNotifiedByTheCallersAlone) {
    fail_allocation(2);
    EXPECT_EQ(write_count(1), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_FALSE(allocation_failure_is_pending());
    EXPECT_TRUE(reports(take_lines(), {}, 6, 2));
    EXPECT_EQ(writes().size(), 0u);
    EXPECT_EQ(g_rules_cnt, 0);
}

TEST_F(RuleSetTest, SwitchGetsEveryBlockWholeAndNothingElse) {
    Rules rules = {rule_at(12, 3)};
    rules[0].valid = 200;
    rules[0].mask.key_type = 99;
    for (uint32_t i = 0; i < ZV_ACL_RM_KEY_BYTES; i++) {
        rules[0].key.data[i] = static_cast<uint8_t>(i);
        rules[0].mask.data[i] = static_cast<uint8_t>(255 - i);
    }
    for (uint32_t i = 0; i < ZV_ACL_RM_ACTION_BYTES; i++)
        rules[0].action[i] = static_cast<uint8_t>(100 + i);
    {
        // The heap hands the same memory out again, so that what is not written shows.
        const auto dirt = std::make_unique<zv_acl_rule_t[]>(1);
        memset(dirt.get(), 0xee, sizeof(zv_acl_rule_t));
    }
    ASSERT_EQ(write(&rules), ZV_ACL_RM_STATUS_SUCCESS);
    zv_acl_rule_t written = {};
    ASSERT_EQ(zv_api_acl_rules_get(zv_sdk_handle, region_id_, 12, &written, 1), 0u);
    EXPECT_EQ(written.offset, 12u);
    EXPECT_EQ(written.valid, 200);
    EXPECT_EQ(written.key.key_type, 3u);
    EXPECT_EQ(written.mask.key_type, 99u);
    // Nothing of the daemon's memory goes to the switch in the gap behind `valid`.
    constexpr uint8_t ZEROS[3] = {};
    EXPECT_EQ(memcmp(&written.valid + 1, ZEROS, sizeof(ZEROS)), 0);
    EXPECT_EQ(memcmp(written.key.data, rules[0].key.data, ZV_ACL_RM_KEY_BYTES), 0);
    EXPECT_EQ(memcmp(written.mask.data, rules[0].mask.data, ZV_ACL_RM_KEY_BYTES), 0);
    EXPECT_EQ(memcmp(&written.action, rules[0].action, ZV_ACL_RM_ACTION_BYTES), 0);
}

TEST_F(RuleSetTest, GroupIsWrittenByTheWriteCommandAlone) {
    const acl_rm_rule_work work = {};
    EXPECT_EQ(__set_rules(3, acl_id_, &work, 1), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    EXPECT_EQ(take_lines(), Lines{failure(2, "Command unsupported, cmd type is:3")});
    EXPECT_EQ(__set_rules(3, acl_id_, &work, 0), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    take_lines();
    EXPECT_EQ(__set_rules(6, acl_id_, nullptr, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
}

}  // namespace
