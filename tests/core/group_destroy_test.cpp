#include <gtest/gtest.h>

#include "core/acl_rm_group.h"
#include "core/acl_rm_unbind.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

constexpr bind_point_key PORT = {BIND_POINT_LOG_PORT, 65537};

// A group in switch and cache, its port in the cache, but nothing bound in the switch.
class GroupDestroyTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        const uint32_t acl_id = create_acl(1, OPEN_FLOW_HANDLE, 1);
        ASSERT_EQ(createNewAclGroupAndAddAclId(&group_id_, cached_acl(acl_id)),
                  ZV_ACL_RM_STATUS_SUCCESS);
        cache_group(group_id_, {acl_id}, 1);
        cache_bind_point(PORT, group_id_);
    }
    zv_acl_rm_status_t destroy() {
        return acl_group_resources_destroy(&PORT, cached_group(group_id_), group_id_);
    }
    uint32_t group_id_ = 0;
};

TEST_F(GroupDestroyTest, ForgetsGroupAndBindPoint) {
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{line(INFO_MASK, "Deletion of ACL group[1] succeeded.\n")});
    EXPECT_EQ(cached_group(group_id_), nullptr);
    EXPECT_EQ(group_at(PORT), 0u);
    EXPECT_EQ(g_acl_group_cnt, 0);
}

TEST_F(GroupDestroyTest, SendsTheGroupsDirectionAndList) {
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_SUCCESS);
    const nlohmann::json args = recorded_calls("zv_api_acl_group_set").back()["args"];
    EXPECT_EQ(args["cmd"], 13);
    EXPECT_EQ(args["direction"], 1);
    EXPECT_EQ(args["acl_ids"], nlohmann::json{1});
    EXPECT_EQ(args["count"], 1);
    EXPECT_EQ(args["group_id"], 1);
}

TEST_F(GroupDestroyTest, NeedsTheGroupsInfo) {
    EXPECT_EQ(acl_group_resources_destroy(&PORT, nullptr, group_id_), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    EXPECT_EQ(g_acl_group_cnt, 1);
}

TEST_F(GroupDestroyTest, RefusalForgetsNothing) {
    fail_call("zv_api_acl_group_set", 8);
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Failed deleting ACL group:[1], (error: 8)\n")});
    EXPECT_NE(cached_group(group_id_), nullptr);
    EXPECT_EQ(group_at(PORT), group_id_);
    EXPECT_EQ(g_acl_group_cnt, 1);
}

TEST_F(GroupDestroyTest, GroupThatIsNotCachedKeepsItsBindPoint) {
    const sdk_grp_info group = *cached_group(group_id_);
    ASSERT_EQ(ht_safe_remove(sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &group_id_),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_group_resources_destroy(&PORT, &group, group_id_),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(5, "key not found while trying to remove region from DB")}, 5, 1));
    EXPECT_EQ(group_at(PORT), group_id_);
    EXPECT_EQ(g_acl_group_cnt, 0);
}

TEST_F(GroupDestroyTest, UnknownBindPointIsReportedWithTheGroupGone) {
    ASSERT_EQ(ht_safe_remove(port_id_2_sdk_acl_group_ht, &PORT), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(destroy(), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(5, "key not found while trying to remove region from DB")}, 5, 1));
    EXPECT_EQ(cached_group(group_id_), nullptr);
}

TEST_F(GroupDestroyTest, EachMissingTableIsReported) {
    {
        const sdk_grp_info group = *cached_group(group_id_);
        const Missing gone(sdk_acl_grp_2_sdk_acl_grp_info_table_ht);
        EXPECT_EQ(acl_group_resources_destroy(&PORT, &group, group_id_), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {failure(1, "hash table not initialized")}, 1, 1));
    }
    EXPECT_EQ(group_at(PORT), group_id_);
}

TEST_F(GroupDestroyTest, MissingTableOfBindPointsIsReportedWithTheGroupForgotten) {
    const sdk_grp_info group = *cached_group(group_id_);
    {
        const Missing gone(port_id_2_sdk_acl_group_ht);
        EXPECT_EQ(acl_group_resources_destroy(&PORT, &group, group_id_), ZV_ACL_RM_STATUS_ERROR);
    }
    EXPECT_TRUE(reports(take_lines(), {failure(1, "hash table not initialized")}, 1, 1));
    EXPECT_EQ(cached_group(group_id_), nullptr);
    EXPECT_EQ(group_at(PORT), group_id_);
}

}  // namespace
