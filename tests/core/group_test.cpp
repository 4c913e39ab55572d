// The steps of a bind: look-ups, making a group, sending its list.
#include <gtest/gtest.h>

#include "core/acl_rm_group.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

constexpr bind_point_key SOME_PORT = {BIND_POINT_LOG_PORT, 0x10001};
constexpr bind_point_key SOME_RIF = {BIND_POINT_RIF, 0x1234abcd};

class GroupTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        acl_id_ = create_acl();
    }
    static std::vector<nlohmann::json> group_calls() {
        return recorded_calls("zv_api_acl_group_set");
    }
    uint32_t acl_id_ = 0;
    uint32_t is_bound_ = 9;
    uint32_t group_id_ = 0;
    sdk_grp_info *group_ = nullptr;
    acl_id_info *info_ = nullptr;
};

TEST_F(GroupTest, BindPointWithoutAGroupIsNotBound) {
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(isPortIDBoundAndGetGroup(&SOME_PORT, &is_bound_, &group_, &group_id_),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_bound_, 0u);
    EXPECT_EQ(take_lines(), Lines{line(INFO_MASK, "No ACL is bound to port_id [10001].\n")});
}

TEST_F(GroupTest, BindPointYieldsItsGroup) {
    cache_group(40, {acl_id_});
    cache_bind_point(SOME_PORT, 40);
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(isPortIDBoundAndGetGroup(&SOME_PORT, &is_bound_, &group_, &group_id_),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_bound_, 1u);
    EXPECT_EQ(group_id_, 40u);
    EXPECT_EQ(group_, cached_group(40));
    EXPECT_EQ(take_lines(),
              Lines{line(INFO_MASK, "ACL group [40] is bound to port_id [10001].\n")});
}

TEST_F(GroupTest, BindPointNeedsBothTables) {
    cache_bind_point(SOME_PORT, 40);
    {
        const Missing gone(port_id_2_sdk_acl_group_ht);
        EXPECT_EQ(isPortIDBoundAndGetGroup(&SOME_PORT, &is_bound_, &group_, &group_id_),
                  ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(is_bound_, 0u);
    }
    const Missing gone(sdk_acl_grp_2_sdk_acl_grp_info_table_ht);
    EXPECT_EQ(isPortIDBoundAndGetGroup(&SOME_PORT, &is_bound_, &group_, &group_id_),
              ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{passed_up(1), passed_up(1)}));
}

TEST_F(GroupTest, AclIsFoundInTheGroupsListAlone) {
    cache_group(40, {70, acl_id_});
    // Past the length: not listed.
    cached_group(40)->acl_id_arr[2] = 71;
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(isAclBoundAndGetAclInfo(acl_id_, &SOME_PORT, &info_, cached_group(40), &is_bound_),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_bound_, 1u);
    EXPECT_EQ(info_, cached_acl(acl_id_));
    EXPECT_EQ(take_lines(), Lines{line(INFO_MASK,
                                       "acl id [1] is bound in SDK in port_id [65537] within a "
                                       "group.\n")});
    cache_acl(71);
    EXPECT_EQ(isAclBoundAndGetAclInfo(71, &SOME_PORT, &info_, cached_group(40), &is_bound_),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_bound_, 0u);
}

TEST_F(GroupTest, AclIsBoundNowhereWithoutAGroup) {
    EXPECT_EQ(isAclBoundAndGetAclInfo(acl_id_, &SOME_PORT, &info_, nullptr, &is_bound_),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_bound_, 0u);
    EXPECT_EQ(info_, cached_acl(acl_id_));
}

TEST_F(GroupTest, UnknownAclIsReportedEvenWhereAGroupListsIt) {
    cache_group(40, {70});
    EXPECT_EQ(isAclBoundAndGetAclInfo(70, &SOME_PORT, &info_, cached_group(40), &is_bound_),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(is_bound_, 1u);
    EXPECT_EQ(take_lines(), Lines{passed_up(5)});
}

TEST_F(GroupTest, AclNeedsItsTable) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(isAclBoundAndGetAclInfo(acl_id_, &SOME_PORT, &info_, nullptr, &is_bound_),
              ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
}

TEST_F(GroupTest, NewGroupHasTheDirectionAndHoldsTheAclAlone) {
    const uint32_t acl_id = create_acl(4, PRA_HANDLE, 1);
    EXPECT_EQ(createNewAclGroupAndAddAclId(&group_id_, cached_acl(acl_id)),
              ZV_ACL_RM_STATUS_SUCCESS);
    const std::vector<nlohmann::json> calls = group_calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0]["args"]["cmd"], 12);
    EXPECT_EQ(calls[0]["args"]["direction"], 1);
    EXPECT_EQ(calls[0]["args"]["count"], 0);
    EXPECT_EQ(calls[1]["args"]["cmd"], 15);
    EXPECT_EQ(calls[1]["args"]["direction"], 1);
    EXPECT_EQ(calls[1]["args"]["acl_ids"], nlohmann::json{acl_id});
    EXPECT_EQ(calls[1]["args"]["group_id"], group_id_);
    EXPECT_EQ(group_id_, 1u);
    EXPECT_EQ(g_acl_group_cnt, 1);
}

TEST_F(GroupTest, GroupThatCannotBeMadeIsNotCounted) {
    fail_call("zv_api_acl_group_set", 5);
    EXPECT_EQ(createNewAclGroupAndAddAclId(&group_id_, cached_acl(acl_id_)),
              ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Failed to create new group ACL [1], (error: 5)\n")});
    EXPECT_EQ(g_acl_group_cnt, 0);
    EXPECT_EQ(group_calls().size(), 1u);
}

TEST_F(GroupTest, GroupWhoseListIsRefusedStaysAndStaysCounted) {
    fail_call("zv_api_acl_group_set", 5, {.nth = 2});
    EXPECT_EQ(createNewAclGroupAndAddAclId(&group_id_, cached_acl(acl_id_)),
              ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "Failed to add new ACL [1] to ACL GROUP:[1], (error: 5)\n")});
    EXPECT_EQ(g_acl_group_cnt, 1);
    EXPECT_EQ(group_calls().size(), 2u);
}

class GroupListTest : public GroupTest {
  protected:
    void SetUp() override {
        GroupTest::SetUp();
        ASSERT_EQ(createNewAclGroupAndAddAclId(&group_id_, cached_acl(acl_id_)),
                  ZV_ACL_RM_STATUS_SUCCESS);
        second_ = create_acl();
        cache_group(group_id_, {second_, acl_id_});
    }
    zv_acl_rm_status_t send(const bind_point_key &key) {
        return AddNewAclToBoundGroup(group_id_, cached_group(group_id_), cached_acl(second_), &key);
    }
    uint32_t second_ = 0;
};

TEST_F(GroupListTest, IsSentInItsOrder) {
    EXPECT_EQ(send(SOME_PORT), ZV_ACL_RM_STATUS_SUCCESS);
    const nlohmann::json args = group_calls().back()["args"];
    EXPECT_EQ(args["cmd"], 15);
    EXPECT_EQ(args["acl_ids"], (nlohmann::json{second_, acl_id_}));
    EXPECT_EQ(args["count"], 2);
    EXPECT_EQ(args["group_id"], group_id_);
}

TEST_F(GroupListTest, IsToldWithItsBindPoint) {
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(send(SOME_PORT), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(send(SOME_RIF), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(send({2, 5}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(),
              (Lines{line(INFO_MASK, "Added new acl [2] to group [1] on logical port [10001].\n"),
                     line(INFO_MASK, "Added new acl [2] to group [1] on rif [abcd].\n")}));
}

TEST_F(GroupListTest, FullSwitchIsNotified) {
    fail_call("zv_api_acl_group_set", 5);
    EXPECT_EQ(send(SOME_PORT), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_EQ(take_lines(),
              Lines{notification(7, "Can't Add ACL table to group - not enough resources")});
}

TEST_F(GroupListTest, OtherRefusalsAreErrors) {
    for (const uint32_t sdk_status : {4u, 6u}) {
        fail_call("zv_api_acl_group_set", sdk_status);
        EXPECT_EQ(send(SOME_PORT), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(),
                  Lines{failure(1, "Failed to add new ACL [2] to ACL GROUP:[1], (error: " +
                                       std::to_string(sdk_status) + ")")});
        clear_faults();
    }
}

// Places 0, 1, ... of a list hold ids 10, 11, ...
class RestoredListTest : public CacheFixture {
  protected:
    RestoredListTest() {
        for (uint32_t i = 0; i < MAX_ACLS_NUM_IN_GROUP; i++)
            group_.acl_id_arr[i] = 10 + i;
    }
    std::vector<uint32_t> restored(uint32_t length, uint32_t index) {
        group_.acl_id_arr_len = length;
        take_lines();
        restoreAclIds(&group_, index);
        std::vector<uint32_t> acl_ids;
        for (uint32_t i = 0; i < group_.acl_id_arr_len; i++)
            acl_ids.push_back(group_.acl_id_arr[i]);
        return acl_ids;
    }
    sdk_grp_info group_ = {};
};

TEST_F(RestoredListTest, LosesItsLastIdAndZeroesThePlace) {
    EXPECT_EQ(restored(3, 2), (std::vector<uint32_t>{10, 11}));
    EXPECT_EQ(group_.acl_id_arr[2], 0u);
    EXPECT_EQ(restored(16, 15).size(), 15u);
    EXPECT_EQ(group_.acl_id_arr[15], 0u);
    EXPECT_TRUE(restored(1, 0).empty());
}

TEST_F(RestoredListTest, ClosesTheGapOfAnEarlierId) {
    EXPECT_EQ(restored(4, 1), (std::vector<uint32_t>{10, 12, 13}));
    EXPECT_EQ(restored(16, 14).back(), 25u);
}

TEST_F(RestoredListTest, StaysWhereItsLengthIsOutOfRange) {
    group_.acl_id_arr_len = 17;
    restoreAclIds(&group_, 0);
    EXPECT_EQ(group_.acl_id_arr_len, 17u);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "sdk_grp_info->acl_id_arr_len = [17] is out of range")});
}

TEST_F(RestoredListTest, StaysWhereTheIndexHasNoNextPlace) {
    for (const uint32_t length : {0u, 10u})
        EXPECT_EQ(restored(length, 12).size(), length);
    EXPECT_EQ(restored(10, 15).size(), 10u);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "index_of_new_acl_in_group:=[15] >= MAX_ACLS_NUM_IN_GROUP-1")});
}

}  // namespace
