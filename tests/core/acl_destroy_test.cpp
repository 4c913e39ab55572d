// Destroying an ACL inside the process: what it says at info, missing tables and memory, and a
// cache whose tables disagree.
#include <gtest/gtest.h>

#include "core/acl_rm.h"
#include "core/acl_rm_acl.h"
#include "core/acl_rm_group.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

constexpr bind_point_key PORT = {BIND_POINT_LOG_PORT, 65537};

acl_rm_acl request(uint32_t acl_id) {
    acl_rm_acl acl = {};
    acl.acl_id = acl_id;
    acl.acl_type = 13;
    acl.direction = 14;
    return acl;
}

// ACL 1 over region 1, of 16 offsets.
class AclDestroyTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        ASSERT_EQ(create_acl(), 1u);
    }
    zv_acl_rm_status_t destroy(uint32_t acl_id = 1) {
        acl_rm_acl acl = request(acl_id);
        return acl_rm_acl_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_DESTROY, &acl);
    }
    void write(std::vector<acl_rm_rule> rules) {
        const auto rules_num = static_cast<uint32_t>(rules.size());
        ASSERT_EQ(acl_rm_acl_rule_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_WRITE, 1, rules.data(),
                                      &rules_num),
                  ZV_ACL_RM_STATUS_SUCCESS);
    }
    void bind(uint32_t port = PORT.port_id) {
        const uint32_t ports_num = 1;
        ASSERT_EQ(acl_rm_acl_port_bind_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_BIND, 1, &port,
                                           &ports_num),
                  ZV_ACL_RM_STATUS_SUCCESS);
    }
    // The notices of rules deleted one by one.
    static Lines deleted(const std::vector<uint32_t> &offsets) {
        Lines lines;
        for (const uint32_t offset : offsets) {
            lines.push_back(
                line(NOTICE_MASK, "delete rule[" + std::to_string(offset) + "] from region[1].\n"));
            lines.push_back(line(NOTICE_MASK, "delete [1] #rules from region[1].\n"));
        }
        return lines;
    }
    static nlohmann::json last_args(const std::string &call) {
        return recorded_calls(call).back()["args"];
    }
};

TEST_F(AclDestroyTest, TellsItsStepsAtInfo) {
    acl_rm_verbosity_level = 4;
    ASSERT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(
        take_lines(),
        (Lines{line(INFO_MASK, "acl_rm_acl_set: ******** CREATE / DESTROY ACL ********\n"),
               line(INFO_MASK, "set open-flow as owner of acl.\n"),
               line(INFO_MASK,
                    "Destroy ACL in SDK , type: [13] , direction: [14] , region : [1] , acl id: "
                    "[1].\n"),
               line(INFO_MASK,
                    "Deleted region in SDK , key type: 0 , action type: 0 , region size: 16 , "
                    "region id: 1.\n"),
               line(INFO_MASK, "delete ACL successfully.\n")}));
}

TEST_F(AclDestroyTest, AloneItHandsItsFailureUpOnce) {
    const acl_rm_acl unknown = request(2);
    EXPECT_EQ(__destroy_acl(OPEN_FLOW_HANDLE, &unknown), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(take_lines(), {}, 4, 2));
    const acl_rm_acl known = request(1);
    EXPECT_EQ(__destroy_acl(UNKNOWN_HANDLE, &known), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(4,
                                 "Wrong owner of the handle[9999] toward ACL_RM, trying to control "
                                 "another owner resource")},
                        4, 1));
    EXPECT_EQ(g_acl_table_cnt, 1);
}

TEST_F(AclDestroyTest, HandleOfTheSwitchIsPassedOn) {
    zv_sdk_handle++;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(recorded_calls("zv_api_acl_set").back()["status"], 2);
}

TEST_F(AclDestroyTest, CountIs16BitsWideAndNotTheTables) {
    g_acl_table_cnt = 0;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_acl_table_cnt, 65535);
}

TEST_F(AclDestroyTest, CountStaysWhereTheRegionStays) {
    fail_call("zv_api_acl_region_set", 8);
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(g_acl_table_cnt, 1);
    ASSERT_NE(cached_acl(1), nullptr);
    EXPECT_EQ(cached_acl(1)->valid_offsets, nullptr);
}

// --- missing tables and memory

TEST_F(AclDestroyTest, MissingTableOfAclsIsNoticedByTheOwnersCheck) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 3));
    EXPECT_EQ(recorded_calls("zv_api_acl_set").size(), 1u);
}

TEST_F(AclDestroyTest, MissingTableOfRulesIsNotNoticedWithoutRules) {
    const Missing gone(acl_rule_id_2_region_id_ht);
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(AclDestroyTest, MissingTableOfRulesStopsAtTheFirstRule) {
    write({rule_at(4)});
    const Missing gone(acl_rule_id_2_region_id_ht);
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 3));
    EXPECT_NE(cached_acl(1)->valid_offsets, nullptr);
    EXPECT_EQ(g_rules_cnt, 1);
}

TEST_F(AclDestroyTest, MissingTableOfBindPointsStopsWithTheFlagsGone) {
    bind();
    const Missing gone(port_id_2_sdk_acl_group_ht);
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 4));
    EXPECT_EQ(cached_acl(1)->valid_offsets, nullptr);
    EXPECT_EQ(cached_acl(1)->acl_bound_ports_num, 1u);
    EXPECT_EQ(recorded_calls("zv_api_acl_set").size(), 1u);
}

class NthAllocation : public AclDestroyTest, public testing::WithParamInterface<uint32_t> {};

// Two work arrays a rule.
TEST_P(NthAllocation, FailingKeepsTheRulesFromThereOn) {
    write({rule_at(0), rule_at(5), rule_at(9)});
    take_lines();
    fail_allocation(GetParam());
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_NO_BUFFER_SPACE);
    EXPECT_FALSE(allocation_failure_is_pending());
    std::vector<uint32_t> gone = {0, 5, 9};
    gone.resize((GetParam() - 1) / 2);
    EXPECT_TRUE(reports(take_lines(), deleted(gone), 8, 3));
    EXPECT_EQ(g_rules_cnt, 3 - gone.size());
    EXPECT_EQ(recorded_calls("cl_free").size(), 0u);
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_rules_cnt, 0);
}

INSTANTIATE_TEST_SUITE_P(Each, NthAllocation, testing::Values(1u, 2u, 3u, 4u, 5u, 6u));

// --- rules and flags that disagree

TEST_F(AclDestroyTest, FlagWithoutARuleStopsItWithTheEarlierRulesDeleted) {
    write({rule_at(2)});
    cached_acl(1)->valid_offsets[5] = 1;
    take_lines();
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    Lines first = deleted({2});
    first.push_back(failure(5, "key:[1_5] not found"));
    EXPECT_TRUE(reports(take_lines(), first, 5, 2));
    EXPECT_EQ(g_rules_cnt, 0);
    EXPECT_EQ(cached_acl(1)->valid_offsets[2], 0u);
    EXPECT_EQ(cached_acl(1)->valid_offsets[5], 1u);
}

TEST_F(AclDestroyTest, OnlyFlagsOf1AreRules) {
    for (const uint32_t flag : {0u, 2u, 0xffffffffu})
        cached_acl(1)->valid_offsets[5 + flag % 4] = flag;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(AclDestroyTest, RuleWithoutAFlagOutlivesItsAcl) {
    write({rule_at(2)});
    cached_acl(1)->valid_offsets[2] = 0;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_NE(cached_rule(1, 2), nullptr);
    EXPECT_EQ(g_rules_cnt, 1);
}

TEST_F(AclDestroyTest, RuleOfAnotherRegionLeavesTheFlagAndGoesAllTheSame) {
    cache_rule(1, 2, 77);
    cached_acl(1)->valid_offsets[2] = 1;
    g_rules_cnt = 1;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), (Lines{line(NOTICE_MASK, "delete rule[2] from region[77].\n"),
                                   line(NOTICE_MASK, "delete [1] #rules from region[77].\n")}));
    EXPECT_EQ(g_rules_cnt, 0);
}

// The length says 16 offsets, the memory has fewer: what lies beyond is not looked at.
TEST_F(AclDestroyTest, FlagsPastTheMemoryAreNotRead) {
    acl_id_info *info = cached_acl(1);
    info->valid_offsets[3] = 1;
    info->valid_offsets_allocated = 3;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
}

// --- ids that disagree

TEST_F(AclDestroyTest, SwitchGetsTheCachedIdAndTheCacheTheClients) {
    const uint32_t other = create_acl();
    cached_acl(1)->acl_id = other;
    cached_acl(1)->region_id = cached_acl(other)->region_id;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(last_args("zv_api_acl_set")["acl_id"], other);
    EXPECT_EQ(cached_acl(1), nullptr);
    EXPECT_NE(cached_acl(other), nullptr);
}

TEST_F(AclDestroyTest, RegionIsDestroyedAsItIsCached) {
    acl_id_info *info = cached_acl(1);
    info->key_type = 21;
    info->action_type = 22;
    info->region_size = 23;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(last_args("zv_api_acl_region_set"), (nlohmann::json{{"cmd", 13},
                                                                  {"key_type", 21},
                                                                  {"action_type", 22},
                                                                  {"region_size", 23},
                                                                  {"region_id", 1}}));
    EXPECT_EQ(last_args("zv_api_acl_set"),
              (nlohmann::json{{"cmd", 13},
                              {"acl_type", 13},
                              {"direction", 14},
                              {"group", {{"type", 0}, {"region_id", 1}}},
                              {"acl_id", 1}}));
}

// --- bind points that disagree

TEST_F(AclDestroyTest, PortsThatKnowNothingOfTheAclArePassedOver) {
    acl_id_info *info = cached_acl(1);
    Lines expected;
    for (uint32_t i = 0; i < MAX_BIND_POINTS_NUM; i++) {
        info->acl_bound_ports[i] = {BIND_POINT_LOG_PORT, 65536 + i};
        char text[80];
        snprintf(text, sizeof(text), "ACL [1] already Unbound from port_id [%x].\n", 65536 + i);
        expected.push_back(line(NOTICE_MASK, text));
    }
    info->acl_bound_ports_num = MAX_BIND_POINTS_NUM;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), expected);
    EXPECT_EQ(recorded_calls("zv_api_acl_group_set").size(), 0u);
}

TEST_F(AclDestroyTest, BindPointOfAnUnknownTypeIsNotUnboundInTheSwitch) {
    bind();
    constexpr bind_point_key unknown = {7, PORT.port_id};
    cache_bind_point(unknown, group_at(PORT));
    cached_acl(1)->acl_bound_ports[0] = unknown;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ERROR);
    // The switch still has the group bound.
    EXPECT_TRUE(
        reports(take_lines(), {failure(1, "Failed deleting ACL group:[1], (error: 8)\n")}, 1, 3));
    EXPECT_EQ(last_args("zv_api_acl_port_bind_set")["cmd"], 25);
}

TEST_F(AclDestroyTest, GroupThatIsNotCachedCountsAsUnbound) {
    cache_bind_point(PORT, 9);
    acl_id_info *info = cached_acl(1);
    info->acl_bound_ports[0] = PORT;
    info->acl_bound_ports_num = 1;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(),
              Lines{line(NOTICE_MASK, "ACL [1] already Unbound from port_id [10001].\n")});
    EXPECT_EQ(group_at(PORT), 9u);
}

}  // namespace
