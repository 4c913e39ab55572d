// Reading rules back where tables are missing, limits are changed or the cache has drifted; and the
// records of a read that failed, which no reply shows.
#include "core/acl_rm_rule_read.h"

#include <gtest/gtest.h>

#include <cstring>

#include "core/acl_rm.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"
#include "zv_rm_resource.h"

namespace {

using namespace zv_unit;

using Names = std::vector<std::string>;
using Rules = std::vector<acl_rm_rule>;

const char *const RULES_GET = "zv_api_acl_rules_get";
const char *const ACTIVITY_GET = "zv_api_acl_rule_activity_get";

// A record whose every byte says that nobody has written it.
acl_rm_rule untouched(uint32_t offset, uint32_t activity_request = 0) {
    acl_rm_rule rule;
    std::memset(&rule, 0xa5, sizeof(rule));
    rule.offset = offset;
    rule.readout.activity_request = activity_request;
    return rule;
}

bool is_same(const acl_rm_rule &a, const acl_rm_rule &b) {
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

Line not_retrieved() {
    return failure(1, "Failed to retrieve rules for acl_id [1] \n");
}

// ACL 1 with 16 offsets over region 1; rules at 2, 3 and 4, of which 3 forwards.
class RuleReadTest : public RulesFixture {
  protected:
    void SetUp() override {
        RulesFixture::SetUp();
        write({rule_at(2), rule_to_port(3, FORWARD_PORT), rule_at(4)});
    }
    static zv_acl_rm_status_t read(Rules &rules, uint64_t handle = OPEN_FLOW_HANDLE) {
        return acl_rm_acl_rule_get(handle, ACL, rules.data(), static_cast<uint32_t>(rules.size()));
    }
};

// --- limits

TEST_F(RuleReadTest, TakesAsManyRulesAsTheChipDoes) {
    rm_resource_global.max_rules_per_action = 2;
    Rules rules = {untouched(2), untouched(3), untouched(4)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{failure(4, "To many rules [3] to configure in one action\n")});
    EXPECT_EQ(new_calls(), Names{});
    rules.pop_back();
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_SUCCESS);
}

// However many the chip may take, a record has 20.
TEST_F(RuleReadTest, TakesNoMoreRulesThanTheRecordHas) {
    rm_resource_global.max_rules_per_action = 1000;
    Rules rules(20, untouched(2));
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_acl_rule_get(OPEN_FLOW_HANDLE, ACL, rules.data(), 21),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{failure(4, "To many rules [21] to configure in one action\n")});
}

TEST_F(RuleReadTest, OfNoRulesNeedsNoRecords) {
    EXPECT_EQ(acl_rm_acl_rule_get(UNKNOWN_HANDLE, ACL, nullptr, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_EQ(new_calls(), Names{});
}

// --- missing tables

TEST_F(RuleReadTest, NeedsTheAclTableForTheRegion) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    Rules rules = {untouched(2)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(
        take_lines(),
        (Lines{passed_up(1),
               failure(1, "Failed to retrieve acl info for ACL ID [1] from ACL RM DB, error: 1\n"),
               failure(1, "Failed to retrieve region ID from ACL RM DB\n"), not_retrieved()}));
    EXPECT_EQ(new_calls(), Names{});
    EXPECT_TRUE(is_same(rules[0], untouched(2)));
}

TEST_F(RuleReadTest, NeedsTheAclTableForTheOwnerFirst) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    Rules rules = {untouched(2, 2)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{passed_up(1), passed_up(1)}));
}

TEST_F(RuleReadTest, NeedsTheRuleTableAfterTheSwitchWasRead) {
    const Missing gone(acl_rule_id_2_region_id_ht);
    Rules rules = {untouched(2, 1)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{passed_up(1),
                     failure(1,
                             "Failed to retrieve rule at offset [2] from ACL RM DB for ACL ID [1], "
                             "error: 1\n"),
                     not_retrieved()}));
    EXPECT_EQ(new_calls(), (Names{RULES_GET, ACTIVITY_GET}));
}

TEST_F(RuleReadTest, UnknownAclIsReportedByTheInnerOperationAlone) {
    acl_rm_rule rule = untouched(2);
    EXPECT_EQ(__acl_rule_get(NO_ACL, &rule, 1), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(
        take_lines(),
        (Lines{failure(5, "acl id [77] was not found in ACL RM DB"),
               failure(5, "Failed to retrieve acl info for ACL ID [77] from ACL RM DB, error: 5\n"),
               failure(5, "Failed to retrieve region ID from ACL RM DB\n")}));
}

// --- records of a read that failed

TEST_F(RuleReadTest, RecordsBeforeTheFailingOneKeepTheirData) {
    fail_call(RULES_GET, 1, {.nth = 3});
    Rules rules = {untouched(2), untouched(3), untouched(4), untouched(2)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(rules[0].valid, 0);
    EXPECT_EQ(rules[0].readout.counter_id, 0u);
    EXPECT_EQ(rules[1].readout.log_port, FORWARD_PORT);
    EXPECT_TRUE(is_same(rules[2], untouched(4)));
    EXPECT_TRUE(is_same(rules[3], untouched(2)));
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, "Failed to retrieve rules from region [1] in SDK , error: 1\n"),
                     not_retrieved()}));
}

// The switch's rule is copied only when its activity is known.
TEST_F(RuleReadTest, RecordWhoseActivityFailsIsNotTouched) {
    fail_call(ACTIVITY_GET, 5);
    Rules rules = {untouched(2, 1)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(is_same(rules[0], untouched(2, 1)));
    EXPECT_EQ(
        take_lines(),
        (Lines{failure(1, "Failed to retrieve rules activity from region [1] in SDK , error: 5\n"),
               not_retrieved()}));
}

TEST_F(RuleReadTest, RecordWithoutACachedRuleHasWhatTheSwitchHas) {
    Rules rules = {untouched(9, 1)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    acl_rm_rule expected = untouched(9, 1);
    expected.valid = 0;
    expected.key = {};
    expected.mask = {};
    std::memset(expected.action, 0, sizeof(expected.action));
    expected.readout.activity = 0;
    EXPECT_TRUE(is_same(rules[0], expected));
    take_lines();
}

// --- drift

TEST_F(RuleReadTest, OnlyAForwardingFlagOf1IsOne) {
    for (const uint32_t flag : {0u, 2u, 4294967295u}) {
        cached_rule(ACL, 3)->is_forwarding = flag;
        cached_rule(ACL, 3)->counter_id = 44;
        Rules rules = {untouched(3)};
        EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(rules[0].readout.forwarding_type, 0xa5a5a5a5u);
        EXPECT_EQ(rules[0].readout.log_port, 0xa5a5a5a5u);
        EXPECT_EQ(rules[0].readout.mc_pbs_id, 0xa5a5a5a5u);
        EXPECT_EQ(rules[0].readout.counter_id, 44u);
    }
}

// The port decides which kind of forwarding it is, not the entry's type.
TEST_F(RuleReadTest, ForwardingPortTellsPortsFromGroups) {
    cached_rule(ACL, 3)->pbs_entry_type = PBS_ENTRY_TYPE_MC_GROUP;
    Rules rules = {untouched(3)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(rules[0].readout.forwarding_type, 1u);
    EXPECT_EQ(rules[0].readout.log_port, FORWARD_PORT);
    EXPECT_EQ(rules[0].readout.mc_pbs_id, 0xa5a5a5a5u);
}

// Region and offset of the cached rule are not looked at.
TEST_F(RuleReadTest, TheAclsRegionAndTheOffsetAskedForAreRead) {
    cached_rule(ACL, 3)->region_id = 99;
    cached_rule(ACL, 3)->offset = 98;
    Rules rules = {untouched(3)};
    EXPECT_EQ(read(rules), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(rules[0].offset, 3u);
    const nlohmann::json args = recorded_calls(RULES_GET).back()["args"];
    EXPECT_EQ(args, (nlohmann::json{{"region_id", 1}, {"offset", 3}, {"count", 1}}));
}

}  // namespace
